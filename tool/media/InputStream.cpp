// Reads a pipe for FFmpeg's demuxers, without ever blocking a cancelled job.
#include "media/InputStream.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "base/Text.h"

namespace plexa {
namespace {

// A pipe gives 64 KiB at a time unless it was enlarged.
constexpr int kBufferSize = 1 << 16;

}  // namespace

InputStream::~InputStream() {
    if (mOwnsFd) close(mFd);
}

Status InputStream::open(const std::string& path) {
    mOwnsFd = path != "-";
    // Not blocking, or open() would wait for a writer.
    mFd = mOwnsFd ? ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK) : STDIN_FILENO;
    if (mFd < 0) {
        mOwnsFd = false;
        return Status::error(path + ": cannot be read: " + errnoText(errno));
    }
    auto* buffer = static_cast<uint8_t*>(av_malloc(kBufferSize));
    mIo.reset(avio_alloc_context(buffer, kBufferSize, 0, this, onRead, nullptr, nullptr));
    return {};
}

int InputStream::onRead(void* self, uint8_t* data, int size) {
    auto* stream = static_cast<InputStream*>(self);
    for (;;) {
        if (!stream->mCancellation.waitFor(stream->mFd, POLLIN)) return AVERROR_EXIT;
        ssize_t count = ::read(stream->mFd, data, static_cast<size_t>(size));
        if (count > 0) return static_cast<int>(count);
        if (count == 0) return AVERROR_EOF;
        if (errno != EINTR && errno != EAGAIN) return AVERROR(errno);
    }
}

}  // namespace plexa
