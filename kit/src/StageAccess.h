// StageAccess: what is inside of any stage, for the kit's checks.
#pragma once

#include <APipe.h>

#include <string>

namespace plexa::kit {

// A member that a derived class names can be reached in every stage.
struct StageAccess : public android::APipe {
    using APipe::mBufferPool;
    using APipe::mItemGenerator;
    using APipe::mName;
    using APipe::mNextPipe;

    static android::sp<android::APipeItemGenerator> generatorOf(
        const android::sp<android::APipe>& stage) {
        return (*stage).*(&StageAccess::mItemGenerator);
    }

    static android::sp<android::APipe> nextOf(const android::sp<android::APipe>& stage) {
        return (*stage).*(&StageAccess::mNextPipe);
    }
    static const std::string& nameOf(const android::sp<android::APipe>& stage) {
        return (*stage).*(&StageAccess::mName);
    }

    // How many different buffers of the pool are free or wait in the generator; -1 for one that is
    // counted twice. For a stage at rest.
    static int countPoolBuffers(const android::sp<android::APipe>& stage);
};

// The chain that lives at the moment, for those who ask what it is at.
// Threading: made and destroyed on one thread; stateText() is thread-safe meanwhile.
class LivingChain {
public:
    explicit LivingChain(const android::sp<android::APipe>& first);
    ~LivingChain();
    LivingChain(const LivingChain&) = delete;
    LivingChain& operator=(const LivingChain&) = delete;

    // What the chain says of itself; empty without one.
    static std::string stateText();

private:
    const android::sp<android::APipe> mFirst;
};

}  // namespace plexa::kit
