// What may be queued while a chain flushes, under hundreds of orders of its messages.
#include <APipe.h>

#include "support/ScheduledTest.h"

namespace plexa {
namespace {

using namespace android;

constexpr uint64_t kSeeds = 300;

class SeededChain : public ScheduledTest {
public:
    explicit SeededChain(uint64_t seed) : ScheduledTest(seed) { start(first); }

    // Whether a frame comes out whose output is queued during a flush, or after its notice.
    bool showsAFrameOnFlush(bool waitsForTheNotice) {
        first->flush();
        while (waitsForTheNotice && mClient->count(APipe::kWhatFlushCompleted) == 0)
            EXPECT_TRUE(mScheduler.runOne());
        last->queueItem(outputItem(1));
        first->queueItem(inputItem(2, 200));
        run();
        return mClient->count(APipe::kWhatOutputBufferDone) == 1;
    }

private:
    void TestBody() override {}

    const sp<TestStage> last = stage("C", nullptr, 0);
    const sp<TestStage> first = stage("A", stage("B", last));
};

TEST(ChainSeedTest, OutputsQueuedAfterTheFlushNoticeStayAndOthersMayNot) {
    for (const bool waits : {true, false}) {
        int lost = 0;
        for (uint64_t seed = 0; seed < kSeeds; ++seed)
            lost += SeededChain(seed).showsAFrameOnFlush(waits) ? 0 : 1;
        EXPECT_EQ(lost > 0, !waits);
    }
}

}  // namespace
}  // namespace plexa
