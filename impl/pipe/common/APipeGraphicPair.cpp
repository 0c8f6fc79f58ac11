// The graphics buffers that an engine works on.
#include "APipeGraphicPair.h"

#include <android/log.h>

namespace android {

namespace {

sp<GraphicBuffer> graphicBufferOf(const sp<APipeBuffer>& buffer) {
    return buffer != nullptr ? buffer->getGraphicBuffer() : nullptr;
}

}  // namespace

APipeGraphicPair::APipeGraphicPair(const char* tag, const char* operation,
                                   const sp<APipeBuffer>& input, const sp<APipeBuffer>& output)
    : mSource(graphicBufferOf(input)), mDestination(graphicBufferOf(output)) {
    if (isComplete()) return;
    __android_log_print(ANDROID_LOG_ERROR, tag,
                        "%s needs an input and an output with a graphics buffer", operation);
}

}  // namespace android
