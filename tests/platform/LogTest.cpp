// The log's threshold, its hooks, fatal checks, and the trace macros.
#define LOG_TAG "LogTest"

#include <gtest/gtest.h>
#include <host/TraceFile.h>
#include <log/log.h>
#include <media/stagefright/foundation/ADebug.h>
#include <utils/Trace.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <thread>

#include <unistd.h>

#include "support/LogCapture.h"

namespace {

TEST(LogTest, BelowTheThresholdArgumentsAreNotEvaluated) {
    EXPECT_EQ(__android_log_get_minimum_priority(), ANDROID_LOG_WARN);
    const plexa::LogCapture log(ANDROID_LOG_ERROR);
    int evaluated = 0;
    ALOGW("%d", ++evaluated);
    ALOGV_IF(true, "%d", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    ALOGE("%d and %s", ++evaluated, "text");
    ALOGE_IF(evaluated == 0, "no");
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "LogTest", "1 and text"), 1U);
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(__android_log_is_loggable(ANDROID_LOG_WARN, "LogTest", ANDROID_LOG_VERBOSE), 0);
    EXPECT_EQ(__android_log_is_loggable(ANDROID_LOG_ERROR, "LogTest", ANDROID_LOG_VERBOSE), 1);
}

TEST(LogTest, LongLinesAreCut) {
    const plexa::LogCapture log;
    ALOGI("%s", std::string(5000, 'x').c_str());
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].text, std::string(1023, 'x'));
}

TEST(LogTest, DefaultLoggerWritesToStandardError) {
    testing::internal::CaptureStderr();
    ALOGE("broken %d", 7);
    __android_log_write(ANDROID_LOG_WARN, nullptr, "untagged");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "E LogTest: broken 7\nW -: untagged\n");
}

// The aborter ends a test's fatal line with an exception.
class FatalTest : public testing::Test {
protected:
    FatalTest() {
        __android_log_set_aborter([](const char* text) { throw std::runtime_error(text); });
    }
    ~FatalTest() override { __android_log_set_aborter(nullptr); }

    template <typename Action>
    std::string fatalTextOf(Action action) {
        try {
            action();
        } catch (const std::runtime_error& error) {
            EXPECT_TRUE(mLog.contains(ANDROID_LOG_FATAL, "LogTest", error.what()));
            return error.what();
        }
        return {};
    }

private:
    plexa::LogCapture mLog;
};

TEST_F(FatalTest, FailedChecksNameFileLineAndCondition) {
    const int one = 1;
    const int line = __LINE__ + 1;
    const std::string check = fatalTextOf([&] { CHECK(one == 2); });
    EXPECT_NE(check.find("LogTest.cpp:" + std::to_string(line) + " CHECK(one == 2) failed."),
              std::string::npos)
        << check;
    const std::string equal = fatalTextOf([&] { CHECK_EQ(one + 1, 3); });
    EXPECT_NE(equal.find("CHECK_EQ( one + 1,3) failed: 2 vs. 3"), std::string::npos) << equal;
    EXPECT_NE(fatalTextOf([] { TRESPASS("at all"); }).find("Should not be here. at all"),
              std::string::npos);
    EXPECT_EQ(fatalTextOf([] { LOG_ALWAYS_FATAL_IF(true, "%d is odd", 3); }), "3 is odd");
    EXPECT_EQ(fatalTextOf([] { __android_log_assert("a > b", LOG_TAG, nullptr); }),
              "Assertion failed: a > b");
}

TEST_F(FatalTest, PassedChecksEvaluateOnceAndSayNothing) {
    int evaluated = 0;
    EXPECT_EQ(fatalTextOf([&] {
                  CHECK(++evaluated);
                  CHECK_EQ(++evaluated, 2);
                  CHECK_NE(1, 2);
                  CHECK_LE(1, 1);
                  CHECK_LT(1, 2);
                  CHECK_GE(2, 2);
                  CHECK_GT(2, 1);
                  LOG_ALWAYS_FATAL_IF(evaluated != 2, "evaluated %d times", evaluated);
              }),
              "");
}

TEST(LogDeathTest, WithoutAnAborterTheProcessStops) {
    EXPECT_DEATH(CHECK(1 > 2), "F LogTest: .*LogTest.cpp:[0-9]+ CHECK\\(1 > 2\\) failed");
    EXPECT_DEATH(
        {
            __android_log_set_aborter([](const char*) {});
            LOG_ALWAYS_FATAL("returns");
        },
        "returns");
}

