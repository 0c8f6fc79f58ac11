// ChipVendor: which system chip the code runs on.
#pragma once

#include <string>

namespace android {

// Threading: thread-safe.
class ChipVendor {
public:
    // The chip's name, asked for afresh by every caller. On the host "host", or what
    // host/ChipName.h set.
    static std::string getChipName();
};

}  // namespace android
