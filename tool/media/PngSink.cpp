// The first frame of a clip as a PNG picture.
#include "media/PngSink.h"

namespace plexa {

Status PngSink::open(const VideoFormat& format) {
    mConverter.emplace(format);
    return mFile.create(mPath);
}

Status PngSink::write(const SemiPlanarPicture& picture, FrameTime /*time*/) {
    Status status = mConverter->convert(picture, &mPicture);
    return status.isOk() ? status : Status::error(mPath + ": " + status.text());
}

Status PngSink::finish() {
    if (mPicture == nullptr) return Status::error(mPath + ": there is no frame to write");
    return writePng(*mPicture, &mFile);
}

}  // namespace plexa
