// WatermarkStage: a stage to copy. It writes a text into the corner of every frame.
#pragma once

#include <APipe.h>
#include <kit/StagePlugin.h>

#include <string>

namespace demo {

/// Takes Nv12Venus and P010Venus in graphics memory, as decompress gives them and scale takes them,
/// and leaves format and size as they are. Arguments: "text", of letters and digits, and "size",
/// the pixels of one dot of a letter; a letter has three by five dots. What does not fit is cut
/// off.
///
/// Nothing is kept from one frame to the next, so a flush and a release need nothing of their own.
///
/// Threading: as android::APipe.
class WatermarkStage : public android::APipe {
public:
    WatermarkStage(const android::sp<android::APipe>& next,
                   const android::sp<android::AMessage>& notify,
                   plexa::kit::StageArguments& arguments);

protected:
    void onInit(const android::sp<android::AMessage>& msg) override;
    void onWork() override;

    /// Copies the input's picture to the output and writes the text into it.
    android::status_t mark(const android::APipeItem& item) const;

private:
    const std::string mText;
    const int mDot;  // pixels
};

}  // namespace demo
