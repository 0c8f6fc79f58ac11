// APipeReport: a chain's state in words.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "APipeStageView.h"

namespace android {

/// Threading: reentrant.
class APipeReport {
public:
    /// What a stage waits for.
    struct Wait {
        std::string what;
        /// Nothing is wrong with the chain: a client that does not go on is no fault.
        bool isForClient = false;
    };

    /// The stages in the order of the chain. `before` names what comes before the first one: a
    /// stage, or the client.
    APipeReport(std::vector<APipeStageView> stages, std::string before);

    Wait waitOf(size_t stage) const;
    /// A few lines that describe one stage.
    std::string stageText(size_t stage) const;
    /// All stages, one after the other.
    std::string text() const;

private:
    Wait waitOfLoop(const APipeStageView& view) const;
    Wait waitOfInputs(size_t stage) const;
    Wait waitForPoolBuffer(size_t stage) const;
    Wait waitForClientsOutput(const APipeStageView& view) const;
    const std::string& nameBefore(size_t stage) const;
    size_t holderOf(const APipePlace& place) const;
    std::string placeText(const APipePlace& place, size_t stage) const;
    std::string poolText(size_t stage) const;

    const std::vector<APipeStageView> mStages;
    const std::string mBefore;
};

}  // namespace android
