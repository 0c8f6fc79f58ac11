// CHECK and friends: what the system's own code guarantees, verified in every build.
#pragma once

#include <log/log.h>

#include <sstream>
#include <string>

// A failure logs "<file>:<line> CHECK(<condition>) failed." as fatal and calls the log's aborter.
// Never for what a caller supplies.
#define PLEXA_CHECK_STRING2(x) #x
#define PLEXA_CHECK_STRING(x) PLEXA_CHECK_STRING2(x)
#define PLEXA_CHECK_PLACE __FILE__ ":" PLEXA_CHECK_STRING(__LINE__)

#define CHECK(condition) \
    LOG_ALWAYS_FATAL_IF(!(condition), "%s", PLEXA_CHECK_PLACE " CHECK(" #condition ") failed.")

// Each operand is evaluated once; the failure also shows both values.
#define PLEXA_CHECK_OP(x, y, suffix, op)                                                     \
    do {                                                                                     \
        const auto& x_ = (x);                                                                \
        const auto& y_ = (y);                                                                \
        if (!(x_ op y_)) [[unlikely]]                                                        \
            LOG_ALWAYS_FATAL("%s%s",                                                         \
                             PLEXA_CHECK_PLACE " CHECK_" suffix "( " #x "," #y ") failed: ", \
                             android::host::describePair(x_, y_).c_str());                   \
    } while (false)

#define CHECK_EQ(x, y) PLEXA_CHECK_OP(x, y, "EQ", ==)
#define CHECK_NE(x, y) PLEXA_CHECK_OP(x, y, "NE", !=)
#define CHECK_LE(x, y) PLEXA_CHECK_OP(x, y, "LE", <=)
#define CHECK_LT(x, y) PLEXA_CHECK_OP(x, y, "LT", <)
#define CHECK_GE(x, y) PLEXA_CHECK_OP(x, y, "GE", >=)
#define CHECK_GT(x, y) PLEXA_CHECK_OP(x, y, "GT", >)

#define TRESPASS(...) \
    LOG_ALWAYS_FATAL("%s", PLEXA_CHECK_PLACE " Should not be here." __VA_OPT__(" ") __VA_ARGS__)

namespace android::host {

// "1 vs. 2", for a failed comparison.
template <typename X, typename Y>
std::string describePair(const X& x, const Y& y) {
    std::ostringstream text;
    text << x << " vs. " << y;
    return text.str();
}

}  // namespace android::host
