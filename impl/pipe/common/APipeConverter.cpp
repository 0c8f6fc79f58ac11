// The factory of the converters.
#define LOG_TAG "APipeConverter"

#include "APipeConverter.h"

#include <utils/Log.h>

#include "APipeCLConverter.h"
#include "APipeREConverter.h"

namespace android {

std::shared_ptr<APipeConverter> APipeConverter::Create(ConverterType type) {
    switch (type) {
        case kTypeNone:
            return nullptr;
        case kTypeCL:
            return std::make_shared<APipeCLConverter>();
        case kTypeRE:
            return std::make_shared<APipeREConverter>();
        case kTypeGL:
            ALOGE("built without an engine of type %d", type);
            return nullptr;
    }
    ALOGE("not defined type %d", type);
    return nullptr;
}

void APipeConverter::setColorSpace(int /*colorSpace*/) {}

void APipeConverter::setPerfHint(PerfHint /*hint*/) {}

}  // namespace android
