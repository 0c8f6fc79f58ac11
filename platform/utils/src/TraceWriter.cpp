// The thread that writes what the lanes hold.
#define LOG_TAG "TraceFile"

#include "TraceWriter.h"

#include <log/log.h>

#include <cerrno>
#include <csignal>
#include <memory>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

namespace android::host {

namespace {

constexpr int kIntervalMs = 100;
constexpr int kPatienceMs = 2000;
constexpr int kNice = 10;
constexpr size_t kMaxText = 1 << 20;

// All signals are for other threads, so that a handler may wait for this one.
std::thread startWithoutSignals(auto run) {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread thread(run);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

void add(int counter, uint64_t count) {
    (void)!write(counter, &count, sizeof(count));
}

// What has been added since the last time, after at most the given time; 0: nothing.
uint64_t wait(int counter, int timeoutMs) {
    pollfd waited{counter, POLLIN, 0};
    uint64_t count = 0;
    poll(&waited, 1, timeoutMs);
    return read(counter, &count, sizeof(count)) > 0 ? count : 0;
}

}  // namespace

TraceWriter::TraceWriter(TraceLanes* lanes, std::unique_ptr<GrowingFile> file)
    : mLanes(*lanes),
      mFile(std::move(file)),
      mLeftOutBefore(lanes->leftOut()),
      mJson(getpid(), traceClockNs()),
      mText(mJson.head(program_invocation_short_name)),
      mRequests(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      mAnswers(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE)) {
    forgetWhatIsOld();
    save(traceClockNs());
    mLanes.setCrowded(false);
    mThread = startWithoutSignals([this] { run(); });
}

TraceWriter::~TraceWriter() {
    stop();
    close(mRequests);
    close(mAnswers);
}

void TraceWriter::flush() {
    add(mRequests, 1);
    wait(mAnswers, kPatienceMs);
}

void TraceWriter::stop() {
    if (!mThread.joinable()) return;
    mStops = true;
    add(mRequests, 1);
    mThread.join();
}

void TraceWriter::run() {
    pthread_setname_np(pthread_self(), "plexa_trace");
    setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), kNice);
    for (bool isLast = false; !isLast;) {
        const uint64_t asked = wait(mRequests, kIntervalMs);
        isLast = mStops;  // before what is there is written, so that nothing stays behind
        writeUntil(traceClockNs());
        mLanes.setCrowded(isLast || !mFile->error().empty());
        add(mAnswers, asked);
    }
}

// What threads recorded after the writer before this one had ended.
void TraceWriter::forgetWhatIsOld() {
    mLanes.forEach([](TraceLane& lane) {
        while (lane.front() != nullptr)
            lane.pop();
        lane.reuse();
    });
}

// An event that ends what another thread began is later than that: in the order of times, and none
// that came after the lanes were looked into, each begin is before its end.
void TraceWriter::writeUntil(int64_t untilNs) {
    findSources();
    while (Source* source = earliest(untilNs)) {
        take(source);
        if (mText.size() >= kMaxText) save(untilNs);
    }
    for (const Source& source : mSources)
        source.lane->reuse();
    countLeftOut(untilNs);
    if (!mText.empty()) save(untilNs);
}

void TraceWriter::findSources() {
    size_t i = 0;
    mLanes.forEach([&](TraceLane& lane) {
        if (i++ == mSources.size()) mSources.push_back({&lane, 0});
    });
}

TraceWriter::Source* TraceWriter::earliest(int64_t untilNs) {
    Source* first = nullptr;
    int64_t firstNs = untilNs;
    for (Source& source : mSources) {
        const TraceEvent* event = source.lane->front();
        if (event == nullptr || event->timeNs > firstNs) continue;
        if (first != nullptr && event->timeNs == firstNs) continue;
        first = &source;
        firstNs = event->timeNs;
    }
    return first;
}

void TraceWriter::take(Source* source) {
    TraceLane* lane = source->lane;
    if (source->toldUses != lane->uses()) {
        source->toldUses = lane->uses();
        mJson.appendThread(lane->threadId(), lane->threadName(), &mText);
    }
    mJson.append(lane->threadId(), *lane->front(), &mText);
    lane->pop();
}

void TraceWriter::countLeftOut(int64_t nowNs) {
    const uint64_t leftOut = mLanes.leftOut() - mLeftOutBefore + mJson.leftOut();
    if (leftOut == mLeftOut) return;
    mLeftOut = leftOut;
    mJson.appendLeftOut(leftOut, nowNs, &mText);
}

void TraceWriter::save(int64_t nowNs) {
    const bool hadFailed = !mFile->error().empty();
    const bool isSaved = mFile->append(mText, mJson.tail(mLeftOut, nowNs));
    ALOGE_IF(!isSaved && !hadFailed, "the trace ends early: %s", mFile->error().c_str());
    mText.clear();
}

}  // namespace android::host
