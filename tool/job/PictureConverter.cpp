// Turns a frame into an RGBA picture with one of the platform's engines.
#include "job/PictureConverter.h"

#include <system/graphics.h>

#include "base/Text.h"
#include "job/Dataspace.h"
#include "job/FrameBuffers.h"
#include "job/LibraryLog.h"

namespace plexa {

using android::APipeBuffer;
using android::APipeConverter;
using android::sp;

Engine chooseEngine(Engine requested, int32_t dataspace) {
    if (requested != Engine::Auto) return requested;
    return showsTrueColors(Engine::Gl, dataspace) ? Engine::Gl : Engine::Capture;
}

bool showsTrueColors(Engine engine, int32_t dataspace) {
    if (engine == Engine::Capture) return true;
    const int32_t legacy = legacyDataspace(dataspace);
    return legacy == HAL_DATASPACE_BT709 || legacy == HAL_DATASPACE_BT601_625 ||
           legacy == HAL_DATASPACE_BT601_525;
}

const char* nameOf(Engine engine) {
    switch (engine) {
        case Engine::Gl:
            return "gl";
        case Engine::Capture:
            return "capture";
        case Engine::Auto:
            break;
    }
    return "auto";
}

PictureConverter::~PictureConverter() {
    if (mConverter != nullptr) mConverter->reset();
}

Status PictureConverter::open(Engine engine, int32_t dataspace, int width, int height) {
    mName = nameOf(engine);
    mConverter = APipeConverter::Create(engine == Engine::Gl ? APipeConverter::kTypeGL
                                                             : APipeConverter::kTypeRE);
    sp<android::AMessage> formats = new android::AMessage();
    formats->setMessage("dst", formatMessage(APipeBuffer::Rgba8888, width, height));
    if (mConverter != nullptr) {
        mConverter->setColorSpace(legacyDataspace(dataspace));
        if (mConverter->init(formats) == android::OK) return {};
    }
    return Status::error(withLibraryError(text("engine %s cannot start here", mName)));
}

Status PictureConverter::convert(const sp<APipeBuffer>& frame, const sp<APipeBuffer>& picture) {
    if (mConverter->convert(frame, picture) == android::OK) return {};
    return Status::error(
        withLibraryError(text("the frame could not be rendered by engine %s", mName)));
}

}  // namespace plexa
