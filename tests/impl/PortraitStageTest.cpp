// The example's portrait stage: what it does to pixels, and what it refuses.
#include <PortraitStage.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Picture.h"
#include "support/ScheduledTest.h"

namespace plexa {
namespace {

using namespace android;
using Row = std::vector<uint8_t>;

constexpr int kWidth = 64, kHeight = 32;
constexpr uint8_t kDark = 20, kBright = 220;

// A buffer whose right half is bright.
sp<APipeBuffer> newBuffer(int32_t id, int width = kWidth) {
    const sp<APipeBuffer> buffer =
        kit::newFrame({APipeBuffer::Yuv420p, APipeBuffer::LocalMemory, width, kHeight});
    std::memset(buffer->getLocalBuffer()->data(), 128, buffer->getLocalBuffer()->size());
    const Picture picture = Picture::of(buffer);
    for (int y = 0; y < kHeight; ++y) {
        uint8_t* const row = picture.y + y * picture.stride;
        std::fill_n(row, width, kDark);
        std::fill_n(row + width / 2, width / 2, kBright);
    }
    buffer->getMeta()->setInt32("bufferId", id);
    buffer->getMeta()->setInt64("timeUs", 100);
    return buffer;
}

sp<APipeBuffer> newMask(uint8_t sharpness, int width = kWidth) {
    sp<APipeBuffer> mask = newBuffer(2, width);
    std::memset(mask->getLocalBuffer()->data(), sharpness, mask->getLocalBuffer()->size());
    return mask;
}

Row rowOf(const sp<APipeBuffer>& buffer) {
    const Picture picture = Picture::of(buffer);
    const uint8_t* const row = picture.y + kHeight / 2 * picture.stride;
    return {row, row + kWidth};
}

class PortraitStageTest : public ScheduledTest {
protected:
    void init(const sp<AMessage>& src) {
        mClient->forget();
        mStage = new PortraitStage(nullptr, mClient->notify());
        mStage->setItemGenerator(nullptr);
        ASSERT_EQ(mStage->init(src, src), OK);
        run();
    }
    // The output for a whole item, whose metadata holds so many bytes of the radius.
    sp<APipeBuffer> work(const sp<APipeBuffer>& mask, int32_t radius, size_t bytes = 4) {
        init(formatOf(APipeBuffer::Yuv420p, kWidth, kHeight));
        const sp<APipeItem> item = new APipeItem;
        item->mInput = newBuffer(1);
        item->mInput->getMeta()->setBuffer("frameMeta", ABuffer::CreateAsCopy(&radius, bytes));
        item->mSubInput = mask;
        item->mOutput = newMask(0);
        EXPECT_EQ(mStage->queueItem(item), OK);
        run();
        return item->mOutput;
    }

    sp<PortraitStage> mStage;
};

TEST_F(PortraitStageTest, BlursWhatTheMaskLeavesOut) {
    const Row sharp = rowOf(newBuffer(1));
    EXPECT_EQ(rowOf(work(newMask(255), 6)), sharp);
    EXPECT_EQ(rowOf(work(newMask(0), 0)), sharp) << "no radius, no blur";

    const Row blurred = rowOf(work(newMask(0), 6));
    EXPECT_TRUE(std::is_sorted(blurred.begin(), blurred.end()));
    EXPECT_EQ(blurred.front(), kDark);
    EXPECT_EQ(blurred.back(), kBright);
    const auto between = [](uint8_t value) { return value > kDark + 5 && value < kBright - 5; };
    EXPECT_GT(std::count_if(blurred.begin(), blurred.end(), between), 6);
    EXPECT_EQ(rowOf(work(newMask(0), 1 << 30))[0], (kDark + kBright) / 2) << "one pixel is left";
}

TEST_F(PortraitStageTest, RefusesWhatItCannotWorkOn) {
    const sp<AMessage> sizeless = new AMessage;
    sizeless->setInt32("colorformat", APipeBuffer::Yuv420p);
    for (const sp<AMessage>& src :
         {sp<AMessage>(), sizeless, formatOf(APipeBuffer::Nv12, kWidth, kHeight),
          formatOf(APipeBuffer::Yuv420p, kWidth - 1, kHeight),
          formatOf(APipeBuffer::Yuv420p, kWidth, 0)}) {
        init(src);
        EXPECT_EQ(mClient->count(APipe::kWhatError), 1U);
    }
    work(newMask(0), -1);
    EXPECT_EQ(mClient->count(APipe::kWhatError), 1U) << "a negative radius";
    work(newMask(0), 3, 2);
    EXPECT_EQ(mClient->count(APipe::kWhatError), 1U) << "half a radius";
    work(nullptr, 3);
    EXPECT_EQ(mClient->count(APipe::kWhatError), 1U) << "no mask";
    work(newMask(0, kWidth / 2), 3);
    EXPECT_EQ(mClient->count(APipe::kWhatError), 1U) << "a mask of another size";
}

}  // namespace
}  // namespace plexa
