// The frames of a clip side by side in one PNG picture.
#include "ContactSheet.h"

#include <libyuv.h>
#include <png.h>

#include <algorithm>
#include <cstddef>

namespace android {

namespace {

constexpr int kGap = 4;  // pixels around each cell
constexpr int kRgbBytes = 3;
constexpr uint8_t kDark = 24;

}  // namespace

ContactSheet::ContactSheet(int cells, int columns, int cellWidth, int cellHeight)
    : mColumns(columns),
      mRows((cells + columns - 1) / columns),
      mCellWidth(cellWidth),
      mCellHeight(cellHeight),
      mRgb(static_cast<size_t>(width()) * static_cast<size_t>(height()) * kRgbBytes, kDark) {}

void ContactSheet::paste(int cell, const Picture& frame) {
    libyuv::I420ToRAW(frame.y, frame.stride, frame.cb, frame.chromaStride, frame.cr,
                      frame.chromaStride, pixels(cell, 0), width() * kRgbBytes,
                      std::min(frame.width, mCellWidth), std::min(frame.height, mCellHeight));
}

void ContactSheet::dim(int cell) {
    for (int row = 0; row < mCellHeight; ++row) {
        uint8_t* rgb = pixels(cell, row);
        for (int column = 0; column < mCellWidth; ++column, rgb += kRgbBytes) {
            std::fill_n(rgb, kRgbBytes, static_cast<uint8_t>((rgb[0] + rgb[1] + rgb[2]) / 6));
        }
    }
}

bool ContactSheet::write(const std::string& path) const {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width());
    image.height = static_cast<png_uint_32>(height());
    image.format = PNG_FORMAT_RGB;
    return png_image_write_to_file(&image, path.c_str(), 0, mRgb.data(), 0, nullptr) != 0;
}

int ContactSheet::width() const {
    return mColumns * (mCellWidth + kGap) + kGap;
}

int ContactSheet::height() const {
    return mRows * (mCellHeight + kGap) + kGap;
}

uint8_t* ContactSheet::pixels(int cell, int row) {
    const int x = cell % mColumns * (mCellWidth + kGap) + kGap;
    const int y = cell / mColumns * (mCellHeight + kGap) + kGap + row;
    return mRgb.data() +
           (static_cast<size_t>(y) * static_cast<size_t>(width()) + static_cast<size_t>(x)) *
               kRgbBytes;
}

}  // namespace android
