// Nothing piles up: many conversions and re-initialisations, everything counted.
// GL_CONVERSIONS in the environment makes it as long as one likes.
#include <gtest/gtest.h>
#include <host/GraphicsCounts.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "APipeGLConverter.h"
#include "support/GlFrames.h"
#include "support/GlTest.h"

namespace android {
namespace {

using namespace plexa;

constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr int kShortRun = 400;
constexpr int kWarmUp = 100;
constexpr int kLives = 110;
// The driver's heap settles within the first few contexts.
constexpr int kWarmUpLife = 10;
// What the last page of each heap may come to.
constexpr int64_t kMostGrowth = 1 << 20;
// A sanitizer's own memory grows with every block that was ever freed, an emulator's with the code
// that it translates.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(PLEXA_EMULATED)
constexpr bool kIsMemoryOurs = false;
#else
constexpr bool kIsMemoryOurs = true;
#endif

int conversions() {
    const char* wanted = getenv("GL_CONVERSIONS");
    return wanted != nullptr ? std::max(atoi(wanted), 2 * kWarmUp) : kShortRun;
}

int64_t openFiles() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

int64_t residentBytes() {
    int64_t size = 0;
    int64_t resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

struct Holdings {
    host::GlesCounts objects = host::glesCounts();
    host::GraphicsCounts graphics = host::graphicsCounts();
    int64_t files = openFiles();

    friend bool operator==(const Holdings&, const Holdings&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Holdings& h) {
        return out << h.glObjects() << " GL objects, " << h.objects.contexts << " contexts, "
                   << h.objects.images << " images, " << h.objects.syncs << " fences, "
                   << h.graphics.buffers << " graphics buffers, " << h.files << " descriptors";
    }
    int64_t glObjects() const {
        return objects.textures + objects.buffers + objects.vertexArrays + objects.frameBuffers +
               objects.shaders + objects.programs;
    }
};

using GlEndurance = GlTest;

TEST_F(GlEndurance, HoldsNoMoreAfterManyFramesThanAfterAHundred) {
    const int count = conversions();
    const auto input = frameOver(yuvBuffer(kWidth, kHeight, [](int x, int y) {
        return Yuv{x, y, 128};
    }));
    const auto output = rgbaFrame(kWidth / 2, kHeight / 2);
    APipeGLConverter converter;
    Holdings early;
    int64_t earlyBytes = 0;
    int inits = 0;
    for (int i = 0; i < count; ++i) {
        if (i % (i < kWarmUp ? kWarmUpLife : std::max(count / kLives, 1)) == 0) {
            ASSERT_EQ(converter.init(glFormat(kWidth / 2, kHeight / 2)), OK);
            ++inits;
        }
        input->getMeta()->setRect("crop", i % 31, i % 23, kWidth - i % 7, kHeight - i % 5);
        ASSERT_EQ(converter.convert(input, output), OK);
        if (i == kWarmUp) {
            early = Holdings();
            earlyBytes = residentBytes();
        }
    }
    EXPECT_EQ(early.objects.images, 0);
    EXPECT_EQ(early.objects.textures, 0);
    const Holdings late;
    const int64_t growth = residentBytes() - earlyBytes;
    std::cout << count << " conversions, " << inits - 1 << " re-inits; after " << kWarmUp << ": "
              << early << "; at the end: " << late << "; resident memory grew by " << growth
              << " bytes\n";
    EXPECT_EQ(late, early);
    EXPECT_TRUE(!kIsMemoryOurs || growth <= kMostGrowth) << growth;
    converter.reset();
}

}  // namespace
}  // namespace android
