// The size that the user asks for.
#include "job/PictureSize.h"

#include <charconv>
#include <cstdint>

#include "base/Text.h"
#include "media/VideoFormat.h"

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

int64_t follow(int64_t side, int64_t sourceSide, int64_t sourceOther) {
    return (2 * side * sourceOther + sourceSide) / (2 * sourceSide);
}

}  // namespace

bool parsePair(const std::string& value, int* first, int* second) {
    const char* end = value.data() + value.size();
    auto [separator, firstError] = std::from_chars(value.data(), end, *first);
    if (firstError != std::errc() || separator == end || *separator != 'x') return false;
    auto [rest, secondError] = std::from_chars(separator + 1, end, *second);
    return secondError == std::errc() && rest == end;
}

Status parseSize(const std::string& value, PictureSize* size) {
    PictureSize read;
    if (parsePair(value, &read.width, &read.height)) {
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

Status resolve(PictureSize requested, int sourceWidth, int sourceHeight, PictureSize* size) {
    int64_t width = requested.width;
    int64_t height = requested.height;
    if (width == PictureSize::kKeepAspect)
        width = follow(requested.height, sourceHeight, sourceWidth);
    if (height == PictureSize::kKeepAspect)
        height = follow(requested.width, sourceWidth, sourceHeight);
    if (!isSize(width, height)) {
        return Status::error(text("--size: the aspect of %dx%d makes %lldx%lld; expected ",
                                  sourceWidth, sourceHeight, static_cast<long long>(width),
                                  static_cast<long long>(height)) +
                             expectation());
    }
    *size = {static_cast<int>(width), static_cast<int>(height)};
    return {};
}

}  // namespace plexa
