// The rare transitions of the reference counts; the frequent ones are inline.
#define LOG_TAG "RefBase"

#include <log/log.h>
#include <utils/RefBase.h>

namespace android {

RefBase::RefBase() : mRefs(new weakref_type(this)) {}

RefBase::~RefBase() {
    // Relaxed: whoever destroys the object has seen what was done with it; see onLastStrong() and
    // onLastWeak().
    const uint64_t counts = mRefs->mCounts.load(std::memory_order_relaxed);
    const uint32_t strong = strongOf(counts);
    LOG_ALWAYS_FATAL_IF(isHeld(strong), "%p destroyed while %u strong references hold it",
                        static_cast<void*>(this), strong);
    if (mRefs->mExtended) {
        LOG_ALWAYS_FATAL_IF(weakOf(counts) != 0,
                            "%p of extended lifetime destroyed while %u weak references hold it",
                            static_cast<void*>(this), weakOf(counts));
        delete mRefs;
        return;
    }
    // Relaxed: the release of decWeak(), which follows, orders it.
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
    // Acquire: pairs with decStrong(), so that what every holder did with the object happens before
    // it is destroyed. A load, which the thread sanitizer understands and a fence it does not.
    (void)mRefs->mCounts.load(std::memory_order_acquire);
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

// One more strong reference, if there is one. Relaxed, here and in addStrong(): a weak reference
// says nothing of what others did with the object.
bool RefBase::weakref_type::addToHeld() {
    uint64_t counts = mCounts.load(std::memory_order_relaxed);
    while (isHeld(strongOf(counts))) {
        if (mCounts.compare_exchange_weak(counts, counts + 1, std::memory_order_relaxed))
            return true;
    }
    return false;
}

// The strong count before. An object that is gone (0, and no extended lifetime) stays gone. The
// first strong holder of an object with extended lifetime brings the holders' weak share.
uint32_t RefBase::weakref_type::addStrong() {
    uint64_t counts = mCounts.load(std::memory_order_relaxed);
    uint64_t next = 0;
    do {
        const uint32_t strong = strongOf(counts);
        if (strong == 0 && !mExtended) return 0;
        next = counts + 1 - (strong == kNeverHeld ? kNeverHeld : 0);
        if (!isHeld(strong) && mExtended) next += kWeakOne;
    } while (!mCounts.compare_exchange_weak(counts, next, std::memory_order_relaxed));
    return strongOf(counts);
}

bool RefBase::weakref_type::attemptIncStrong(const void* id) {
    if (addToHeld()) return true;
    if (mExtended && !mBase->onIncStrongAttempted(FIRST_INC_STRONG, id)) return false;
    const uint32_t before = addStrong();
    if (before == kNeverHeld) mBase->onFirstRef();
    // Another thread was first: the object agreed once too often.
    if (isHeld(before) && mExtended) mBase->onLastStrongRef(id);
    return before != 0 || mExtended;
}

void RefBase::weakref_type::onLastWeak(const void* id) {
    // Acquire: pairs with decWeak(), as in onLastStrong(), for the counts and an object of extended
    // lifetime.
    (void)mCounts.load(std::memory_order_acquire);
    if (mExtended) {
        mBase->onLastWeakRef(id);
        delete mBase;
    } else {
        delete this;
    }
}

}  // namespace android
