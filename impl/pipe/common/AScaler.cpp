// The factory of the scalers.
#define LOG_TAG "AScaler"

#include "AScaler.h"

#include <utils/Log.h>

#include "AScalerCL.h"

namespace android {

std::shared_ptr<AScaler> AScaler::Create(ScalerType type) {
    switch (type) {
        case kTypeNone:
            return nullptr;
        case kTypeCL:
            return std::make_shared<AScalerCL>();
    }
    ALOGE("not defined type %d", type);
    return nullptr;
}

}  // namespace android
