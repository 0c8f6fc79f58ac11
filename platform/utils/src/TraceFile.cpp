// The sink that records for the trace file, and the thread that writes it.
#define LOG_TAG "TraceFile"

#include <host/TraceFile.h>

#include <host/TraceSink.h>
#include <log/log.h>
#include <utils/Mutex.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <utility>

#include <unistd.h>

#include "TraceLanes.h"
#include "TraceWriter.h"

namespace android::host {

namespace {

// Puts what is traced into the lane of the thread.
class LaneSink final : public TraceSink {
public:
    explicit LaneSink(TraceLanes* lanes) : mLanes(*lanes) {}

    void begin(const char* name) override {
        if (TraceLane* lane = mLanes.mine()) lane->begin(name);
    }
    void end() override {
        if (TraceLane* lane = mLanes.mine()) lane->end();
    }
    void asyncBegin(const char* name, int32_t cookie) override {
        if (TraceLane* lane = mLanes.mine()) lane->record(TraceKind::AsyncBegin, name, cookie);
    }
    void asyncEnd(const char* name, int32_t cookie) override {
        if (TraceLane* lane = mLanes.mine()) lane->asyncEnd(name, cookie);
    }
    void counter(const char* name, int64_t value) override {
        if (TraceLane* lane = mLanes.mine()) lane->record(TraceKind::Counter, name, value);
    }

private:
    TraceLanes& mLanes;
};

// The lanes and the sink stay until the process has ended, for threads may be inside a slice.
struct Recorder {
    TraceLanes lanes;
    LaneSink sink{&lanes};
    Mutex lock;
    // The last writer stays, for a signal handler may be about to use it.
    std::unique_ptr<TraceWriter> writer GUARDED_BY(lock);
    std::string path GUARDED_BY(lock);  // empty: no file is being written
};

Recorder& recorder() {
    static auto* const only = new Recorder;
    return *only;
}

// The writer that flushTraceFile() may use: a signal handler takes no lock.
std::atomic<TraceWriter*> sWriter{nullptr};
std::atomic<pid_t> sProcess{0};  // a child that was forked has no writer

bool isRunning() {
    return sWriter.load() != nullptr && sProcess.load() == getpid();
}

[[maybe_unused]] const bool sIsAsked = [] {
    const char* path = std::getenv("PLEXA_TRACE");
    if (path == nullptr || *path == '\0') return false;
    const std::string error = startTraceFile(path);
    ALOGE_IF(!error.empty(), "PLEXA_TRACE: %s: %s", path, error.c_str());
    if (error.empty()) std::atexit([] { finishTraceFile(); });
    return true;
}();

}  // namespace

std::string startTraceFile(const std::string& path) {
    Recorder& all = recorder();
    const Mutex::Autolock lock(all.lock);
    if (!all.path.empty()) return "a trace is being written to " + all.path;
    auto file = std::make_unique<GrowingFile>();
    if (!file->open(path)) return file->error();
    all.writer = std::make_unique<TraceWriter>(&all.lanes, std::move(file));
    all.path = path;
    sProcess = getpid();
    sWriter = all.writer.get();
    setTraceSink(&all.sink);
    return {};
}

void flushTraceFile() {
    if (isRunning()) sWriter.load()->flush();
}

TraceFileEnd finishTraceFile() {
    if (!isRunning()) return {};
    Recorder& all = recorder();
    const Mutex::Autolock lock(all.lock);
    if (all.path.empty()) return {};
    if (traceSink() == &all.sink) setTraceSink(nullptr);
    sWriter = nullptr;
    all.writer->stop();
    TraceFileEnd end{std::exchange(all.path, ""), all.writer->error(), all.writer->leftOut()};
    ALOGW_IF(end.leftOut > 0, "%s: %llu events were left out, for they came too fast",
             end.path.c_str(), static_cast<unsigned long long>(end.leftOut));
    return end;
}

}  // namespace android::host
