// The GPU converter: any format message, colour space, frames, crop and failing EGL or GL call.
// What it made is gone after reset().
#include <APipeGLConverter.h>
#include <host/GlesCounts.h>
#include <host/GlesFaults.h>
#include <host/GraphicsCounts.h>

#include <cstdlib>

#include "fuzz_frames.h"

using android::AMessage;
using android::APipeGLConverter;
using android::sp;
using android::host::GlesFault;

// The driver keeps what its first context made.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libEGL\nleak:libGLX\nleak:libgallium\nleak:swrast_dri\n";
}

namespace {

sp<AMessage> takeFormats(FuzzedDataProvider& data) {
    if (data.ConsumeIntegralInRange(0, 31) == 0) return nullptr;
    const sp<AMessage> formats = new AMessage;
    plexa::addHostileEntries(data, formats);
    if (data.ConsumeIntegralInRange(0, 7) == 0) return formats;
    const sp<AMessage> dst = new AMessage;
    plexa::addHostileEntries(data, dst);
    if (data.ConsumeIntegralInRange(0, 3) != 0) {
        const plexa::FrameSize size = plexa::takeFrameSize(data);
        dst->setInt32("width", size.width);
        dst->setInt32("height", size.height);
    }
    formats->setMessage("dst", dst);
    return formats;
}

void act(FuzzedDataProvider& data, APipeGLConverter& converter) {
    switch (data.ConsumeIntegralInRange(0, 15)) {
        case 0:
            converter.init(takeFormats(data));
            break;
        case 1:
            converter.reset();
            break;
        case 2:
            converter.setColorSpace(data.ConsumeIntegral<int>());
            break;
        case 3:
        case 4:
            android::host::failGles(static_cast<GlesFault>(data.ConsumeIntegralInRange(
                                        0, static_cast<int>(GlesFault::kCount) - 1)),
                                    data.ConsumeIntegralInRange(1, 3));
            break;
        default:
            converter.convert(plexa::takeFrame(data), plexa::takeFrame(data));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    plexa::silenceLog();
    const auto graphics = android::host::graphicsCounts();
    {
        FuzzedDataProvider data(bytes, size);
        APipeGLConverter converter;
        converter.init(takeFormats(data));
        while (data.remaining_bytes() > 0)
            act(data, converter);
        android::host::clearGlesFaults();
        converter.reset();
    }
    if (android::host::glesCounts() != android::host::GlesCounts()) std::abort();
    if (android::host::graphicsCounts() != graphics) std::abort();
    return 0;
}
