// Makes a picture of one frame of a video.
#include "job/SnapshotJob.h"

#include <utility>

#include "base/Text.h"
#include "job/Dataspace.h"
#include "job/FrameBuffers.h"
#include "job/HdrMetadata.h"
#include "job/LibraryLog.h"
#include "media/FrameLoader.h"
#include "media/PngWriter.h"

namespace plexa {

using android::APipeBuffer;
using android::sp;

namespace {

// Containers round the times of frames to as little as a millisecond.
constexpr double kClockTolerance = 0.0005;

constexpr int kRgbaBytes = 4;

}  // namespace

SnapshotJob::SnapshotJob(SnapshotRequest request)
    : mRequest(std::move(request)),
      mReader(mCancellation, Cropping::Caller),
      mFile(mCancellation) {}

Status SnapshotJob::run(SnapshotReport* report) {
    Status status = make();
    if (!status.isOk() && mCancellation.isRequested()) {
        return Status::error(mRequest.output + ": interrupted before it was complete");
    }
    if (status.isOk()) {
        mResult.warnings = warnings();
        *report = mResult;
    }
    return status;
}

Status SnapshotJob::make() {
    Status status = mReader.open(mRequest.input);
    if (status.isOk()) status = mFile.create(mRequest.output);
    const AVFrame* frame = status.isOk() ? findFrame(&status) : nullptr;
    if (frame == nullptr) return status;
    status = chooseArea(*frame);
    sp<APipeBuffer> buffer;
    if (status.isOk()) status = loadFrame(*frame, &buffer);
    FramePtr rgb;
    if (status.isOk()) status = render(buffer, &rgb);
    if (!status.isOk()) return status;
    rgb->sample_aspect_ratio = mReader.format().sampleAspectRatio;
    return writePng(*rgb, &mFile);
}

const AVFrame* SnapshotJob::findFrame(Status* status) {
    std::optional<int64_t> first;
    while (!mCancellation.isRequested()) {
        const AVFrame* frame = nullptr;
        FrameTime time;
        *status = mReader.read(&frame, &time);
        if (!status->isOk()) return nullptr;
        if (frame == nullptr) {
            *status = Status::error(text("--at: the last frame is at %.3f s, before %.3f s",
                                         mResult.seconds, mRequest.seconds));
            return nullptr;
        }
        if (!first.has_value()) first = time.pts;
        mResult.seconds =
            static_cast<double>(time.pts - *first) * av_q2d(mReader.format().timeBase);
        if (mResult.seconds >= mRequest.seconds - kClockTolerance) return frame;
    }
    *status = Status::error("interrupted");
    return nullptr;
}

Status SnapshotJob::chooseArea(const AVFrame& frame) {
    CropArea visible;
    Status status = cropOf(frame, std::nullopt, &visible);
    if (status.isOk()) status = cropOf(frame, mRequest.crop, &mResult.crop);
    if (!status.isOk()) return status;
    mResult.source = mReader.format();
    mResult.source.width = visible.width;
    mResult.source.height = visible.height;
    mDataspace = dataspaceOf(mResult.source);
    mResult.engine = chooseEngine(mRequest.engine, mDataspace);
    mResult.size = {mResult.crop.width, mResult.crop.height};
    if (mRequest.size.width == 0) return {};
    return resolve(mRequest.size, mResult.crop.width, mResult.crop.height, &mResult.size);
}

Status SnapshotJob::loadFrame(const AVFrame& frame, sp<APipeBuffer>* buffer) const {
    const VideoFormat& format = mReader.format();
    *buffer = allocateLinear(format.bitDepth, format.width, format.height, 0);
    if (*buffer == nullptr) {
        return Status::error(
            withLibraryError(text("no memory for a frame of %dx%d", format.width, format.height)));
    }
    Status status = FrameLoader(format).load(frame, pixelsOf(*buffer));
    if (!status.isOk()) return Status::error(mRequest.input + ": " + status.text());
    (*buffer)->unlock();
    const sp<android::AMessage> meta = (*buffer)->getMeta();
    const CropArea& crop = mResult.crop;
    meta->setRect("crop", crop.x, crop.y, crop.right(), crop.bottom());
    meta->setInt32("dataSpace", mDataspace);
    attachHdrMetadata(frame, mReader.stream(), meta);
    return {};
}

Status SnapshotJob::render(const sp<APipeBuffer>& frame, FramePtr* rgb) {
    const auto& [width, height] = mResult.size;
    const sp<APipeBuffer> picture = allocatePicture(width, height);
    if (picture == nullptr) {
        return Status::error(
            withLibraryError(text("no memory for a picture of %dx%d", width, height)));
    }
    picture->unlock();
    PictureConverter converter;
    Status status = openConverter(&converter);
    if (status.isOk()) status = converter.convert(frame, picture);
    if (!status.isOk()) return status;
    if (picture->lock() != android::OK) {
        return Status::error(withLibraryError("the picture cannot be read back"));
    }
    uint8_t* rgba = nullptr;
    uint8_t* unused = nullptr;
    picture->getYCbCr(&rgba, &unused, &unused);
    status = withoutAlpha(rgba, picture->getStride() * kRgbaBytes, width, height, rgb);
    return status.isOk() ? status : Status::error(mRequest.output + ": " + status.text());
}

Status SnapshotJob::openConverter(PictureConverter* converter) {
    const auto& [width, height] = mResult.size;
    Status status = converter->open(mResult.engine, mDataspace, width, height);
    if (status.isOk() || mRequest.engine != Engine::Auto || mResult.engine != Engine::Gl) {
        return status;
    }
    mFallbackReason = status.text();
    mResult.engine = Engine::Capture;
    return converter->open(mResult.engine, mDataspace, width, height);
}

std::vector<std::string> SnapshotJob::warnings() const {
    std::vector<std::string> result = mReader.damageWarnings();
    if (!showsTrueColors(mResult.engine, mDataspace)) {
        result.push_back(mRequest.input + ": engine " + nameOf(mResult.engine) +
                         " shows its colours wrong; --engine capture follows its tags");
    }
    if (!mFallbackReason.empty()) {
        result.push_back(mFallbackReason + "; engine " + nameOf(mResult.engine) + " in its place");
    }
    if (mResult.source.displayMatrix.has_value()) {
        result.push_back(mRequest.input + ": players turn or mirror it; the picture is as coded");
    }
    return result;
}

}  // namespace plexa
