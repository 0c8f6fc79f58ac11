// Statuses by their names.
#include "APipeStatusName.h"

namespace android {

namespace {

struct NamedStatus {
    status_t status;
    const char* name;
};

constexpr NamedStatus kNames[] = {
    {OK, "OK"},
    {UNKNOWN_ERROR, "UNKNOWN_ERROR"},
    {NO_MEMORY, "NO_MEMORY"},
    {INVALID_OPERATION, "INVALID_OPERATION"},
    {BAD_VALUE, "BAD_VALUE"},
    {BAD_TYPE, "BAD_TYPE"},
    {NAME_NOT_FOUND, "NAME_NOT_FOUND"},
    {PERMISSION_DENIED, "PERMISSION_DENIED"},
    {NO_INIT, "NO_INIT"},
    {ALREADY_EXISTS, "ALREADY_EXISTS"},
    {DEAD_OBJECT, "DEAD_OBJECT"},
    {FAILED_TRANSACTION, "FAILED_TRANSACTION"},
    {BAD_INDEX, "BAD_INDEX"},
    {NOT_ENOUGH_DATA, "NOT_ENOUGH_DATA"},
    {WOULD_BLOCK, "WOULD_BLOCK"},
    {TIMED_OUT, "TIMED_OUT"},
    {UNKNOWN_TRANSACTION, "UNKNOWN_TRANSACTION"},
};

}  // namespace

std::string statusName(status_t status) {
    const std::string number = std::to_string(status);
    for (const NamedStatus& named : kNames) {
        if (named.status == status) return std::string(named.name) + " (" + number + ")";
    }
    return number;
}

}  // namespace android
