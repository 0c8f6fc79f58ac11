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
    using APipe::setReply;

    static android::sp<android::APipeItemGenerator> generatorOf(
        const android::sp<android::APipe>& stage) {
        return (*stage).*(&StageAccess::mItemGenerator);
    }

    static const std::string& nameOf(const android::sp<android::APipe>& stage) {
        return (*stage).*(&StageAccess::mName);
    }

    // What the chain that starts here says of itself, from any thread.
    template <typename Stage>
    static std::string stateOf(const android::sp<Stage>& first) {
        if constexpr (requires { first->debugString(); }) {
            return first->debugString();
        } else {
            return "";
        }
    }

    // How many different buffers of the pool are free or wait in the generator; -1 for one that is
    // counted twice. For a stage at rest.
    static int countPoolBuffers(const android::sp<android::APipe>& stage);
};

}  // namespace plexa::kit
