// How messages read in logs.
#pragma once

#include <cstdint>
#include <string>

namespace android::host {

// Four characters if the code reads as such, else its decimal value.
std::string nameOf(uint32_t what);

}  // namespace android::host
