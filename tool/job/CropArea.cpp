// The part of a frame that the user asks for.
#include "job/CropArea.h"

#include <array>
#include <charconv>

#include "base/Text.h"
#include "media/VideoFormat.h"

namespace plexa {
namespace {

// Reads numbers with commas between them and nothing else.
bool readNumbers(const std::string& value, std::array<int, 4>* numbers) {
    const char* next = value.data();
    const char* end = next + value.size();
    for (size_t i = 0; i < numbers->size(); ++i) {
        if (i > 0 && (next == end || *next++ != ',')) return false;
        auto [rest, error] = std::from_chars(next, end, (*numbers)[i]);
        if (error != std::errc()) return false;
        next = rest;
    }
    return next == end;
}

bool isInside(const CropArea& crop) {
    return crop.x >= 0 && crop.y >= 0 && crop.x < kMaxSide && crop.y < kMaxSide &&
           crop.width >= 1 && crop.height >= 1 && crop.width <= kMaxSide && crop.height <= kMaxSide;
}

CropArea visiblePart(const AVFrame& frame) {
    const int left = static_cast<int>(frame.crop_left);
    const int top = static_cast<int>(frame.crop_top);
    return {left, top, frame.width - left - static_cast<int>(frame.crop_right),
            frame.height - top - static_cast<int>(frame.crop_bottom)};
}

}  // namespace

Status parseCrop(const std::string& value, CropArea* crop) {
    std::array<int, 4> numbers{};
    if (readNumbers(value, &numbers)) {
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

Status cropOf(const AVFrame& frame, const std::optional<CropArea>& requested, CropArea* crop) {
    const CropArea visible = visiblePart(frame);
    *crop = visible;
    if (!requested.has_value()) return {};
    if (requested->right() > visible.width || requested->bottom() > visible.height) {
        return Status::error(text("--crop: %d,%d,%d,%d reaches beyond the picture of %dx%d",
                                  requested->x, requested->y, requested->width, requested->height,
                                  visible.width, visible.height));
    }
    *crop = {visible.x + requested->x, visible.y + requested->y, requested->width,
             requested->height};
    return {};
}

}  // namespace plexa
