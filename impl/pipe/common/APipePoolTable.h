// APipePoolTable: the buffers of a pool by their ids, for whoever asks where they are.
#pragma once

#include <android-base/thread_annotations.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#include <cstdint>
#include <map>

#include "APipeBuffer.h"

namespace android {

/// Changes only when a pool makes a buffer and when a flush takes one from its holder, not with
/// every frame. Holds no buffer's memory.
///
/// Threading: thread-safe.
class APipePoolTable : public RefBase {
public:
    struct Entry {
        wp<APipeBuffer> buffer;
        /// Free for the pool, but someone had it when a flush came and may still read it.
        bool isTakenByFlush = false;
    };
    using Entries = std::map<int32_t, Entry>;

    void set(int32_t id, const sp<APipeBuffer>& buffer) EXCLUDES(mMutex);
    void setTakenByFlush(int32_t id, bool isTaken) EXCLUDES(mMutex);
    void clear() EXCLUDES(mMutex);
    Entries entries() const EXCLUDES(mMutex);

protected:
    ~APipePoolTable() override = default;

private:
    mutable Mutex mMutex;
    Entries mEntries GUARDED_BY(mMutex);
};

}  // namespace android
