// A stage whose engine does nothing, so that what a chain costs is the machinery's own time.
#pragma once

#include <APipe.h>

namespace plexa::bench {

class PassThroughStage : public android::APipe {
public:
    PassThroughStage(const android::sp<android::APipe>& next,
                     const android::sp<android::AMessage>& notify);

protected:
    void onInit(const android::sp<android::AMessage>& msg) override;
    void onWork() override;
};

/// So many pass-through stages, each with a base item generator; the first of them.
android::sp<android::APipe> passThroughChain(int stages,
                                             const android::sp<android::AMessage>& notify);

}  // namespace plexa::bench
