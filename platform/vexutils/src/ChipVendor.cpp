// ChipVendor: the host's answer.
#include "ChipVendor.h"

#include "host/ChipName.h"

#include <utils/Mutex.h>

#include <utility>

namespace android {
namespace {

struct Answer {
    Mutex lock;
    std::string name GUARDED_BY(lock) = host::kDefaultChipName;
};

Answer& theAnswer() {
    static Answer answer;
    return answer;
}

}  // namespace

std::string ChipVendor::getChipName() {
    Answer& answer = theAnswer();
    const Mutex::Autolock guard(answer.lock);
    return answer.name;
}

void host::setChipName(std::string name) {
    Answer& answer = theAnswer();
    const Mutex::Autolock guard(answer.lock);
    answer.name = std::move(name);
}

}  // namespace android
