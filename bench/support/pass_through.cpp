// A stage whose engine does nothing, so that what a chain costs is the machinery's own time.
#include "support/pass_through.h"

namespace plexa::bench {

using namespace android;

namespace {

constexpr int kPoolBuffers = 8;
constexpr int kPixels = 16;

}  // namespace

PassThroughStage::PassThroughStage(const sp<APipe>& next, const sp<AMessage>& notify)
    : APipe(next, notify, "PassThrough") {}

void PassThroughStage::onInit(const sp<AMessage>& msg) {
    if (setBufferInfo(kPoolBuffers, kPixels, kPixels, APipeBuffer::Nv12, false) != OK) {
        notifyError(UNKNOWN_ERROR);
        return;
    }
    APipe::onInit(msg);
}

void PassThroughStage::onWork() {
    workOnFirstItem([](const APipeItem&) { return OK; });
}

sp<APipe> passThroughChain(int stages, const sp<AMessage>& notify) {
    sp<APipe> first;
    for (int i = 0; i < stages; ++i) {
        first = new PassThroughStage(first, notify);
        first->setItemGenerator(new APipeItemGenerator("PassThrough"));
    }
    return first;
}

}  // namespace plexa::bench
