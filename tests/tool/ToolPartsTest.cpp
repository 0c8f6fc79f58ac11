// Parts of the command with arithmetic of their own.
extern "C" {
#include <libavutil/hdr_dynamic_metadata.h>
#include <libavutil/mastering_display_metadata.h>
}

#include <gtest/gtest.h>
#include <host/Hdr10PlusInfo.h>
#include <host/HdrStaticInfo.h>

#include <chrono>
#include <vector>

#include "base/DurationHistogram.h"
#include "job/Geometry.h"
#include "media/AvHandles.h"
#include "output/FrameSelection.h"
#include "output/HdrMetadata.h"

namespace plexa::test {
namespace {

TEST(DurationHistogram, IsExactInTheMeanAndCloseInPercentiles) {
    DurationHistogram histogram;
    EXPECT_EQ(histogram.summary().count, 0);
    // 1 us to 10 s, so that buckets of all widths are in use.
    for (int i = 1; i <= 1000; ++i)
        histogram.add(std::chrono::microseconds(int64_t{i} * 10000));
    const DurationSummary summary = histogram.summary();
    EXPECT_EQ(summary.count, 1000);
    EXPECT_DOUBLE_EQ(summary.meanMs, 5005.0);
    EXPECT_NEAR(summary.p50Ms, 5000, 50);
    EXPECT_NEAR(summary.p99Ms, 9900, 99);
}

TEST(DurationHistogram, HoldsTheShortestAndTheLongest) {
    for (int64_t nanoseconds : {int64_t{0}, int64_t{1}, int64_t{127}, int64_t{128},
                                int64_t{1} << 40, std::numeric_limits<int64_t>::max()}) {
        DurationHistogram histogram;
        histogram.add(std::chrono::nanoseconds(nanoseconds));
        const double expectedMs = static_cast<double>(nanoseconds) / 1e6;
        EXPECT_NEAR(histogram.summary().p50Ms, expectedMs, expectedMs * 0.01 + 2e-6);
    }
    DurationHistogram negative;
    negative.add(std::chrono::nanoseconds(-5));
    EXPECT_NEAR(negative.summary().p99Ms, 0, 2e-6);
}

std::vector<int64_t> taken(FrameSelection selection, int64_t frames) {
    std::vector<int64_t> result;
    for (int64_t i = 0; i < frames && !selection.isCompleteAt(i); ++i) {
        if (selection.take(i)) result.push_back(i);
    }
    return result;
}

TEST(FrameSelection, SpreadsOverAKnownLength) {
    EXPECT_EQ(taken(FrameSelection::spread(3, 300), 300), (std::vector<int64_t>{50, 150, 250}));
    EXPECT_EQ(taken(FrameSelection::spread(3, 4), 4), (std::vector<int64_t>{0, 2, 3}));
    // As many frames as cells, or fewer: all of them.
    EXPECT_EQ(taken(FrameSelection::spread(3, 3), 3), (std::vector<int64_t>{0, 1, 2}));
    EXPECT_EQ(taken(FrameSelection::spread(3, 2), 2), (std::vector<int64_t>{0, 1}));
}

TEST(FrameSelection, ThinsOutAnUnknownLength) {
    EXPECT_EQ(taken(FrameSelection::spread(2, 0), 20),
              (std::vector<int64_t>{0, 1, 2, 3, 4, 6, 8, 12, 16}));
    EXPECT_EQ(taken(FrameSelection::first(), 9), std::vector<int64_t>{0});
    EXPECT_EQ(taken(FrameSelection::all(), 3), (std::vector<int64_t>{0, 1, 2}));
}

TEST(PictureSize, KeepsTheAspectToTheNearestPixelThatIsAllowed) {
    struct Case {
        PictureSize asked;
        PictureSize source;
        SideRule rule;
        PictureSize expected;  // unset: an error
    };
    constexpr SideRule kAny = SideRule::Any;
    for (const Case& test :
         {Case{{1280, -1}, {1920, 1080}, kAny, {1280, 720}},
          Case{{-1, 720}, {1920, 1080}, kAny, {1280, 720}},
          Case{{641, -1}, {1920, 1080}, kAny, {641, 361}},
          Case{{642, -1}, {1920, 1080}, SideRule::Even, {642, 362}},
          Case{{640, -1}, {854, 480}, SideRule::Even, {640, 360}},
          Case{{-1, 16384}, {8192, 16384}, kAny, {8192, 16384}},
          Case{{10, 20}, {7, 9}, kAny, {10, 20}}, Case{{16384, -1}, {2, 16384}, kAny, {}},
          Case{{16384, -1}, {16384, 16384}, kAny, {}}, Case{{4, -1}, {16384, 2}, kAny, {}}}) {
        PictureSize size;
        EXPECT_EQ(resolve(test.asked, test.source, test.rule, &size).isOk(), test.expected.isSet());
        EXPECT_EQ(size.width, test.expected.width);
        EXPECT_EQ(size.height, test.expected.height);
    }
}

TEST(HdrMetadata, ComesFromTheFrame) {
    FramePtr frame(av_frame_alloc());
    AVMasteringDisplayMetadata* display =
        av_mastering_display_metadata_create_side_data(frame.get());
    display->has_primaries = 1;
    display->display_primaries[0][0] = {34000, 50000};
    display->display_primaries[2][1] = {3000, 50000};
    display->white_point[1] = {16450, 50000};
    display->has_luminance = 1;
    display->max_luminance = {1000, 1};
    display->min_luminance = {5, 1000};
    AVContentLightMetadata* light = av_content_light_metadata_create_side_data(frame.get());
    light->MaxCLL = 800;
    light->MaxFALL = 300;
    AVDynamicHDRPlus* scene = av_dynamic_hdr_plus_create_side_data(frame.get());
    scene->num_windows = 1;
    scene->params[0].maxscl[0] = {6, 100};
    scene->params[0].maxscl[2] = {1, 100};

    android::sp<android::AMessage> meta = new android::AMessage();
    attachHdrMetadata(*frame, meta);
    android::sp<android::ABuffer> blob;
    ASSERT_TRUE(meta->findBuffer("hdr-static-info", &blob));
    const auto info = android::host::HdrStaticInfo::fromBlob(blob);
    ASSERT_TRUE(info.has_value());
    EXPECT_NEAR(info->primaries[0].x, 0.68, 1e-4);
    EXPECT_NEAR(info->primaries[2].y, 0.06, 1e-4);
    EXPECT_NEAR(info->whitePoint.y, 0.329, 1e-4);
    EXPECT_EQ(info->maxLuminance, 1000);
    EXPECT_NEAR(info->minLuminance, 0.005, 1e-5);
    EXPECT_EQ(info->maxContentLight, 800);
    EXPECT_EQ(info->maxFrameAverageLight, 300);
    ASSERT_TRUE(meta->findBuffer("hdr10-plus-info", &blob));
    const auto dynamic = android::host::Hdr10PlusInfo::fromBlob(blob);
    ASSERT_TRUE(dynamic.has_value());
    EXPECT_NEAR(dynamic->maxScl[0], 600, 0.1);
    EXPECT_NEAR(dynamic->maxScl[2], 100, 0.1);
}

TEST(HdrMetadata, IsAbsentWithoutSideData) {
    FramePtr frame(av_frame_alloc());
    android::sp<android::AMessage> meta = new android::AMessage();
    attachHdrMetadata(*frame, meta);
    EXPECT_FALSE(meta->contains("hdr-static-info"));
    EXPECT_FALSE(meta->contains("hdr10-plus-info"));
}

}  // namespace
}  // namespace plexa::test
