// Pictures that tell which frame they are.
#include <kit/Frames.h>

#include <APipeBufferUtils.h>
#include <host/GraphicBufferPixels.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "Planes.h"

namespace plexa::kit {

using android::APipeBuffer;
using android::sp;

namespace {

using Word = uint64_t;

Word mixed(Word word) {
    word = (word ^ (word >> 31U)) * 0x9E3779B97F4A7C15U;
    return (word ^ (word >> 29U)) * 0xBF58476D1CE4E5B9U;
}

// What every eight bytes of a frame say. 10-bit samples leave six bits of sixteen unused.
Word wordOf(int64_t frame, APipeBuffer::ColorFormat color) {
    constexpr Word kUsedOf10Bits = 0xFFC0FFC0FFC0FFC0U;
    const bool isDeep = color == APipeBuffer::P010 || color == APipeBuffer::P010Venus;
    const Word word = mixed(static_cast<Word>(frame) + 1);
    return isDeep ? word & kUsedOf10Bits : word;
}

void fillRow(uint8_t* row, size_t bytes, Word word) {
    for (size_t at = 0; at < bytes; at += sizeof(word))
        std::memcpy(row + at, &word, std::min(sizeof(word), bytes - at));
}

bool isRowOf(const uint8_t* row, size_t bytes, Word word) {
    for (size_t at = 0; at < bytes; at += sizeof(word))
        if (std::memcmp(row + at, &word, std::min(sizeof(word), bytes - at)) != 0) return false;
    return true;
}

Word digest(Word so, const uint8_t* bytes, size_t count) {
    for (size_t at = 0; at < count; at += sizeof(Word)) {
        Word word = 0;
        std::memcpy(&word, bytes + at, std::min(sizeof(word), count - at));
        so = mixed(so + word + 1);
    }
    return so;
}

bool paintPlanes(const sp<APipeBuffer>& buffer, int64_t frame) {
    const auto planes = planesOf(buffer);
    const Word word = wordOf(frame, buffer->getColorFormat());
    for (const Plane& plane : planes)
        for (size_t row = 0; row < plane.rows; ++row)
            fillRow(plane.data + row * plane.stride, plane.rowBytes, word);
    return !planes.empty();
}

}  // namespace

FramePainter::FramePainter(const FrameFormat& format) {
    if (!android::APipeBufferUtils::isCompressedColorformat(format.color)) return;
    FrameFormat plain = format;
    plain.color =
        format.color == APipeBuffer::Tp10Ubwc ? APipeBuffer::P010Venus : APipeBuffer::Nv12Venus;
    mPlain = newFrame(plain);
    mCompressor = android::APipeConverter::Create(android::APipeConverter::kTypeCL);
    const sp<android::AMessage> formats = new android::AMessage;
    formats->setMessage("src", formatOf(plain));
    formats->setMessage("dst", formatOf(format));
    if (mPlain == nullptr || mCompressor->init(formats) != android::OK) mCompressor.reset();
}

bool FramePainter::paint(const sp<APipeBuffer>& buffer, int64_t frame) const {
    if (mPlain == nullptr) return paintPlanes(buffer, frame);
    return mCompressor != nullptr && paintPlanes(mPlain, frame) &&
           mCompressor->convert(mPlain, buffer) == android::OK;
}

bool showsFrame(const sp<APipeBuffer>& buffer, int64_t frame) {
    const auto planes = planesOf(buffer);
    const Word word = wordOf(frame, buffer->getColorFormat());
    for (const Plane& plane : planes)
        for (size_t row = 0; row < plane.rows; ++row)
            if (!isRowOf(plane.data + row * plane.stride, plane.rowBytes, word)) return false;
    return !planes.empty();
}

uint64_t digestOf(const sp<APipeBuffer>& buffer) {
    Word so = 0;
    if (android::APipeBufferUtils::isCompressedColorformat(buffer->getColorFormat())) {
        const auto memory = buffer->getGraphicBuffer();
        const auto pixels = memory != nullptr ? android::host::pixelsOf(*memory) : std::nullopt;
        return pixels ? digest(so, pixels->base, pixels->size) : 0;
    }
    for (const Plane& plane : planesOf(buffer))
        for (size_t row = 0; row < plane.rows; ++row)
            so = digest(so, plane.data + row * plane.stride, plane.rowBytes);
    return so;
}

bool copyPicture(const sp<APipeBuffer>& from, const sp<APipeBuffer>& to) {
    const auto source = planesOf(from), target = planesOf(to);
    const bool fits = std::ranges::equal(source, target, [](const Plane& one, const Plane& other) {
        return one.rowBytes == other.rowBytes && one.rows == other.rows;
    });
    if (source.empty() || !fits) return false;
    for (size_t i = 0; i < source.size(); ++i)
        for (size_t row = 0; row < source[i].rows; ++row)
            std::memcpy(target[i].data + row * target[i].stride,
                        source[i].data + row * source[i].stride, source[i].rowBytes);
    return true;
}

}  // namespace plexa::kit
