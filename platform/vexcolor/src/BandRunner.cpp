// BandRunner: helpers wait for the next run and take bands until none is left.
#define LOG_TAG "CLConverter"
#include "BandRunner.h"

#include <host/FaultInjection.h>
#include <log/log.h>

#include <algorithm>
#include <system_error>

namespace cl {

using android::Mutex;
using android::host::Fault;
using android::host::FaultInjection;

BandRunner::~BandRunner() {
    setThreads(1);
}

void BandRunner::setThreads(uint32_t threads) {
    stopHelpers(true);
    for (std::thread& helper : mHelpers)
        helper.join();
    mHelpers.clear();
    stopHelpers(false);
    mThreads = std::max(threads, 1U);
}

void BandRunner::stopHelpers(bool stop) {
    const Mutex::Autolock lock(mLock);
    mStop = stop;
    mWake.broadcast();
}

bool BandRunner::run(uint32_t bands, const Work& work) {
    mNextBand = 0;
    mFailed = false;
    startHelpers();
    if (!mHelpers.empty()) open(work, bands);
    takeBands(work, bands);
    if (!mHelpers.empty()) close();
    return !mFailed;
}

void BandRunner::open(const Work& work, uint32_t bands) {
    const Mutex::Autolock lock(mLock);
    mRun = {.number = mRun.number + 1, .work = &work, .bands = bands};
    mWake.broadcast();
}

void BandRunner::close() {
    const Mutex::Autolock lock(mLock);
    mRun.work = nullptr;
    while (mBusyHelpers != 0)
        mIdle.wait(mLock);
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
        mHelpers.emplace_back([this] { help(); });
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

void BandRunner::help() {
    Run run;
    while (join(&run)) {
        takeBands(*run.work, run.bands);
        leave();
    }
}

bool BandRunner::join(Run* run) {
    const Mutex::Autolock lock(mLock);
    while (!mStop && (mRun.work == nullptr || mRun.number == run->number))
        mWake.wait(mLock);
    if (mStop) return false;
    *run = mRun;
    ++mBusyHelpers;
    return true;
}

void BandRunner::leave() {
    const Mutex::Autolock lock(mLock);
    if (--mBusyHelpers == 0) mIdle.signal();
}

void BandRunner::takeBands(const Work& work, uint32_t bands) {
    for (uint32_t band = mNextBand++; band < bands; band = mNextBand++) {
        if (!work(band)) mFailed = true;
    }
}

}  // namespace cl
