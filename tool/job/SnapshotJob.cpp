// Makes a picture of one frame of a video.
#include "job/SnapshotJob.h"

#include <utils/Trace.h>

#include <utility>

#include "base/Text.h"
#include "media/FrameBuffers.h"
#include "media/LibraryLog.h"
#include "media/PlanarFrame.h"
#include "output/Dataspace.h"
#include "output/HdrMetadata.h"
#include "output/PngWriter.h"

namespace plexa {

using android::APipeBuffer;
using android::sp;

namespace {

// Containers round the times of frames to as little as a millisecond.
constexpr double kClockTolerance = 0.0005;

InputOptions forPicture(InputOptions options) {
    options.turnsUpright = true;
    return options;
}

}  // namespace

SnapshotJob::SnapshotJob(SnapshotRequest request)
    : mRequest(std::move(request)), mReader(forPicture(mRequest.input)) {}

Status SnapshotJob::run(SnapshotReport* report) {
    Status status = make();
    if (status.isOk()) {
        mResult.notes = notes();
        mResult.damage = mReader.damage();
        *report = mResult;
    }
    return status;
}

Status SnapshotJob::make() {
    Status status = mReader.open();
    if (status.isOk()) status = mFile.create(mRequest.output);
    const AVFrame* frame = status.isOk() ? findFrame(&status) : nullptr;
    if (frame == nullptr) return status;
    status = chooseArea(*frame);
    sp<APipeBuffer> buffer;
    if (status.isOk()) status = loadFrame(*frame, &buffer);
    PictureConverter converter;
    if (status.isOk()) status = openConverter(&converter);
    FramePtr picture;
    if (status.isOk()) status = convert(buffer, &converter, &picture);
    if (!status.isOk()) return status;
    picture->sample_aspect_ratio = mAspect;
    ATRACE_NAME("write");
    return writePng({picture.get()}, "null", &mFile);
}

const AVFrame* SnapshotJob::findFrame(Status* status) {
    for (;;) {
        const AVFrame* frame = nullptr;
        FrameTime time;
        *status = readFrame(&frame, &time);
        if (!status->isOk()) return nullptr;
        if (frame == nullptr) {
            *status = Status::error(text("--at: the last frame is at %.3f s, before %.3f s",
                                         mResult.seconds, mRequest.seconds));
            return nullptr;
        }
        mResult.seconds = static_cast<double>(time.pts) * av_q2d(mReader.format().timeBase);
        if (mResult.seconds >= mRequest.seconds - kClockTolerance) return frame;
    }
}

Status SnapshotJob::readFrame(const AVFrame** frame, FrameTime* time) {
    ATRACE_NAME("decode");
    return mReader.read(frame, time);
}

Status SnapshotJob::chooseArea(const AVFrame& frame) {
    const CropArea crop = mRequest.crop.value_or(CropArea{0, 0, frame.width, frame.height});
    if (crop.right() > frame.width || crop.bottom() > frame.height) {
        return Status::error(text("--crop: %d,%d,%d,%d reaches beyond the picture of %dx%d", crop.x,
                                  crop.y, crop.width, crop.height, frame.width, frame.height));
    }
    mResult.input = mRequest.input.path;
    mResult.output = mRequest.output;
    mResult.source = mReader.source();
    mResult.crop = crop;
    mDataspace = dataspaceOf(mReader.format());
    mResult.engine = chooseEngine(mRequest.engine, mDataspace);
    const bool isSquare = mRequest.input.filtersOfOurOwn;
    const AVRational aspect = mReader.format().sampleAspectRatio;
    const PictureSize coded{crop.width, crop.height};
    const PictureSize shown = isSquare ? squarePixels(coded, aspect) : coded;
    mResult.size = shown;
    Status status = mRequest.size.isSet()
                        ? resolve(mRequest.size, shown, SideRule::Any, &mResult.size)
                        : Status();
    mAspect = aspectFor(mResult.size, shown, isSquare ? AVRational{1, 1} : aspect);
    return status;
}

Status SnapshotJob::loadFrame(const AVFrame& frame, sp<APipeBuffer>* buffer) const {
    const VideoFormat& format = mReader.format();
    *buffer = allocateLinear(format.bitDepth, frame.width, frame.height, 0);
    if (*buffer == nullptr) {
        return Status::error(
            withLibraryError(text("no memory for a frame of %dx%d", frame.width, frame.height)));
    }
    pack(frame, pixelsOf(*buffer));
    (*buffer)->unlock();
    const sp<android::AMessage> meta = (*buffer)->getMeta();
    const CropArea& crop = mResult.crop;
    meta->setRect("crop", crop.x, crop.y, crop.right(), crop.bottom());
    meta->setInt32("dataSpace", mDataspace);
    attachHdrMetadata(frame, meta);
    return {};
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

Status SnapshotJob::convert(const sp<APipeBuffer>& buffer, PictureConverter* converter,
                            FramePtr* picture) const {
    ATRACE_NAME(text("convert %.0f", mResult.seconds * 1e6).c_str());
    return converter->convert(buffer, picture);
}

std::vector<std::string> SnapshotJob::notes() const {
    std::vector<std::string> result = mReader.pictureNotes();
    const std::string& name = mRequest.input.path;
    if (!showsTrueColors(mResult.engine, mDataspace)) {
        result.push_back(name + ": engine " + nameOf(mResult.engine) +
                         " shows its colours wrong; --engine capture follows its tags");
    }
    if (!mFallbackReason.empty()) {
        result.push_back(mFallbackReason + "; engine " + nameOf(mResult.engine) + " in its place");
    }
    return result;
}

}  // namespace plexa
