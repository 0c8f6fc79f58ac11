// The log macros, under the name by which the platform's C++ code includes them.
#pragma once

#include <log/log.h>
