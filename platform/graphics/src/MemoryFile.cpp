// MemoryFile: memfd, seals and mapping.
#define LOG_TAG "MemoryFile"

#include "MemoryFile.h"

#include "Align.h"
#include "LiveCounts.h"

#include <fcntl.h>
#include <host/FaultInjection.h>
#include <sys/mman.h>
#include <unistd.h>
#include <utils/Log.h>

#include <cerrno>
#include <cstring>

namespace android::host {
namespace {

// The kernel takes names of up to 249 bytes.
constexpr size_t kMaxNameBytes = 64;
constexpr int kFixedSize = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL;

int openFile(const std::string& name, size_t bytes) {
    if (FaultInjection::shouldFail(Fault::GraphicsAllocate)) {
        errno = ENOMEM;
        return -1;
    }
    const int fd =
        memfd_create(name.substr(0, kMaxNameBytes).c_str(), MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (fd < 0) return -1;
    if (ftruncate(fd, static_cast<off_t>(bytes)) == 0 && fcntl(fd, F_ADD_SEALS, kFixedSize) == 0) {
        return fd;
    }
    const int error = errno;
    close(fd);
    errno = error;
    return -1;
}

// The file's pages, and after them one that nobody may touch.
size_t reachOf(size_t bytes) {
    return alignUp(bytes, kPageBytes) + kPageBytes;
}

void* mapFile(int fd, size_t bytes) {
    if (FaultInjection::shouldFail(Fault::GraphicsMap)) {
        errno = ENOMEM;
        return MAP_FAILED;
    }
    const size_t reach = reachOf(bytes);
    void* const all = mmap(nullptr, reach, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (all == MAP_FAILED) return all;
    void* const base = mmap(all, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, fd, 0);
    if (base == MAP_FAILED) {
        const int error = errno;
        munmap(all, reach);
        errno = error;
    }
    return base;
}

}  // namespace

std::unique_ptr<MemoryFile> MemoryFile::make(const std::string& name, size_t bytes) {
    const int fd = openFile(name, bytes);
    if (fd < 0) {
        ALOGE("no memory file of %zu bytes for %s: %s", bytes, name.c_str(), strerror(errno));
        return nullptr;
    }
    void* base = mapFile(fd, bytes);
    if (base == MAP_FAILED) {
        ALOGE("cannot map %zu bytes for %s: %s", bytes, name.c_str(), strerror(errno));
        close(fd);
        return nullptr;
    }
    return std::unique_ptr<MemoryFile>(new MemoryFile(fd, static_cast<uint8_t*>(base), bytes));
}

MemoryFile::MemoryFile(int fd, uint8_t* base, size_t size) : mFd(fd), mBase(base), mSize(size) {
    countMemory(1, static_cast<int64_t>(size));
}

MemoryFile::~MemoryFile() {
    munmap(mBase, reachOf(mSize));
    close(mFd);
    countMemory(-1, -static_cast<int64_t>(mSize));
}

}  // namespace android::host
