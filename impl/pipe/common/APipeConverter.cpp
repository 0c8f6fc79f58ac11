// The factory of the converters.
#define LOG_TAG "APipeConverter"

#include "APipeConverter.h"

#include <utils/Log.h>

#include "APipeCLConverter.h"
#include "APipeGLConverter.h"
#include "APipeREConverter.h"

namespace android {

std::shared_ptr<APipeConverter> APipeConverter::Create(ConverterType type) {
    switch (type) {
        case kTypeNone:
            return nullptr;
        case kTypeCL:
            return std::make_shared<APipeCLConverter>();
        case kTypeGL:
            return std::make_shared<APipeGLConverter>();
        case kTypeRE:
            return std::make_shared<APipeREConverter>();
    }
    ALOGE("not defined type %d", type);
    return nullptr;
}

void APipeConverter::setColorSpace(int /*colorSpace*/) {}

void APipeConverter::setPerfHint(PerfHint /*hint*/) {}

}  // namespace android
