// The one macro that makes a class or function of libplexa_common.so visible to its clients.
#pragma once

#define PLEXA_EXPORT __attribute__((visibility("default")))
