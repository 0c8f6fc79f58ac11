// ClientCallback: how stages of one's own can call their client back at once, and not by a notice.
#pragma once

#include <utils/RefBase.h>

namespace plexa::kit {

/// A client puts one under "callback" into the message that it gives to APipe::setParameter. A
/// stage that takes it calls it on any thread. What is called may call the chain again, as any
/// client's code: hold no lock meanwhile that a hook of the stage takes. That of `plexa exercise`
/// flushes the chain, and waits for the notice where it is called inside setParameter.
///
/// Threading: thread-safe.
class ClientCallback : public android::RefBase {
public:
    virtual void call() = 0;
};

}  // namespace plexa::kit
