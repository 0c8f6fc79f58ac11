// status_t and its values.
#pragma once

#include <cerrno>
#include <cstdint>

namespace android {

// 0 for success, negative for an error: an errno with its sign turned, or a value of our own.
using status_t = int32_t;

enum : status_t {
    OK = 0,
    NO_ERROR = OK,

    UNKNOWN_ERROR = INT32_MIN,

    NO_MEMORY = -ENOMEM,
    INVALID_OPERATION = -ENOSYS,
    BAD_VALUE = -EINVAL,
    BAD_TYPE = UNKNOWN_ERROR + 1,
    NAME_NOT_FOUND = -ENOENT,
    PERMISSION_DENIED = -EPERM,
    NO_INIT = -ENODEV,
    ALREADY_EXISTS = -EEXIST,
    DEAD_OBJECT = -EPIPE,
    FAILED_TRANSACTION = UNKNOWN_ERROR + 2,
    BAD_INDEX = -EOVERFLOW,
    NOT_ENOUGH_DATA = -ENODATA,
    WOULD_BLOCK = -EWOULDBLOCK,
    TIMED_OUT = -ETIMEDOUT,
    UNKNOWN_TRANSACTION = -EBADMSG,
};

}  // namespace android
