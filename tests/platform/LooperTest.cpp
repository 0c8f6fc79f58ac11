// Loopers on real threads: order, delays, stopping, and handlers that go.
#include <gtest/gtest.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>

#include "support/Deadline.h"
#include "support/LogCapture.h"

namespace android {
namespace {

class Recorder : public AHandler {
public:
    plexa::Awaited<std::vector<uint32_t>> whats;

protected:
    void onMessageReceived(const sp<AMessage>& msg) override {
        whats.update([&](auto& list) { list.push_back(msg->what()); });
    }
};

TEST(LooperTest, HandlesByDueTimeThenPostingOrder) {
    const auto looper = sp<ALooper>::make();
    const auto handler = sp<Recorder>::make();
    looper->registerHandler(handler);
    (new AMessage(1, handler))->post(20'000);
    (new AMessage(2, handler))->post(10'000);
    (new AMessage(3, handler))->post();
    (new AMessage(4, handler))->post();
    ASSERT_EQ(looper->start(), OK);
    ASSERT_TRUE(handler->whats.waitUntil([](const auto& list) { return list.size() == 4; }));
    EXPECT_EQ(handler->whats.get(), (std::vector<uint32_t>{3, 4, 2, 1}));
    EXPECT_EQ(looper->stop(), OK);
}

TEST(LooperTest, DropsMessagesOfStoppedLoopersWithAWarning) {
    plexa::LogCapture log;
    const auto looper = sp<ALooper>::make();
    const auto handler = sp<Recorder>::make();
    looper->registerHandler(handler);
    ASSERT_EQ(looper->start(), OK);
    ASSERT_EQ(looper->stop(), OK);
    EXPECT_NE(sp<AMessage>::make(1u, handler)->post(), OK);
    EXPECT_TRUE(log.contains(ANDROID_LOG_WARN, "AMessage", "gone or stopped"));
}

}  // namespace
}  // namespace android
