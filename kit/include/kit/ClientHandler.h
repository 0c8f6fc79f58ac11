// ClientHandler: a chain's client, which keeps the notices that it hears and lets others wait for
// them.
#pragma once

#include <APipe.h>
#include <media/stagefright/foundation/ALooper.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "kit/Deadline.h"

namespace plexa::kit {

/// Hears notices on a looper of its own, which a scheduler takes over if there is one.
///
/// Threading: thread-safe.
class ClientHandler : public android::AHandler {
public:
    /// The fields that a notice does not have keep these values.
    struct Notice {
        int32_t what = 0;
        int32_t bufferId = -100;
        int32_t surfaceId = -100;
        int64_t timeUs = -100;
        int32_t flag = -100;
        int32_t err = 0;
        android::sp<android::ABuffer> extraData;
    };
    using Listener = std::function<void(const Notice&)>;

    /// `listener` is called with each notice, on the client's looper, before the notice is kept.
    static android::sp<ClientHandler> create(Listener listener = nullptr) {
        android::sp<ClientHandler> client = new ClientHandler(std::move(listener));
        client->mLooper->start();
        client->mLooper->registerHandler(client);
        return client;
    }

    /// What the constructor of a stage takes. Each notice is a copy of it, "tag" included.
    android::sp<android::AMessage> notify() const {
        android::sp<android::AMessage> message = new android::AMessage(kNoticeWhat, this);
        message->setInt32("tag", kTag);
        return message;
    }

    std::vector<Notice> notices() const { return mNotices.get(); }
    size_t count(int32_t what) const { return countIn(mNotices.get(), what); }
    /// The ids of the buffers that came home in such notices, in that order.
    std::vector<int32_t> bufferIds(int32_t what) const {
        std::vector<int32_t> ids;
        for (const Notice& notice : mNotices.get()) {
            if (notice.what == what) ids.push_back(notice.bufferId);
        }
        return ids;
    }
    /// On real threads only. False after the deadline.
    [[nodiscard]] bool waitFor(int32_t what, size_t count = 1) const {
        return mNotices.waitUntil([&](const auto& all) { return countIn(all, what) >= count; });
    }
    void forget() { mNotices.set({}); }

    /// Hears nothing any more once this returns. Not for its own looper.
    void stop() { mLooper->stop(); }

protected:
    ~ClientHandler() override { stop(); }

    void onMessageReceived(const android::sp<android::AMessage>& msg) override {
        int32_t tag = 0;
        if (msg->what() != kNoticeWhat || !msg->findInt32("tag", &tag) || tag != kTag) return;
        Notice notice;
        msg->findInt32("what", &notice.what);
        msg->findInt32("bufferId", &notice.bufferId);
        msg->findInt32("surfaceId", &notice.surfaceId);
        msg->findInt64("timeUs", &notice.timeUs);
        msg->findInt32("flag", &notice.flag);
        msg->findInt32("err", &notice.err);
        msg->findBuffer("extra_data", &notice.extraData);
        if (mListener) mListener(notice);
        mNotices.update([&](auto& all) { all.push_back(notice); });
    }

private:
    static constexpr uint32_t kNoticeWhat = 0x6e6f7465;
    static constexpr int32_t kTag = 77;

    explicit ClientHandler(Listener listener) : mListener(std::move(listener)) {}

    static size_t countIn(const std::vector<Notice>& all, int32_t what) {
        return static_cast<size_t>(std::count_if(
            all.begin(), all.end(), [&](const Notice& notice) { return notice.what == what; }));
    }

    const Listener mListener;
    const android::sp<android::ALooper> mLooper = new android::ALooper;
    Awaited<std::vector<Notice>> mNotices;
};

}  // namespace plexa::kit
