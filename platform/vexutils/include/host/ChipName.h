// The host's answer to ChipVendor::getChipName().
#pragma once

#include <string>

namespace android::host {

// What a host says when nobody has set a name: no chip's.
constexpr const char* kDefaultChipName = "host";

// Sets the name that ChipVendor answers from now on. Threading: thread-safe.
void setChipName(std::string name);

}  // namespace android::host
