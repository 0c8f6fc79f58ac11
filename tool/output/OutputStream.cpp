// Gives an OutputFile to FFmpeg's muxers.
#include "output/OutputStream.h"

namespace plexa {
namespace {

// Large enough that an uncompressed frame takes a few writes, not thousands.
constexpr int kBufferSize = 1 << 20;

}  // namespace

OutputStream::~OutputStream() {
    // Freeing the context flushes nothing: what an unfinished muxer still holds is not wanted.
    mIo.reset();
}

Status OutputStream::create(const std::string& path) {
    Status status = mFile.create(path);
    if (!status.isOk()) return status;
    auto* buffer = static_cast<uint8_t*>(av_malloc(kBufferSize));
    mIo.reset(avio_alloc_context(buffer, kBufferSize, 1, this, nullptr, onWrite,
                                 mFile.isSeekable() ? onSeek : nullptr));
    return {};
}

Status OutputStream::flush() {
    avio_flush(mIo.get());
    return mError == 0 ? Status() : mFile.error(-mError);
}

Status OutputStream::commit() {
    Status status = flush();
    return status.isOk() ? mFile.commit() : status;
}

int OutputStream::onWrite(void* self, uint8_t* data, int size) {
    auto* stream = static_cast<OutputStream*>(self);
    int result =
        stream->mError == 0 ? stream->mFile.write(data, static_cast<size_t>(size)) : stream->mError;
    if (result < 0) stream->mError = result;
    return result < 0 ? AVERROR(-result) : size;
}

int64_t OutputStream::onSeek(void* self, int64_t offset, int whence) {
    // FFmpeg asks for the size of the file with a whence of its own; not answering it is allowed.
    if ((whence & AVSEEK_SIZE) != 0) return AVERROR(ENOSYS);
    return static_cast<OutputStream*>(self)->mFile.seek(offset, whence & ~AVSEEK_FORCE);
}

}  // namespace plexa
