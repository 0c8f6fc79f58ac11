// Frames spread over a clip, side by side in one PNG picture.
#include "media/ContactSheetSink.h"

extern "C" {
#include <libavutil/imgutils.h>
}

#include <algorithm>
#include <cstring>

#include "base/Text.h"

namespace plexa {
namespace {

constexpr int kGap = 4;            // pixels between two frames
constexpr uint8_t kGapColor = 32;  // dark grey, apart from black frames
constexpr int kBytesPerPixel = 3;

int64_t extent(int cells, int size) {
    return static_cast<int64_t>(cells) * (size + kGap) - kGap;
}

}  // namespace

Status ContactSheetSink::open(const VideoFormat& format) {
    mFormat = format;
    const int64_t width = extent(mLayout.columns, format.width);
    const int64_t height = extent(mLayout.rows, format.height);
    if (isTooLarge(width, height)) {
        return Status::error(text("--sheet: %dx%d frames of %dx%d make too large a picture",
                                  mLayout.columns, mLayout.rows, format.width, format.height));
    }
    mConverter.emplace(format);
    return mFile.create(mPath);
}

Status ContactSheetSink::write(const SemiPlanarPicture& picture, FrameTime /*time*/) {
    FramePtr rgb;
    Status status = mConverter->convert(picture, &rgb);
    if (!status.isOk()) return Status::error(mPath + ": " + status.text());
    mPictures.push_back(std::move(rgb));
    const int limit = FrameSelection::kThinningFactor * mLayout.cells();
    if (static_cast<int>(mPictures.size()) == limit) thinOut();
    return {};
}

void ContactSheetSink::thinOut() {
    size_t kept = 0;
    for (size_t i = 0; i < mPictures.size(); i += FrameSelection::kThinningFactor) {
        mPictures[kept++] = std::move(mPictures[i]);
    }
    mPictures.resize(kept);
}

Status ContactSheetSink::finish() {
    FramePtr sheet =
        allocateFrame(AV_PIX_FMT_RGB24, static_cast<int>(extent(mLayout.columns, mFormat.width)),
                      static_cast<int>(extent(mLayout.rows, mFormat.height)));
    if (sheet == nullptr) return Status::error(mPath + ": no memory for the contact sheet");
    for (int y = 0; y < sheet->height; ++y) {
        std::memset(sheet->data[0] + static_cast<ptrdiff_t>(y) * sheet->linesize[0], kGapColor,
                    static_cast<size_t>(sheet->width) * kBytesPerPixel);
    }
    sheet->sample_aspect_ratio = mFormat.sampleAspectRatio;
    const size_t cells = static_cast<size_t>(mLayout.cells());
    const size_t used = std::min(cells, mPictures.size());
    for (size_t cell = 0; cell < used; ++cell) {
        // The middle of each of `used` equal parts of the clip.
        const size_t chosen = (2 * cell + 1) * mPictures.size() / (2 * used);
        paste(*mPictures[chosen], static_cast<int>(cell), sheet.get());
    }
    return writePng(*sheet, &mFile);
}

void ContactSheetSink::paste(const AVFrame& picture, int cell, AVFrame* sheet) const {
    const ptrdiff_t left = static_cast<ptrdiff_t>(cell % mLayout.columns) * (mFormat.width + kGap);
    const ptrdiff_t top = static_cast<ptrdiff_t>(cell / mLayout.columns) * (mFormat.height + kGap);
    uint8_t* corner = sheet->data[0] + top * sheet->linesize[0] + left * kBytesPerPixel;
    av_image_copy_plane(corner, sheet->linesize[0], picture.data[0], picture.linesize[0],
                        picture.width * kBytesPerPixel, picture.height);
}

std::vector<std::string> ContactSheetSink::warnings() const {
    const int found = static_cast<int>(mPictures.size());
    if (found >= mLayout.cells()) return {};
    return {text("%s: %d frames for %d cells; the last cells stay empty", mPath.c_str(), found,
                 mLayout.cells())};
}

}  // namespace plexa
