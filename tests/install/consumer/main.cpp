// A client outside the tree: one bare stage, from init to release.
#include <APipe.h>

#include <cstdio>
#include <future>

using namespace android;

struct Client : AHandler {
    void onMessageReceived(const sp<AMessage>& msg) override {
        int32_t what = 0;
        if (!msg->findInt32("what", &what)) return;
        if (what == APipe::kWhatInitCompleted) ready.set_value();
        if (what == APipe::kWhatReleaseCompleted) released.set_value();
    }
    std::promise<void> ready, released;
};

int main() {
    sp<ALooper> looper = new ALooper;
    sp<Client> client = new Client;
    looper->start();
    looper->registerHandler(client);
    sp<APipe> stage = new APipe(nullptr, new AMessage(0, client), "consumer");
    stage->init(new AMessage, new AMessage);
    client->ready.get_future().wait();
    stage->release();
    client->released.get_future().wait();
    std::puts("released");
    looper->stop();
}
