// The entry points of the recording compute library. Built a second time without "scale".
#include <cl/converter/CLConverter.h>
#include <cl/scaler/CLScaler.h>

#include "FakeVexcolor.h"

using plexa::fake_vexcolor::record;

namespace {

class FakeConverter : public cl::converter::CLConverter {
public:
    ~FakeConverter() override { record("delete"); }
    int32_t setup(int64_t srcWidth, int64_t srcHeight, int64_t dstWidth, int64_t dstHeight,
                  int32_t mode) override {
        return record("setup", {srcWidth, srcHeight, dstWidth, dstHeight, mode}) ? 1 : 0;
    }
    int32_t convert(const android::sp<android::GraphicBuffer>& /*input*/,
                    const android::sp<android::GraphicBuffer>& /*output*/) override {
        return record("convert") ? 1 : 0;
    }
    void release() override { record("release"); }
    void setPerfHint(int32_t hint) override { record("setPerfHint", {hint}); }
};

}  // namespace

namespace cl::converter {

CLConverter::~CLConverter() = default;

CLConverter* CLConverter::Create(common::CLColorFormat src, common::CLColorFormat dst) {
    return record("Create", {src, dst}) ? new FakeConverter : nullptr;
}

}  // namespace cl::converter

void* createScaler(int32_t mode, int64_t srcWidth, int64_t srcHeight, int64_t dstWidth,
                   int64_t dstHeight, int32_t srcFormat, int32_t dstFormat) {
    static int scaler;
    const bool made = record(
        "createScaler", {mode, srcWidth, srcHeight, dstWidth, dstHeight, srcFormat, dstFormat});
    return made ? &scaler : nullptr;
}

#ifndef FAKE_VEXCOLOR_WITHOUT_SCALE
bool scale(void* /*scaler*/, const android::sp<android::GraphicBuffer>& /*input*/,
           const android::sp<android::GraphicBuffer>& /*output*/) {
    return record("scale");
}
#endif

void destroyScaler(void* /*scaler*/) {
    record("destroyScaler");
}
