// What the stages and their engines say, as text for the user.
#pragma once

#include <string>

namespace plexa {

/**
 * Takes over the platform's log: it is printed if `verbose`, and otherwise only the first error is
 * kept for withLibraryError(). Once, before any use of the library.
 *
 * Threading: thread-safe, like withLibraryError.
 */
void captureLibraryLog(bool verbose);

/** Forgets the error that withLibraryError() would tell: of something that was only tried. */
void forgetLibraryError();

/** `text`, followed in brackets by the first error line that the library logged, if there is one.
 */
std::string withLibraryError(std::string text);

}  // namespace plexa
