// Decompresses frames and scales them: a whole chain, from its start to its release.
#include <APipeDecompress.h>
#include <APipeScale.h>
#include <media/stagefright/foundation/ADebug.h>
#include <media/stagefright/foundation/ALooper.h>

#include <cinttypes>
#include <cstdio>
#include <future>
#include <vector>

#include "GreyVideo.h"

using namespace android;

constexpr int kWidth = 640, kHeight = 360;
constexpr int kFrames = 12;
constexpr int kBuffers = 3;
constexpr int64_t kFrameUs = 40000;

struct Client : public AHandler {
    void onMessageReceived(const sp<AMessage>& msg) override {  // runs on the client's own looper
        int32_t what = 0, id = 0;
        int64_t timeUs = 0;
        msg->findInt32("what", &what);
        msg->findInt32("bufferId", &id);
        msg->findInt64("timeUs", &timeUs);
        if (what == APipe::kWhatInitCompleted) start();
        if (what == APipe::kWhatInputBufferDone) refill(id);
        if (what == APipe::kWhatOutputBufferDone) show(id, timeUs);
        if (what == APipe::kWhatReleaseCompleted) ended.set_value();
        CHECK(what != APipe::kWhatError);
    }
    void start() {
        for (int id = 0; id < kBuffers; ++id) {
            inputs.push_back(newBuffer(APipeBuffer::Nv12Ubwc, kWidth, kHeight, id));
            outputs.push_back(newBuffer(APipeBuffer::Nv12Venus, kWidth / 2, kHeight / 2, id));
            refill(id);
            queueOutput(id);
        }
    }
    void refill(int id) {
        if (decoded == kFrames) return;
        const sp<APipeItem> item = new APipeItem;
        item->mInput = inputs[id];
        item->mInput->getMeta()->setInt64("timeUs", decoded * kFrameUs);
        video.decode(decoded++, item->mInput);
        chain->queueItem(item);
    }
    void queueOutput(int id) {
        const sp<APipeItem> item = new APipeItem;
        item->mOutput = outputs[id];
        chain->getLastPipe()->queueItem(item);
    }
    void show(int id, int64_t timeUs) {
        printf("output %d: frame of %" PRId64 " us\n", id, timeUs);
        CHECK(GreyVideo::holds(outputs[id], shown));
        if (++shown < kFrames) return queueOutput(id);
        chain->release();
    }

    sp<APipe> chain;
    GreyVideo video{kWidth, kHeight};
    std::vector<sp<APipeBuffer>> inputs, outputs;
    int decoded = 0, shown = 0;
    std::promise<void> ended;
};

int main() {
    const sp<Client> client = new Client;
    const sp<ALooper> looper = new ALooper;
    looper->start(false, false, APipe::kLooperPriority);  // as the stages that it queues into
    looper->registerHandler(client);

    const sp<AMessage> notify = new AMessage(0, client);      // copied for every notice
    const sp<APipe> scale = new APipeScale(nullptr, notify);  // last stage first
    const sp<APipe> chain = new APipeDecompress(scale, notify);
    scale->setItemGenerator(new APipeItemGenerator("scale"));
    chain->setItemGenerator(new APipeItemGenerator("decompress"));
    client->chain = chain;
    chain->init(formatOf(APipeBuffer::Nv12Ubwc, kWidth, kHeight),
                formatOf(APipeBuffer::Nv12Venus, kWidth / 2, kHeight / 2));
    client->ended.get_future().wait();
    looper->stop();
}
