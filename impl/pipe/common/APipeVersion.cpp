// The version that the library was built as.
#include "APipeVersion.h"

namespace android {

int32_t getPlexaVersion() {
    return PLEXA_VERSION;
}

}  // namespace android
