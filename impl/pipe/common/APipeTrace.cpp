// What a stage tells the system trace.
#include "APipeTrace.h"

namespace android {

namespace {

int32_t cookieOf(int64_t timeUs) {
    return static_cast<int32_t>(timeUs);
}

}  // namespace

APipeTrace::APipeTrace(const std::string& stage)
    : mStage(stage),
      mWaits(stage + " waits"),
      mFreeBuffers(stage + " free buffers"),
      mInputs(stage + " inputs"),
      mOutputs(stage + " outputs") {}

std::string APipeTrace::workName(int64_t timeUs) const {
    return isOn() ? mStage + " " + std::to_string(timeUs) : std::string();
}

std::string APipeTrace::endName() const {
    return mStage + " end";
}

void APipeTrace::beginWait(int64_t timeUs) const {
    ATRACE_ASYNC_BEGIN(mWaits.c_str(), cookieOf(timeUs));
}

void APipeTrace::endWait(int64_t timeUs) const {
    ATRACE_ASYNC_END(mWaits.c_str(), cookieOf(timeUs));
}

void APipeTrace::beginFrame(int64_t timeUs) {
    ATRACE_ASYNC_BEGIN("frame", cookieOf(timeUs));
}

void APipeTrace::endFrame(int64_t timeUs) {
    ATRACE_ASYNC_END("frame", cookieOf(timeUs));
}

void APipeTrace::drop(int64_t timeUs, const char* reason) const {
    if (!isOn()) return;
    ATRACE_NAME((mStage + " dropped " + std::to_string(timeUs) + ": " + reason).c_str());
    endWait(timeUs);
    endFrame(timeUs);
}

void APipeTrace::counters(int64_t inputs, int64_t outputs, int64_t freeBuffers) const {
    ATRACE_INT(mInputs.c_str(), static_cast<int32_t>(inputs));
    ATRACE_INT(mOutputs.c_str(), static_cast<int32_t>(outputs));
    if (freeBuffers >= 0) ATRACE_INT(mFreeBuffers.c_str(), static_cast<int32_t>(freeBuffers));
}

}  // namespace android
