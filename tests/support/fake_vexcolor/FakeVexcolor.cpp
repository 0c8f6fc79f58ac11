// What the recording compute library and its test share.
#include "FakeVexcolor.h"

#include <mutex>
#include <set>

namespace plexa::fake_vexcolor {

namespace {

std::mutex gLock;
std::vector<std::string> gCalls;      // guarded by gLock
std::set<std::string> gRefusedCalls;  // guarded by gLock

}  // namespace

std::vector<std::string> calls() {
    const std::lock_guard lock(gLock);
    return gCalls;
}

void refuse(const std::string& name) {
    const std::lock_guard lock(gLock);
    gRefusedCalls.insert(name);
}

void forget() {
    const std::lock_guard lock(gLock);
    gCalls.clear();
    gRefusedCalls.clear();
}

bool record(const std::string& name, std::initializer_list<int64_t> arguments) {
    std::string call = name + "(";
    for (const int64_t argument : arguments) {
        if (call.back() != '(') call += ", ";
        call += std::to_string(argument);
    }
    const std::lock_guard lock(gLock);
    gCalls.push_back(call + ")");
    return gRefusedCalls.count(name) == 0;
}

}  // namespace plexa::fake_vexcolor
