// A file that is whole after every write.
#include "GrowingFile.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace android::host {

GrowingFile::~GrowingFile() {
    if (mFd >= 0) close(mFd);
}

bool GrowingFile::open(const std::string& path) {
    mFd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666);
    if (mFd < 0) return fail(strerror(errno));
    struct stat status {};
    if (fstat(mFd, &status) != 0) return fail(strerror(errno));
    if (!S_ISREG(status.st_mode)) return fail("Not a regular file");
    if (flock(mFd, LOCK_EX | LOCK_NB) != 0) return fail("Another process writes it");
    return ftruncate(mFd, 0) == 0 || fail(strerror(errno));
}

bool GrowingFile::append(std::string_view text, std::string_view tail) {
    if (!mError.empty()) return false;
    const size_t length = mTail.size();
    std::string written = std::string(text).append(tail);
    // What is shorter than the tail so far is filled up with blanks.
    if (written.size() < length) written.append(length - written.size(), ' ');
    if (!write(written)) {
        fail(strerror(errno));
        const bool isAsBefore =
            write(mTail) && ftruncate(mFd, mEnd + static_cast<int64_t>(length)) == 0;
        if (!isAsBefore) mError += ", and it is damaged";
        return false;
    }
    mEnd += static_cast<int64_t>(text.size());
    mTail = written.substr(text.size());
    return true;
}

// From where the tail is.
bool GrowingFile::write(std::string_view text) {
    int64_t at = mEnd;
    while (!text.empty()) {
        const ssize_t count = pwrite(mFd, text.data(), text.size(), at);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        at += count;
        text.remove_prefix(static_cast<size_t>(count));
    }
    return true;
}

bool GrowingFile::fail(const char* error) {
    mError = error;
    return false;
}

}  // namespace android::host
