// Texts for the user.
#pragma once

#include <string>

namespace plexa {

/** What printf would print for these arguments. Threading: thread-safe, like errnoText. */
[[gnu::format(printf, 1, 2)]] std::string text(const char* format, ...);

/** The system's words for an errno value, for example "No space left on device". */
std::string errnoText(int error);

}  // namespace plexa
