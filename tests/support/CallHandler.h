// CallHandler: a handler made of a function.
#pragma once

#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/AMessage.h>

#include <functional>
#include <utility>

namespace plexa {

// Calls the function with each message, on the looper it is registered with.
// Threading: loop-bound.
class CallHandler : public android::AHandler {
public:
    using Call = std::function<void(const android::sp<android::AMessage>&)>;

    explicit CallHandler(Call call) : mCall(std::move(call)) {}

protected:
    void onMessageReceived(const android::sp<android::AMessage>& msg) override { mCall(msg); }

private:
    const Call mCall;
};

}  // namespace plexa
