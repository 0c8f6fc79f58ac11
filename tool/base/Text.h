// Texts for the user.
#pragma once

#include <string>

namespace plexa {

/** What printf would print for these arguments. Threading: thread-safe. */
[[gnu::format(printf, 1, 2)]] std::string text(const char* format, ...);

}  // namespace plexa
