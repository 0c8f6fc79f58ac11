// FakeVexcapture: a frame-capture library that touches no pixel, records how it is called and
// answers as told.
#pragma once

#include <media/stagefright/foundation/AMessage.h>
#include <ui/GraphicBuffer.h>
#include <ui/Rect.h>
#include <utils/Errors.h>
#include <utils/StrongPointer.h>

#include <cstdint>
#include <optional>

// Link fake_vexcapture ahead of plexa_common: its libvexcapture.so then takes the place of the
// stand-in. Threading: one thread at a time.
namespace plexa::fake_vexcapture {

struct Init {
    int layers = 0;
    int mode = 0;
};

struct Capture {
    android::sp<android::GraphicBuffer> source;
    android::Rect crop;
    android::sp<android::AMessage> parameters;
    int32_t format = 0;
    int width = 0;
    int height = 0;
    android::sp<android::GraphicBuffer> destination;
};

// What the library was asked and is to answer, since it was last set to {}.
struct State {
    std::optional<Init> lastInit;
    std::optional<Capture> lastCapture;
    int objects = 0;  // alive
    android::status_t initStatus = android::OK;
    android::status_t captureStatus = android::OK;
};

__attribute__((visibility("default"))) State& state();

}  // namespace plexa::fake_vexcapture
