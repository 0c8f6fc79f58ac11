// Between FFmpeg's planar frames and pictures with interleaved chroma.
#include "media/PlanarFrame.h"

#include <libyuv/planar_functions.h>

#include <utility>

namespace plexa {
namespace {

// libyuv counts the strides of 16-bit planes in samples.
constexpr int kBytesPerSample = 2;
constexpr int kBits = 10;

uint16_t* samples(uint8_t* plane) {
    return reinterpret_cast<uint16_t*>(plane);
}
void pack8(const AVFrame& planar, const SemiPlanarPicture& to) {
    libyuv::CopyPlane(planar.data[0], planar.linesize[0], to.luma, to.lumaStride, to.width,
                      to.height);
    libyuv::MergeUVPlane(planar.data[1], planar.linesize[1], planar.data[2], planar.linesize[2],
                         to.chroma, to.chromaStride, to.chromaWidth(), to.chromaHeight());
}

void pack10(const AVFrame& planar, const SemiPlanarPicture& to) {
    libyuv::ConvertToMSBPlane_16(samples(planar.data[0]), planar.linesize[0] / kBytesPerSample,
                                 samples(to.luma), to.lumaStride / kBytesPerSample, to.width,
                                 to.height, kBits);
    libyuv::MergeUVPlane_16(samples(planar.data[1]), planar.linesize[1] / kBytesPerSample,
                            samples(planar.data[2]), planar.linesize[2] / kBytesPerSample,
                            samples(to.chroma), to.chromaStride / kBytesPerSample, to.chromaWidth(),
                            to.chromaHeight(), kBits);
}

void unpack8(const SemiPlanarPicture& from, AVFrame* planar) {
    libyuv::CopyPlane(from.luma, from.lumaStride, planar->data[0], planar->linesize[0], from.width,
                      from.height);
    libyuv::SplitUVPlane(from.chroma, from.chromaStride, planar->data[1], planar->linesize[1],
                         planar->data[2], planar->linesize[2], from.chromaWidth(),
                         from.chromaHeight());
}

void unpack10(const SemiPlanarPicture& from, AVFrame* planar) {
    libyuv::ConvertToLSBPlane_16(samples(from.luma), from.lumaStride / kBytesPerSample,
                                 samples(planar->data[0]), planar->linesize[0] / kBytesPerSample,
                                 from.width, from.height, kBits);
    libyuv::SplitUVPlane_16(samples(from.chroma), from.chromaStride / kBytesPerSample,
                            samples(planar->data[1]), planar->linesize[1] / kBytesPerSample,
                            samples(planar->data[2]), planar->linesize[2] / kBytesPerSample,
                            from.chromaWidth(), from.chromaHeight(), kBits);
}

}  // namespace

FramePtr allocateFrame(AVPixelFormat pixels, int width, int height) {
    FramePtr frame(av_frame_alloc());
    if (frame == nullptr) return nullptr;
    frame->format = pixels;
    frame->width = width;
    frame->height = height;
    return av_frame_get_buffer(frame.get(), 0) == 0 ? std::move(frame) : nullptr;
}

void pack(const AVFrame& planar, const SemiPlanarPicture& picture) {
    if (picture.bitDepth > 8) {
        pack10(planar, picture);
    } else {
        pack8(planar, picture);
    }
}

void unpack(const SemiPlanarPicture& picture, AVFrame* planar) {
    if (picture.bitDepth > 8) {
        unpack10(picture, planar);
    } else {
        unpack8(picture, planar);
    }
}

}  // namespace plexa
