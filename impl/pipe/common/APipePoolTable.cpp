// The buffers of a pool by their ids.
#include "APipePoolTable.h"

namespace android {

void APipePoolTable::set(int32_t id, const sp<APipeBuffer>& buffer) {
    const Mutex::Autolock lock(mMutex);
    mEntries[id] = {buffer, false};
}

void APipePoolTable::setTakenByFlush(int32_t id, bool isTaken) {
    const Mutex::Autolock lock(mMutex);
    mEntries[id].isTakenByFlush = isTaken;
}

void APipePoolTable::clear() {
    const Mutex::Autolock lock(mMutex);
    mEntries.clear();
}

APipePoolTable::Entries APipePoolTable::entries() const {
    const Mutex::Autolock lock(mMutex);
    return mEntries;
}

}  // namespace android
