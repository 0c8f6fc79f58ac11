// FakeVexcolor: a compute library that touches no pixel, records how it is called and fails on
// demand.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

// plexa_use_fake_vexcolor(test) puts it in the place of libvexcolor.so for a test, which asks here.
// Threading: thread-safe.
namespace plexa::fake_vexcolor {

// Every call since forget(), as in "createScaler(1, 640, 480, 320, 240, 8, 8)". Buffers are left
// out.
std::vector<std::string> calls();

// Makes the calls of this name fail until forget(): "Create", "setup", "convert", "createScaler" or
// "scale".
void refuse(const std::string& name);

void forget();

// For the library: keeps a call; false if it is to fail.
bool record(const std::string& name, std::initializer_list<int64_t> arguments = {});

}  // namespace plexa::fake_vexcolor
