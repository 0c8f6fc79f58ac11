// ChipVendor: the host's answer.
#include "ChipVendor.h"

#include "host/ChipName.h"

#include <mutex>
#include <utility>

namespace android {
namespace {

struct Answer {
    std::mutex lock;
    std::string name = host::kDefaultChipName;
};

Answer& theAnswer() {
    static Answer answer;
    return answer;
}

}  // namespace

std::string ChipVendor::getChipName() {
    Answer& answer = theAnswer();
    const std::lock_guard guard(answer.lock);
    return answer.name;
}

void host::setChipName(std::string name) {
    Answer& answer = theAnswer();
    const std::lock_guard guard(answer.lock);
    answer.name = std::move(name);
}

}  // namespace android
