// ScheduledTest: a fixture whose loopers all run on one seeded scheduler, with a client and the
// log.
#pragma once

#include <gtest/gtest.h>
#include <host/LooperScheduler.h>

#include <string>

#include <kit/ClientHandler.h>
#include "support/LogCapture.h"
#include "support/TestStage.h"

namespace plexa {

class ScheduledTest : public testing::Test {
protected:
    explicit ScheduledTest(uint64_t seed = 1) : mScheduler(seed) {}

    android::sp<TestStage> stage(const std::string& name,
                                 const android::sp<android::APipe>& next = nullptr,
                                 int poolSize = 2) {
        return new TestStage(next, mClient->notify(), name, poolSize);
    }
    // Starts a chain and forgets the notice of it.
    void start(const android::sp<android::APipe>& first) {
        ASSERT_EQ(first->init(formatOf(2, kFrameWidth, kFrameHeight),
                              formatOf(2, kFrameWidth, kFrameHeight)),
                  android::OK);
        run();
        ASSERT_EQ(mClient->count(android::APipe::kWhatInitCompleted), 1U);
        mClient->forget();
    }
    size_t run() { return mScheduler.runUntilIdle(); }

    bool logged(int32_t priority, const std::string& tag, const std::string& text) const {
        return mLog.contains(priority, tag, text);
    }

    LogCapture mLog;
    android::host::LooperScheduler mScheduler;
    android::sp<ClientHandler> mClient = ClientHandler::create();
};

}  // namespace plexa
