// Sizes and areas that the user asks for.
#include "job/Geometry.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

#include "base/Text.h"

namespace plexa {
namespace {

bool isSide(int64_t side) {
    return side >= PictureSize::kMinSide && side <= kMaxSide;
}

bool isSize(int64_t width, int64_t height) {
    return isSide(width) && isSide(height) && !isTooLarge(width, height);
}

std::string expectation() {
    return text("each side %d to %d and at most %lld pixels in all", PictureSize::kMinSide,
                kMaxSide, static_cast<long long>(kMaxPixels));
}

int64_t follow(int64_t side, int64_t sourceSide, int64_t sourceOther, SideRule rule) {
    const int64_t step = rule == SideRule::Even ? 2 : 1;
    return (2 * side * sourceOther + step * sourceSide) / (2 * step * sourceSide) * step;
}

bool isInside(const CropArea& crop) {
    return crop.x >= 0 && crop.y >= 0 && crop.x < kMaxSide && crop.y < kMaxSide &&
           crop.width >= 1 && crop.height >= 1 && crop.width <= kMaxSide && crop.height <= kMaxSide;
}

}  // namespace

bool parseNumbers(const std::string& value, char separator, std::span<int> numbers) {
    const char* next = value.data();
    const char* end = next + value.size();
    for (size_t i = 0; i < numbers.size(); ++i) {
        if (i > 0 && (next == end || *next++ != separator)) return false;
        auto [rest, error] = std::from_chars(next, end, numbers[i]);
        if (error != std::errc()) return false;
        next = rest;
    }
    return next == end;
}

Status parseSize(const std::string& value, PictureSize* size) {
    std::array<int, 2> numbers{};
    if (parseNumbers(value, 'x', numbers)) {
        const PictureSize read{numbers[0], numbers[1]};
        const bool keepsWidth = read.width == PictureSize::kKeepAspect && isSide(read.height);
        const bool keepsHeight = read.height == PictureSize::kKeepAspect && isSide(read.width);
        if (keepsWidth || keepsHeight || isSize(read.width, read.height)) {
            *size = read;
            return {};
        }
    }
    return Status::error("'" + value + "' is not a size: expected WIDTHxHEIGHT, " + expectation() +
                         ", or -1 for one of them to keep the aspect");
}

Status parseCrop(const std::string& value, CropArea* crop) {
    std::array<int, 4> numbers{};
    if (parseNumbers(value, ',', numbers)) {
        const CropArea read{numbers[0], numbers[1], numbers[2], numbers[3]};
        if (isInside(read)) {
            *crop = read;
            return {};
        }
    }
    return Status::error(
        text("'%s' is not a crop: expected X,Y,W,H in pixels, X and Y 0 or more, W and H 1 to %d",
             value.c_str(), kMaxSide));
}

Status resolve(PictureSize requested, PictureSize source, SideRule rule, PictureSize* size) {
    int64_t width = requested.width;
    int64_t height = requested.height;
    if (width == PictureSize::kKeepAspect)
        width = follow(height, source.height, source.width, rule);
    if (requested.height == PictureSize::kKeepAspect)
        height = follow(width, source.width, source.height, rule);
    if (!isSize(width, height)) {
        return Status::error(text("--size: the aspect of %dx%d makes %lldx%lld; expected ",
                                  source.width, source.height, static_cast<long long>(width),
                                  static_cast<long long>(height)) +
                             expectation());
    }
    *size = {static_cast<int>(width), static_cast<int>(height)};
    return {};
}

PictureSize squarePixels(PictureSize source, AVRational sampleAspectRatio) {
    if (sampleAspectRatio.num <= 0 || sampleAspectRatio.den <= 0) return source;
    const double aspect = av_q2d(sampleAspectRatio);
    if (aspect > 1) return {static_cast<int>(std::lround(source.width * aspect)), source.height};
    return {source.width, static_cast<int>(std::lround(source.height / aspect))};
}

AVRational aspectFor(PictureSize size, PictureSize source, AVRational sampleAspectRatio) {
    const double width = double(size.height) * source.width / source.height;
    const double height = double(size.width) * source.height / source.width;
    // A side that was rounded to an even number is off by up to one.
    if (std::abs(width - size.width) <= 1 || std::abs(height - size.height) <= 1) {
        return sampleAspectRatio;
    }
    const bool isKnown = sampleAspectRatio.num > 0 && sampleAspectRatio.den > 0;
    const AVRational change = av_mul_q({source.width, source.height}, {size.height, size.width});
    return av_mul_q(change, isKnown ? sampleAspectRatio : AVRational{1, 1});
}

}  // namespace plexa
