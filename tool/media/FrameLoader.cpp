// Brings decoded frames of any pixel format into NV12 or P010 memory.
#include "media/FrameLoader.h"

#include <libyuv/planar_functions.h>

#include "media/PlanarFrame.h"

namespace plexa {
namespace {

bool isSemiPlanar(int pixels, int bitDepth) {
    return pixels == (bitDepth > 8 ? AV_PIX_FMT_P010LE : AV_PIX_FMT_NV12);
}

bool isPlanar(int pixels, int bitDepth) {
    return pixels == planarFormat(bitDepth) || (bitDepth == 8 && pixels == AV_PIX_FMT_YUVJ420P);
}

void copy(const AVFrame& frame, const WritableSemiPlanarPicture& to) {
    const int bytes = to.bitDepth > 8 ? 2 : 1;
    libyuv::CopyPlane(frame.data[0], frame.linesize[0], to.luma, to.lumaStride, to.width * bytes,
                      to.height);
    libyuv::CopyPlane(frame.data[1], frame.linesize[1], to.chroma, to.chromaStride,
                      to.chromaWidth() * 2 * bytes, to.chromaHeight());
}

}  // namespace

FrameLoader::FrameLoader(const VideoFormat& format) : mFormat(format), mScaler(format) {}

Status FrameLoader::load(const AVFrame& frame, const WritableSemiPlanarPicture& picture) {
    if (isSemiPlanar(frame.format, picture.bitDepth)) {
        copy(frame, picture);
        return {};
    }
    if (isPlanar(frame.format, picture.bitDepth)) {
        pack(frame, picture);
        return {};
    }
    if (mPlanar == nullptr) {
        mPlanar = allocateFrame(planarFormat(picture.bitDepth), picture.width, picture.height);
        if (mPlanar == nullptr) return Status::error("no memory for a frame");
    }
    Status status = mScaler.convert(frame, mPlanar.get());
    if (status.isOk()) pack(*mPlanar, picture);
    return status;
}

}  // namespace plexa
