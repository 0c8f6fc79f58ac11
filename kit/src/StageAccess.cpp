// What is inside of any stage.
#include "StageAccess.h"

#include <atomic>
#include <set>
#include <vector>

namespace plexa::kit {

using android::APipe;
using android::APipeBuffer;
using android::sp;

namespace {

std::atomic<const APipe*> gLiving = nullptr;

struct GeneratorAccess : public android::APipeItemGenerator {
    using APipeItemGenerator::mOutputBuffers;
};

}  // namespace

int StageAccess::countPoolBuffers(const sp<APipe>& stage) {
    const auto pool = (*stage).*(&StageAccess::mBufferPool);
    const auto generator = generatorOf(stage);
    if (pool == nullptr || stage->getLastPipe() == stage) return 0;
    std::vector<sp<APipeBuffer>> taken;
    for (const bool wait : {true, false}) {
        while (const auto buffer = pool->acquireBuffer(wait)) {
            // The stage itself has not lent it; a pool asks for some reply.
            buffer->getMeta()->setMessage("reply", new android::AMessage);
            taken.push_back(buffer);
        }
    }
    std::set<const APipeBuffer*> different;
    std::set<int32_t> ids;
    const auto note = [&](const sp<APipeBuffer>& buffer) {
        int32_t id = -1;
        buffer->getMeta()->findInt32("id", &id);
        return different.insert(buffer.get()).second && ids.insert(id).second;
    };
    bool once = true;
    for (const auto& buffer : taken)
        once &= note(buffer);
    if (generator != nullptr) {
        for (const auto& buffer : (*generator).*(&GeneratorAccess::mOutputBuffers))
            once &= note(buffer);
    }
    for (const auto& buffer : taken)
        pool->returnBuffer(buffer);
    return once ? static_cast<int>(different.size()) : -1;
}

LivingChain::LivingChain(const sp<APipe>& first) : mFirst(first) {
    gLiving = first.get();
}

LivingChain::~LivingChain() {
    gLiving = nullptr;
}

std::string LivingChain::stateText() {
    const APipe* const first = gLiving;
    return first != nullptr ? first->debugString() : "";
}

}  // namespace plexa::kit
