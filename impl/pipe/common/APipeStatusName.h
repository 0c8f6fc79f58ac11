// APipeStatusName: statuses by their names, for logs.
#pragma once

#include <utils/Errors.h>

#include <string>

namespace android {

/// "TIMED_OUT (-110)"; the number alone for a status without a name in <utils/Errors.h>.
///
/// Threading: reentrant.
std::string statusName(status_t status);

}  // namespace android