class TextSink final : public android::host::TraceSink {
public:
    std::string text;

    void begin(const char* name) override { text += std::string("(") + name; }
    void end() override { text += ")"; }
    void asyncBegin(const char* name, int32_t) override { text += std::string("<") + name; }
    void asyncEnd(const char*, int32_t) override { text += ">"; }
    void counter(const char* name, int64_t value) override {
        text += std::string("[") + name + std::to_string(value) + "]";
    }
};

TEST(TraceTest, ScopesNestAndEndOnTheSinkThatSawThemBegin) {
    TextSink sink;
    ATRACE_NAME("unheard");
    android::host::setTraceSink(&sink);
    {
        ATRACE_NAME("outer");
        ATRACE_INT("depth", 2);
        ATRACE_NAME("inner");
        ATRACE_ASYNC_BEGIN("frame", 1);
        ATRACE_ASYNC_END("frame", 1);
        android::host::setTraceSink(nullptr);
        ATRACE_INT("depth", 3);
    }
    EXPECT_EQ(sink.text, "(outer[depth2](inner<frame>))");
    EXPECT_FALSE(ATRACE_ENABLED());
}

// What the writer can keep up with, and then far more, from two threads.
void traceFlood(const std::string& path) {
    const auto flood = [](const std::string& own) {
        for (int i = 0; i < 30'000; ++i) {
            if (i % 700 == 0 && i < 7'000) android::host::flushTraceFile();
            ATRACE_NAME(own.c_str());
            ATRACE_NAME("inner \"\\\n\xff");
            ATRACE_ASYNC_BEGIN(own.c_str(), i);
            ATRACE_ASYNC_END(own.c_str(), i);
            ATRACE_INT("step", i);
        }
    };
    ASSERT_EQ(android::host::startTraceFile(path), "");
    EXPECT_EQ(android::host::startTraceFile(path), "a trace is being written to " + path);
    std::thread one(flood, "a"), other(flood, "b");
    one.join();
    other.join();
    // One gives up after two seconds, and a sanitizer's writer may be slower.
    for (int i = 0; i < 10; ++i)
        android::host::flushTraceFile();
    ATRACE_ASYNC_BEGIN("unfinished", 1);
    ATRACE_NAME("finished after a flush");
    android::host::flushTraceFile();
}

TEST(TraceFileTest, WhatIsLeftOutIsCountedAndWhatIsThereIsWhole) {
    const plexa::LogCapture log(ANDROID_LOG_WARN);
    const std::string path = ::testing::TempDir() + "flood." + std::to_string(getpid());
    traceFlood(path);
    const android::host::TraceFileEnd end = android::host::finishTraceFile();
    EXPECT_EQ(end.error, "");
    const auto file = nlohmann::json::parse(std::ifstream(path));
    std::filesystem::remove(path);
    EXPECT_GT(end.leftOut, 0U);
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(file["otherData"]["eventsLeftOut"], end.leftOut);
    std::map<std::string, int> open;
    int slices = 0;
    int unfinished = 0;
    double last = 0;
    for (const auto& event : file["traceEvents"]) {
        const std::string phase = event["ph"];
        const bool isAsync = event.contains("id");
        int& depth = open[isAsync ? event["cat"].get<std::string>() + event["id"].get<std::string>()
                                  : event.value("tid", nlohmann::json()).dump()];
        if (phase == "B" || phase == "b") ++depth;
        if (phase == "E" || phase == "e") --depth;
        EXPECT_GE(depth, 0);
        EXPECT_GE(event.value("ts", last), last);
        last = event.value("ts", last);
        if (event.value("args", nlohmann::json()).contains("unfinished")) ++unfinished;
        if (phase != "B") continue;
        EXPECT_EQ(event["name"].get<std::string>().starts_with("inner"), depth == 2);
        ++slices;
    }
    for (const auto& [key, depth] : open)
        EXPECT_EQ(depth, 0) << key;
    EXPECT_EQ(unfinished, 1);
    EXPECT_GT(slices, 1000);
    EXPECT_EQ(android::host::startTraceFile("/"), "Is a directory");
}

}  // namespace
