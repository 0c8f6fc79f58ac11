// What FFmpeg's libraries say, as text for the user.
#pragma once

#include <cstdint>
#include <string>

#include "base/Status.h"

namespace plexa {

/** FFmpeg's own words for an error code, for example "No such file or directory". */
std::string avErrorText(int error);

/**
 * As avErrorText, followed in brackets by the last error line that the libraries logged since the
 * last call of this function: it often holds the cause that the code alone does not tell.
 */
std::string avErrorWithLog(int error);

/** Done, or, for a negative error code, avErrorWithLog(). */
Status avStatus(int result);

/**
 * The last error line that a demuxer logged since the last call, empty if there was none. Some
 * demuxers tell in no other way that their input ends too early.
 */
std::string takeDemuxerError();

/** What decoders complained of since captureAvLog(). */
struct DecoderErrors {
    int64_t count = 0;
    std::string first;
};
DecoderErrors decoderErrors();

/**
 * Takes over the libraries' log: error lines are kept for avErrorWithLog, and nothing is printed
 * unless `verbose`. Once, before any other use of the libraries.
 *
 * Threading: all of these are thread-safe.
 */
void captureAvLog(bool verbose);

}  // namespace plexa
