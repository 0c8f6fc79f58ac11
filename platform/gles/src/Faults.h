// The place where ordered failures happen.
#pragma once

#include "host/GlesFaults.h"

namespace android::host {

// Counts one operation; true if it is the one that is to fail. Threading: thread-safe.
bool isFaultDue(GlesFault fault);

}  // namespace android::host
