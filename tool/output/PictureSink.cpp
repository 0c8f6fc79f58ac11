// One frame of a clip, or several side by side, as a PNG picture.
#include "output/PictureSink.h"

#include <algorithm>

#include "base/Text.h"
#include "output/Dataspace.h"
#include "output/HdrMetadata.h"
#include "output/PngWriter.h"

namespace plexa {
namespace {

constexpr int kGap = 4;  // pixels between two frames

int64_t extent(int cells, int size) {
    return static_cast<int64_t>(cells) * (size + kGap) - kGap;
}

}  // namespace

Status PictureSink::open(const VideoFormat& format, const VideoFormat& source) {
    mFormat = format;
    // What is not tagged is guessed by the size that the stream was coded with.
    mDataspace = dataspaceOf(source);
    if (mSheet.isSet() &&
        isTooLarge(extent(mSheet.columns, format.width), extent(mSheet.rows, format.height))) {
        return Status::error(text("--sheet: %dx%d frames of %dx%d make too large a picture",
                                  mSheet.columns, mSheet.rows, format.width, format.height));
    }
    return mFile.create(mPath);
}

FrameSelection PictureSink::selection(int64_t expectedFrames) const {
    return mSheet.isSet() ? FrameSelection::spread(mSheet.cells(), expectedFrames)
                          : FrameSelection::first();
}

Status PictureSink::write(const FinishedFrame& frame) {
    Status status;
    if (!mIsConverterOpen) {
        status = mConverter.open(Engine::Capture, mDataspace, mFormat.width, mFormat.height);
        mIsConverterOpen = true;
    }
    if (!status.isOk()) return status;
    const android::sp<android::AMessage> meta = frame.buffer->getMeta();
    meta->setRect("crop", 0, 0, mFormat.width, mFormat.height);
    meta->setInt32("dataSpace", mDataspace);
    attachHdrMetadata(*frame.properties, meta);
    FramePtr picture;
    frame.buffer->unlock();
    status = mConverter.convert(frame.buffer, &picture);
    if (status.isOk() && frame.buffer->lock() != android::OK) {
        status = Status::error("a frame cannot be read back");
    }
    if (!status.isOk()) return Status::error(mPath + ": " + status.text());
    picture->sample_aspect_ratio = mFormat.sampleAspectRatio;
    mPictures.push_back(std::move(picture));
    const int limit = FrameSelection::kThinningFactor * mSheet.cells();
    if (static_cast<int>(mPictures.size()) == limit) thinOut();
    return {};
}

void PictureSink::thinOut() {
    size_t kept = 0;
    for (size_t i = 0; i < mPictures.size(); i += FrameSelection::kThinningFactor) {
        mPictures[kept++] = std::move(mPictures[i]);
    }
    mPictures.resize(kept);
}

Status PictureSink::finish() {
    if (mPictures.empty()) return Status::error(mPath + ": there is no frame to write");
    if (!mSheet.isSet()) return writePng({mPictures[0].get()}, "null", &mFile);
    const size_t used = std::min(static_cast<size_t>(mSheet.cells()), mPictures.size());
    std::vector<AVFrame*> chosen;
    // The middle of each of `used` equal parts of the clip.
    for (size_t cell = 0; cell < used; ++cell)
        chosen.push_back(mPictures[(2 * cell + 1) * mPictures.size() / (2 * used)].get());
    return writePng(chosen,
                    text("tile=%dx%d:padding=%d:color=0x202020", mSheet.columns, mSheet.rows, kGap),
                    &mFile);
}

std::vector<std::string> PictureSink::notes() const {
    const int found = static_cast<int>(mPictures.size());
    if (found >= mSheet.cells()) return {};
    return {text("%s: %d frames for %d cells; the last cells stay empty", mPath.c_str(), found,
                 mSheet.cells())};
}

}  // namespace plexa
