// native_handle_t: allocation and release.
#include <cutils/native_handle.h>
#include <unistd.h>

#include <cstdlib>

namespace {
constexpr int kMaxCount = 1024;

bool isCount(int count) {
    return count >= 0 && count <= kMaxCount;
}
}  // namespace

native_handle_t* native_handle_create(int numFds, int numInts) {
    if (!isCount(numFds) || !isCount(numInts)) return nullptr;
    const auto values = static_cast<size_t>(numFds) + static_cast<size_t>(numInts);
    auto* handle =
        static_cast<native_handle_t*>(calloc(1, sizeof(native_handle_t) + values * sizeof(int)));
    if (handle == nullptr) return nullptr;
    handle->version = sizeof(native_handle_t);
    handle->numFds = numFds;
    handle->numInts = numInts;
    return handle;
}

int native_handle_delete(native_handle_t* handle) {
    free(handle);
    return 0;
}

int native_handle_close(const native_handle_t* handle) {
    if (handle == nullptr) return 0;
    for (int i = 0; i < handle->numFds; ++i)
        close(handle->data[i]);
    return 0;
}
