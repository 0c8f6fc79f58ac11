// StageSpec: how to make a stage that is to be proved or run.
#pragma once

#include <APipe.h>

#include <functional>
#include <string>

namespace plexa::kit {

/// Threading: reentrant; so must be `make`.
struct StageSpec {
    /// As a constructor of APipe: `next` is null for the last stage of a chain.
    using Make = std::function<android::sp<android::APipe>(
        const android::sp<android::APipe>& next, const android::sp<android::AMessage>& notify)>;

    std::string name;  ///< in stories and messages
    Make make;
    /// An item generator for the stage: "base", "csc", "filter" or "portrait". Empty: the one that
    /// the stage sets itself, and "base" if it sets none.
    std::string generator;
};

/// The stage of a class whose constructor takes what APipe's does.
template <typename Stage>
StageSpec stageOf(const std::string& name, const std::string& generator = "") {
    return {name, [](const auto& next, const auto& notify) { return new Stage(next, notify); },
            generator};
}

/// A stage with the item generator that its specification names, or one if it has none.
android::sp<android::APipe> newStage(const StageSpec& spec, const android::sp<android::APipe>& next,
                                     const android::sp<android::AMessage>& notify);

/// The name that a stage has given itself: in log lines and traces, and its thread's.
std::string ownNameOf(const android::sp<android::APipe>& stage);

/// Whether the stage pairs frames with sub inputs and metadata of their time.
bool needsParts(const android::sp<android::APipe>& stage);

}  // namespace plexa::kit
