// BandRunner: helpers wait for the next run and take bands until none is left.
#define LOG_TAG "CLConverter"
#include "BandRunner.h"

#include <host/FaultInjection.h>
#include <log/log.h>

#include <algorithm>
#include <system_error>

namespace cl {

using android::host::Fault;
using android::host::FaultInjection;

BandRunner::~BandRunner() {
    setThreads(1);
}

void BandRunner::setThreads(uint32_t threads) {
    {
        const std::lock_guard lock(mLock);
        mStop = true;
    }
    mWake.notify_all();
    for (std::thread& helper : mHelpers)
        helper.join();
    mHelpers.clear();
    mStop = false;
    mThreads = std::max(threads, 1U);
}

bool BandRunner::run(uint32_t bands, const Work& work) {
    mNextBand = 0;
    mFailed = false;
    startHelpers();
    if (mHelpers.empty()) {
        takeBands(work, bands);
        return !mFailed;
    }
    {
        const std::lock_guard lock(mLock);
        mWork = &work;
        mBands = bands;
        ++mRun;
    }
    mWake.notify_all();
    takeBands(work, bands);

    std::unique_lock lock(mLock);
    mWork = nullptr;
    mIdle.wait(lock, [this] { return mBusyHelpers == 0; });
    return !mFailed;
}

void BandRunner::startHelpers() {
    while (mHelpers.size() + 1 < mThreads && startHelper())
        continue;
    const auto threads = static_cast<uint32_t>(mHelpers.size()) + 1;
    ALOGW_IF(threads < mThreads, "no more than %u threads", threads);
    mThreads = threads;
}

bool BandRunner::startHelper() {
    if (FaultInjection::shouldFail(Fault::ThreadStart)) return false;
    try {
        mHelpers.emplace_back([this, lastRun = mRun] { help(lastRun); });
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

void BandRunner::help(uint64_t lastRun) {
    std::unique_lock lock(mLock);
    while (true) {
        mWake.wait(lock, [&] { return mStop || (mWork != nullptr && mRun != lastRun); });
        if (mStop) return;
        lastRun = mRun;
        ++mBusyHelpers;
        const Work* work = mWork;
        const uint32_t bands = mBands;
        lock.unlock();
        takeBands(*work, bands);
        lock.lock();
        if (--mBusyHelpers == 0) mIdle.notify_one();
    }
}

void BandRunner::takeBands(const Work& work, uint32_t bands) {
    for (uint32_t band = mNextBand++; band < bands; band = mNextBand++) {
        if (!work(band)) mFailed = true;
    }
}

}  // namespace cl
