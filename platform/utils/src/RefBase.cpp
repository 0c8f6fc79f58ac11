// The rare transitions of the reference counts; the frequent ones are inline.
#define LOG_TAG "RefBase"

#include <log/log.h>
#include <utils/RefBase.h>

namespace android {

RefBase::RefBase() : mRefs(new weakref_type(this)) {}

RefBase::~RefBase() {
    // Acquire: pairs with decStrong() and decWeak(), for an object destroyed by other means.
    const uint64_t counts = mRefs->mCounts.load(std::memory_order_acquire);
    const uint32_t strong = strongOf(counts);
    LOG_ALWAYS_FATAL_IF(strong != 0 && strong != kNeverHeld,
                        "%p destroyed while %u strong references hold it", static_cast<void*>(this),
                        strong);
    if (mRefs->mExtended) {
        LOG_ALWAYS_FATAL_IF(weakOf(counts) != 0,
                            "%p of extended lifetime destroyed while %u weak references hold it",
                            static_cast<void*>(this), weakOf(counts));
        delete mRefs;
        return;
    }
    // Relaxed: decWeak() follows, and orders it.
    if (strong == kNeverHeld) mRefs->mCounts.fetch_sub(kNeverHeld, std::memory_order_relaxed);
    mRefs->decWeak(this);
}

void RefBase::extendObjectLifetime(int32_t mode) {
    if ((mode & OBJECT_LIFETIME_WEAK) == 0 || mRefs->mExtended) return;
    mRefs->mExtended = true;
    // Relaxed: the constructor runs before anyone else has the object.
    mRefs->mCounts.fetch_sub(kWeakOne, std::memory_order_relaxed);
}

void RefBase::onFirstRef() {}

void RefBase::onLastStrongRef(const void*) {}

bool RefBase::onIncStrongAttempted(uint32_t flags, const void*) {
    return (flags & FIRST_INC_STRONG) != 0;
}

void RefBase::onLastWeakRef(const void*) {}

int32_t RefBase::getStrongCount() const {
    const uint32_t strong = strongOf(mRefs->mCounts.load(std::memory_order_relaxed));
    return strong == kNeverHeld ? 0 : static_cast<int32_t>(strong);
}

void RefBase::onFirstStrong() const {
    const uint32_t before = mRefs->addStrong();
    LOG_ALWAYS_FATAL_IF(before == 0, "strong reference taken to %p after the last one went",
                        static_cast<const void*>(this));
    if (before == kNeverHeld) const_cast<RefBase*>(this)->onFirstRef();
}

void RefBase::onLastStrong(const void* id) const {
    auto* self = const_cast<RefBase*>(this);
    self->onLastStrongRef(id);
    if (mRefs->mExtended) {
        mRefs->decWeak(id);
    } else {
        delete self;
    }
}

int32_t RefBase::weakref_type::getWeakCount() const {
    return static_cast<int32_t>(weakOf(mCounts.load(std::memory_order_relaxed)));
}

// The strong count before. An object that is gone (0, and no extended lifetime) stays gone. The
// first strong holder of an object with extended lifetime brings the holders' weak share.
// Relaxed: a weak reference says nothing of what others did with the object.
uint32_t RefBase::weakref_type::addStrong() {
    uint64_t counts = mCounts.load(std::memory_order_relaxed);
    uint64_t next = 0;
    do {
        const uint32_t strong = strongOf(counts);
        if (strong == 0 && !mExtended) return 0;
        const bool first = strong == 0 || strong == kNeverHeld;
        next = counts - strong + (strong == kNeverHeld ? 1 : strong + 1);
        if (first && mExtended) next += kWeakOne;
    } while (!mCounts.compare_exchange_weak(counts, next, std::memory_order_relaxed));
    return strongOf(counts);
}

bool RefBase::weakref_type::attemptIncStrong(const void* id) {
    const uint32_t now = strongOf(mCounts.load(std::memory_order_relaxed));
    if ((now == 0 || now == kNeverHeld) && mExtended &&
        !mBase->onIncStrongAttempted(FIRST_INC_STRONG, id)) {
        return false;
    }
    const uint32_t before = addStrong();
    if (before == kNeverHeld) mBase->onFirstRef();
    return before != 0 || mExtended;
}

void RefBase::weakref_type::onLastWeak(const void* id) {
    if (mExtended) {
        mBase->onLastWeakRef(id);
        delete mBase;
    } else {
        delete this;
    }
}

}  // namespace android
