// A file that appears under its name only when it is complete.
#include "output/OutputFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "base/Interruption.h"
#include "media/AvMessages.h"

namespace plexa {
namespace {

constexpr const char* kSuffix = ".part";

unsigned newFileMode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

}  // namespace

OutputFile::~OutputFile() {
    mIo.reset();
    if (!mTemporary.empty()) unlink(mTemporary.c_str());
    setUnfinished("", "");
}

Status OutputFile::create(const std::string& path) {
    mName = path == "-" ? "standard output" : path;
    struct stat existing {};
    const bool exists = path != "-" && stat(path.c_str(), &existing) == 0;
    if (exists && S_ISDIR(existing.st_mode)) return error(AVERROR(EISDIR));
    setUnfinished(mName, "");
    if (path == "-") return open("pipe:1");
    if (exists && !S_ISREG(existing.st_mode)) return open("file:" + path);
    if (exists && access(path.c_str(), W_OK) != 0) return error(AVERROR(errno));
    std::error_code ignored;
    mTarget = exists ? std::filesystem::canonical(path, ignored).string() : path;
    return createTemporary(exists ? existing.st_mode & 07777 : newFileMode());
}

Status OutputFile::createTemporary(unsigned mode) {
    mTemporary = mTarget.substr(0, mTarget.rfind('/') + 1) + ".plexa-XXXXXX" + kSuffix;
    const int fd = mkstemps(mTemporary.data(), static_cast<int>(std::string(kSuffix).size()));
    if (fd < 0) {
        mTemporary.clear();
        return error(AVERROR(errno));
    }
    setUnfinished(mName, mTemporary);
    // Best effort, on a file system without permissions.
    [[maybe_unused]] const int changed = fchmod(fd, mode);
    close(fd);
    return open("file:" + mTemporary);
}

Status OutputFile::open(const std::string& url) {
    AVIOContext* io = nullptr;
    const int result = avio_open(&io, url.c_str(), AVIO_FLAG_WRITE);
    mIo.reset(io);
    return result < 0 ? error(result) : Status();
}

Status OutputFile::write(const void* data, size_t size) {
    avio_write(mIo.get(), static_cast<const unsigned char*>(data), static_cast<int>(size));
    return flush();
}

Status OutputFile::flush() {
    avio_flush(mIo.get());
    return mIo->error < 0 ? error(mIo->error) : Status();
}

Status OutputFile::commit() {
    Status status = flush();
    if (!status.isOk()) return status;
    // Some file systems report a full disk only when the file is closed.
    const int result = avio_close(mIo.release());
    if (result < 0) return error(result);
    if (!mTemporary.empty() && rename(mTemporary.c_str(), mTarget.c_str()) != 0) {
        return error(AVERROR(errno));
    }
    mTemporary.clear();
    setUnfinished("", "");
    return {};
}

Status OutputFile::error(int avError) const {
    return Status::error(mName + ": cannot be written: " + avErrorText(avError));
}

}  // namespace plexa
