// Turns a frame into an RGBA picture with one of the platform's engines.
#include "output/PictureConverter.h"

extern "C" {
#include <libavutil/imgutils.h>
}

#include <system/graphics.h>

#include "base/Text.h"
#include "media/FrameBuffers.h"
#include "media/LibraryLog.h"
#include "media/PlanarFrame.h"
#include "output/Dataspace.h"

namespace plexa {

using android::APipeBuffer;
using android::APipeConverter;
using android::sp;

namespace {

constexpr int kRgbaBytes = 4;

FramePtr copyOf(const sp<APipeBuffer>& picture) {
    FramePtr frame = allocateFrame(AV_PIX_FMT_RGBA, picture->getWidth(), picture->getHeight());
    if (frame == nullptr) return nullptr;
    uint8_t* pixels = nullptr;
    uint8_t* unused = nullptr;
    picture->getYCbCr(&pixels, &unused, &unused);
    av_image_copy_plane(frame->data[0], frame->linesize[0], pixels,
                        picture->getStride() * kRgbaBytes, frame->width * kRgbaBytes,
                        frame->height);
    return frame;
}

}  // namespace

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
    mPicture = allocatePicture(width, height);
    if (mPicture == nullptr) {
        return Status::error(
            withLibraryError(text("no memory for a picture of %dx%d", width, height)));
    }
    mPicture->unlock();
    if (mConverter != nullptr) {
        mConverter->setColorSpace(legacyDataspace(dataspace));
        if (mConverter->init(formats) == android::OK) return {};
    }
    return Status::error(withLibraryError(text("engine %s cannot start here", mName)));
}

Status PictureConverter::convert(const sp<APipeBuffer>& frame, FramePtr* picture) {
    if (mConverter->convert(frame, mPicture) != android::OK) {
        return Status::error(
            withLibraryError(text("the frame could not be rendered by engine %s", mName)));
    }
    if (mPicture->lock() != android::OK) {
        return Status::error(withLibraryError("the picture cannot be read back"));
    }
    *picture = copyOf(mPicture);
    mPicture->unlock();
    return *picture != nullptr ? Status() : Status::error("no memory for a picture");
}

}  // namespace plexa
