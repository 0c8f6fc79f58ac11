// Making stages, and what they say of themselves.
#include <kit/StageSpec.h>

#include "Setting.h"
#include "StageAccess.h"

namespace plexa::kit {

using android::AMessage;
using android::APipe;
using android::sp;

sp<android::APipeItemGenerator> newGenerator(Generator generator) {
    switch (generator) {
        case Generator::Base:
            return new android::APipeItemGenerator("base");
        case Generator::Csc:
            return new android::APipeCSCItemGenerator;
        case Generator::Filter:
            return new android::APipeFilterItemGenerator;
        case Generator::Portrait:
            return new android::APipePortraitItemGenerator;
        case Generator::None:
            return nullptr;
    }
    return nullptr;
}

sp<APipe> newStage(const StageSpec& spec, const sp<APipe>& next, const sp<AMessage>& notify) {
    const sp<APipe> stage = spec.make(next, notify);
    if (spec.generator == "csc") {
        stage->setItemGenerator(newGenerator(Generator::Csc));
    } else if (spec.generator == "filter") {
        stage->setItemGenerator(newGenerator(Generator::Filter));
    } else if (spec.generator == "portrait") {
        stage->setItemGenerator(newGenerator(Generator::Portrait));
    } else if (spec.generator == "base" || StageAccess::generatorOf(stage) == nullptr) {
        stage->setItemGenerator(newGenerator(Generator::Base));
    }
    return stage;
}

bool needsParts(const sp<APipe>& stage) {
    const auto generator = StageAccess::generatorOf(stage);
    return dynamic_cast<android::APipePortraitItemGenerator*>(generator.get()) != nullptr;
}

std::string ownNameOf(const sp<APipe>& stage) {
    return StageAccess::nameOf(stage);
}

}  // namespace plexa::kit
