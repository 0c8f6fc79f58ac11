// A client outside the tree with a stage of its own: one frame, from init to release.
#include <APipe.h>
#include <APipeBufferFactory.h>
#include <APipeVersion.h>

#include <cstdio>
#include <future>

using namespace android;

struct Client : AHandler {
    void onMessageReceived(const sp<AMessage>& msg) override {
        int32_t what = 0;
        int32_t flag = APipe::kBufferWithoutFrame;
        msg->findInt32("what", &what);
        msg->findInt32("flag", &flag);
        if (what == APipe::kWhatInitCompleted) ready.set_value();
        if (what == APipe::kWhatOutputBufferDone) filled.set_value(flag == APipe::kBufferWithFrame);
        if (what == APipe::kWhatReleaseCompleted) released.set_value();
    }
    std::promise<void> ready, released;
    std::promise<bool> filled;
};

// Copies the first luma sample.
struct Stage : APipe {
    explicit Stage(const sp<AMessage>& notify) : APipe(nullptr, notify, "consumer") {}

protected:
    void onInit(const sp<AMessage>& msg) override { APipe::onInit(msg); }
    void onWork() override {
        workOnFirstItem([](const APipeItem& item) -> status_t {
            uint8_t *from, *to, *cb, *cr;
            const bool isMapped = item.mInput->getYCbCr(&from, &cb, &cr) == OK &&
                                  item.mOutput->getYCbCr(&to, &cb, &cr) == OK;
            if (isMapped) *to = *from;
            return isMapped ? OK : UNKNOWN_ERROR;
        });
    }
};

sp<APipeBuffer> newFrame(int32_t id) {
    const sp<APipeBuffer> frame = APipeBufferFactory::Create(
        APipeBuffer::Nv12, 64, 32, nullptr, nullptr, APipeBuffer::LocalMemory, -1, -1);
    frame->init();
    frame->getMeta()->setInt32("bufferId", id);
    frame->getMeta()->setInt64("timeUs", 0);
    return frame;
}

int main() {
    if (getPlexaVersion() != PLEXA_VERSION) return 1;
    sp<ALooper> looper = new ALooper;
    sp<Client> client = new Client;
    looper->start();
    looper->registerHandler(client);
    sp<APipe> stage = new Stage(new AMessage(0, client));
    stage->init(new AMessage, new AMessage);
    client->ready.get_future().wait();
    sp<APipeItem> item = new APipeItem;
    item->mInput = newFrame(1);
    item->mOutput = newFrame(2);
    stage->queueItem(item);
    const bool isFilled = client->filled.get_future().get();
    stage->release();
    client->released.get_future().wait();
    looper->stop();
    std::puts(isFilled ? "filled and released" : "not filled");
    return isFilled ? 0 : 1;
}
