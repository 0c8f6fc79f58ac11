// A file that appears under its name only when it is complete.
#include "output/OutputFile.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "base/Text.h"

namespace plexa {
namespace {

constexpr mode_t kNewFileMode = 0666;  // less the user's mask

std::string resolveLinks(const std::string& path) {
    std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
    return real != nullptr ? real.get() : path;
}

std::string directoryOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

}  // namespace

OutputFile::~OutputFile() {
    if (mFd >= 0 && mOwnsFd) close(mFd);
    if (!mTemporary.empty()) unlink(mTemporary.c_str());
}

Status OutputFile::create(const std::string& path) {
    mName = path == "-" ? "standard output" : path;
    struct stat existing {};
    const bool exists = path != "-" && stat(path.c_str(), &existing) == 0;
    if (exists && S_ISDIR(existing.st_mode)) return error(EISDIR);
    if (path == "-" || (exists && !S_ISREG(existing.st_mode))) return openDirectly(path);
    if (exists && access(path.c_str(), W_OK) != 0) return error(errno);
    mTarget = resolveLinks(path);
    Status status = openTemporary(mTarget);
    if (status.isOk() && exists) {
        // Ownership of the file's name stays as it was, so its permissions do too.
        [[maybe_unused]] int ignored = fchmod(mFd, existing.st_mode & 07777);
    }
    return status;
}

Status OutputFile::openDirectly(const std::string& path) {
    mOwnsFd = path != "-";
    mFd = mOwnsFd ? open(path.c_str(), O_WRONLY | O_CLOEXEC) : STDOUT_FILENO;
    if (mFd < 0) return error(errno);
    mSeekable = false;
    return {};
}

Status OutputFile::openTemporary(const std::string& target) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        mTemporary = text("%s.plexa-%d-%d.part", directoryOf(target).c_str(), getpid(), attempt);
        mFd = open(mTemporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kNewFileMode);
        if (mFd >= 0 || errno != EEXIST) break;
    }
    if (mFd < 0) {
        mTemporary.clear();
        return error(errno);
    }
    mSeekable = true;
    return {};
}

ssize_t OutputFile::writeSome(const void* data, size_t size) {
    const bool isCancelled =
        mSeekable ? mCancellation.isRequested() : !mCancellation.waitFor(mFd, POLLOUT);
    if (isCancelled) {
        errno = ECANCELED;
        return -1;
    }
    if (mSeekable) return ::write(mFd, data, size);
    // A pipe that is ready takes this much without blocking.
    return ::write(mFd, data, std::min<size_t>(size, PIPE_BUF));
}

int OutputFile::write(const void* data, size_t size) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    while (size > 0) {
        ssize_t written = writeSome(bytes, size);
        if (written < 0 && errno != EINTR && errno != EAGAIN) return -errno;
        if (written < 0) continue;
        bytes += written;
        size -= static_cast<size_t>(written);
    }
    return 0;
}

int64_t OutputFile::seek(int64_t offset, int whence) {
    const off_t position = lseek(mFd, offset, whence);
    return position < 0 ? -errno : position;
}

Status OutputFile::commit() {
    if (mCancellation.isRequested()) return error(ECANCELED);
    const int fd = std::exchange(mFd, -1);
    // Some file systems report a full disk only when the file is closed.
    if (mOwnsFd && close(fd) != 0) return error(errno);
    if (mTemporary.empty()) return {};
    if (rename(mTemporary.c_str(), mTarget.c_str()) != 0) return error(errno);
    mTemporary.clear();
    return {};
}

Status OutputFile::error(int errnoValue) const {
    return Status::error(mName + ": cannot be written: " + errnoText(errnoValue));
}

}  // namespace plexa
