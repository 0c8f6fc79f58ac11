// Texts for the user.
#include "base/Text.h"

#include <cstdarg>
#include <cstdio>

namespace plexa {

std::string text(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list measured;
    va_copy(measured, arguments);
    int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    std::string result(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    // A string's storage ends with a terminator that vsnprintf may overwrite with its own.
    std::vsnprintf(result.data(), result.size() + 1, format, arguments);
    va_end(arguments);
    return result;
}

}  // namespace plexa
