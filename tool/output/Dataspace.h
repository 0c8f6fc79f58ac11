// What a stream's colour tags mean to the platform.
#pragma once

#include <cstdint>
#include <string>

#include "media/VideoFormat.h"

namespace plexa {

/** The tags that choose a dataspace, as words for the user: matrix, range and transfer. */
std::string colorWords(const VideoFormat& format);

/**
 * The android_dataspace_t of a stream, of one standard, transfer and range each. What is not tagged
 * is taken as players do: by the matrix of BT.709 from 720 rows on and of BT.601 below, of BT.2020
 * with an HDR transfer or BT.2020 primaries; limited range; the transfer of SDR video.
 * Threading: thread-safe, like all functions here.
 */
int32_t dataspaceOf(const VideoFormat& format);

/** Whether the transfer is that of HDR: PQ or HLG. */
bool isHdr(int32_t dataspace);

/**
 * The legacy value that converters know an SDR dataspace of BT.601 or BT.709 by; any other
 * dataspace as it is.
 */
int32_t legacyDataspace(int32_t dataspace);

}  // namespace plexa
