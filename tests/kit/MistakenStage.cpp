// The watermark stage with one of the mistakes that are easily made: "mistake=NAME".
#include <utils/Mutex.h>

#include <unistd.h>

#include <utility>

#include "WatermarkStage.h"
#include "kit/ClientCallback.h"

namespace plexa {

using namespace android;

// What the mistakes have in common: one item after the other, as workOnFirstItem does it.
// Threading: as APipe.
class MistakenStage : public demo::WatermarkStage {
public:
    MistakenStage(const sp<APipe>& next, const sp<AMessage>& notify, kit::StageArguments& arguments)
        : WatermarkStage(next, notify, arguments), mMistake(arguments.text("mistake", "none")) {}

protected:
    void onInit(const sp<AMessage>& msg) override {
        if (makes("no-base-init")) return;
        WatermarkStage::onInit(msg);
    }

    void onMessageReceived(const sp<AMessage>& msg) override {
        if (msg->what() != kWhatLater) return APipe::onMessageReceived(msg);
        if (makes("torn-output") && mHeld != nullptr) mark(*mHeld);
        if (!makes("state-over-flush") || mHeld == nullptr) return;
        sendOn(std::exchange(mHeld, nullptr));
        callBase();
    }

    void onWork() override {
        if (mWorkItems.empty()) return callBase();
        const sp<APipeItem> item = *mWorkItems.begin();
        if (item->mInput == nullptr || item->mOutput == nullptr ||
            !item->mInput->getMeta()->findInt64("timeUs", &mTimeUs)) {
            return WatermarkStage::onWork();  // which sends it home
        }
        item->mInput->getMeta()->findInt32("eos", &(mEos = 0));
        touchWhatWasKept(item);
        if (makes("blocks") && mTimeUs >= 20000) pause();
        const status_t err = mEos != 0 || makes("torn-output") ? OK : mark(*item);
        if (err != OK && !makes("frame-without-frame")) return failOn(item);
        mWorkItems.erase(mWorkItems.begin());
        const bool isHundredth = mTimeUs / 1000 % 100 == 37;
        if (makes("one-in-a-hundred") && isHundredth) {
            mKept.push_back(item);
        } else if (makes("state-over-flush")) {
            if (mHeld != nullptr) sendOn(std::exchange(mHeld, nullptr));
            mHeld = item;
            (new AMessage(kWhatLater, this))->post(50);
        } else {
            sendOn(item);
        }
        callBase();
    }

    void onFlush() override {
        const Mutex::Autolock lock(mLock);
        mFlushed = true;
        APipe::onFlush();
    }

    void onRelease() override {
        mHeld.clear();
        mKept.clear();
        APipe::onRelease();
    }

    void onSetParameter(int /*key*/, const sp<AMessage>& value) override {
        sp<RefBase> callback;
        if (!makes("callback-under-lock") || !value->findObject("callback", &callback)) return;
        const Mutex::Autolock lock(mLock);
        static_cast<kit::ClientCallback*>(callback.get())->call();
    }

private:
    static constexpr uint32_t kWhatLater = 0x6c617465;

    bool makes(const char* mistake) const { return mMistake == mistake; }

    void callBase() {
        if (!makes("no-base-work")) APipe::onWork();
    }

    void touchWhatWasKept(const sp<APipeItem>& item) {
        if (!makes("pointer-over-flush")) return;
        if (std::exchange(mFlushed, false) && mLast != nullptr && mLast != item->mOutput) {
            APipeItem both;
            both.mInput = item->mInput;
            both.mOutput = mLast;
            mark(both);
        }
        mLast = item->mOutput;
    }

    void failOn(const sp<APipeItem>& item) {
        if (makes("leak-on-error")) item->mInput->incStrong(this);
        notifyError(UNKNOWN_ERROR);
    }

    void sendOn(const sp<APipeItem>& item) {
        int64_t timeUs = 0;
        int32_t eos = 0, operation = 0;
        const sp<AMessage> from = item->mInput->getMeta(), to = item->mOutput->getMeta();
        from->findInt64("timeUs", &timeUs);
        from->findInt32("eos", &eos);
        to->setInt64("timeUs", makes("wrong-time") ? timeUs + 1 : timeUs);
        if (!makes("no-eos")) to->setInt32("eos", eos);
        if (from->findInt32("operation", &operation)) to->setInt32("operation", operation);
        if (!makes("input-kept")) notifyInputBufferDone(item->mInput);
        notifyOutputBufferDone(item->mOutput, kBufferWithFrame);
        if (makes("output-twice")) notifyOutputBufferDone(item->mOutput, kBufferWithFrame);
        if (!makes("torn-output") || eos != 0) return;
        mHeld = item;
        (new AMessage(kWhatLater, this))->post();
    }

    const std::string mMistake;
    Mutex mLock;
    sp<APipeItem> mHeld;
    std::vector<sp<APipeItem>> mKept;
    sp<APipeBuffer> mLast;
    bool mFlushed = false;
    int64_t mTimeUs = 0;
    int32_t mEos = 0;
};

}  // namespace plexa

PLEXA_STAGE(plexa::MistakenStage)
