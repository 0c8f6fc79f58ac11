// AMessage as a record: typed values, copies, text.
#include <gtest/gtest.h>
#include <media/stagefright/foundation/AMessage.h>

#include <functional>
#include <string>
#include <vector>

#include "support/LogCapture.h"

namespace android {
namespace {

struct Plain : RefBase {};

// One way to set each type, and one to find it.
struct TypedAccess {
    const char* type;
    std::function<void(AMessage&, const char*)> set;
    std::function<bool(const AMessage&, const char*)> find;
};

const std::vector<TypedAccess>& typedAccesses() {
    static const auto object = sp<Plain>::make();
    static const auto buffer = sp<ABuffer>::make(8U);
    static const auto message = sp<AMessage>::make();
    static const std::vector<TypedAccess> all{
        {"int32", [](AMessage& m, const char* name) { m.setInt32(name, -7); },
         [](const AMessage& m, const char* name) {
             int32_t value = 0;
             const bool found = m.findInt32(name, &value);
             EXPECT_EQ(value, found ? -7 : 0);
             return found;
         }},
        {"int64", [](AMessage& m, const char* name) { m.setInt64(name, INT64_MIN); },
         [](const AMessage& m, const char* name) {
             int64_t value = 0;
             const bool found = m.findInt64(name, &value);
             EXPECT_EQ(value, found ? INT64_MIN : 0);
             return found;
         }},
        {"object", [](AMessage& m, const char* name) { m.setObject(name, object); },
         [](const AMessage& m, const char* name) {
             sp<RefBase> value;
             const bool found = m.findObject(name, &value);
             EXPECT_EQ(value.get(), found ? object.get() : nullptr);
             return found;
         }},
        {"buffer", [](AMessage& m, const char* name) { m.setBuffer(name, buffer); },
         [](const AMessage& m, const char* name) {
             sp<ABuffer> value;
             const bool found = m.findBuffer(name, &value);
             EXPECT_EQ(value, found ? buffer : nullptr);
             return found;
         }},
        {"message", [](AMessage& m, const char* name) { m.setMessage(name, message); },
         [](const AMessage& m, const char* name) {
             sp<AMessage> value;
             const bool found = m.findMessage(name, &value);
             EXPECT_EQ(value, found ? message : nullptr);
             return found;
         }},
        {"rect", [](AMessage& m, const char* name) { m.setRect(name, 1, 2, 3, 4); },
         [](const AMessage& m, const char* name) {
             int32_t l = 0, t = 0, r = 0, b = 0;
             const bool found = m.findRect(name, &l, &t, &r, &b);
             EXPECT_EQ(l * 1000 + t * 100 + r * 10 + b, found ? 1234 : 0);
             return found;
         }},
    };
    return all;
}

TEST(MessageTest, FindsEachTypeAsItselfOnlyAlsoAfterItReplacedAnother) {
    const auto msg = sp<AMessage>::make();
    for (const TypedAccess& set : typedAccesses()) {
        set.set(*msg, "value");
        for (const TypedAccess& find : typedAccesses()) {
            EXPECT_EQ(find.find(*msg, "value"), &set == &find) << set.type << find.type;
            EXPECT_FALSE(find.find(*msg, "valu"));
        }
    }
    EXPECT_EQ(msg->countEntries(), 1U);
}

TEST(MessageTest, NullsAreThereAndFound) {
    const auto msg = sp<AMessage>::make();
    msg->setObject("object", nullptr);
    msg->setBuffer("buffer", nullptr);
    msg->setMessage("message", nullptr);
    sp<RefBase> object = sp<Plain>::make();
    sp<ABuffer> buffer = sp<ABuffer>::make(1U);
    sp<AMessage> message = msg;
    EXPECT_TRUE(msg->findObject("object", &object));
    EXPECT_TRUE(msg->findBuffer("buffer", &buffer));
    EXPECT_TRUE(msg->findMessage("message", &message));
    EXPECT_TRUE(object == nullptr && buffer == nullptr && message == nullptr);
    EXPECT_DEATH(msg->dup(), "'message' is null");
}

TEST(MessageTest, NamesOfAnyLengthAndNumberAreKeptApart) {
    const auto msg = sp<AMessage>::make();
    std::vector<std::string> names;
    for (size_t length = 0; length < 60; ++length) {
        names.push_back(std::string(length, 'n'));
        names.push_back(std::string(length, 'n') + "x");
    }
    for (size_t i = 0; i < names.size(); ++i) {
        msg->setInt32(names[i].c_str(), static_cast<int32_t>(i));
    }
    const sp<AMessage> copy = msg->dup();
    for (size_t i = 0; i < names.size(); ++i) {
        int32_t value = -1;
        EXPECT_TRUE(copy->findInt32(names[i].c_str(), &value)) << names[i];
        EXPECT_EQ(value, static_cast<int32_t>(i)) << names[i];
    }
    msg->clear();
    EXPECT_EQ(msg->countEntries(), 0U);
    EXPECT_FALSE(msg->contains("n"));
    EXPECT_EQ(copy->countEntries(), names.size());
}

TEST(MessageTest, CopiesNestedMessagesAndSharesTheRest) {
    const auto object = sp<Plain>::make();
    const auto inner = sp<AMessage>::make();
    inner->setInt32("depth", 2);
    inner->setObject("object", object);
    const auto outer = sp<AMessage>::make(9U, nullptr);
    outer->setMessage("inner", inner);
    const sp<AMessage> copy = outer->dup();
    inner->setInt32("depth", 3);
    EXPECT_EQ(copy->what(), 9U);

    sp<AMessage> innerCopy;
    ASSERT_TRUE(copy->findMessage("inner", &innerCopy));
    int32_t depth = 0;
    sp<RefBase> objectCopy;
    ASSERT_TRUE(innerCopy->findInt32("depth", &depth));
    ASSERT_TRUE(innerCopy->findObject("object", &objectCopy));
    EXPECT_EQ(depth, 2);
    EXPECT_EQ(objectCopy.get(), object.get());
}

TEST(MessageTest, LetsGoOfReplacedAndClearedObjects) {
    const auto object = sp<Plain>::make();
    const auto msg = sp<AMessage>::make();
    for (int i = 0; i < 20; ++i)
        msg->setObject(std::to_string(i).c_str(), object);
    EXPECT_EQ(object->getStrongCount(), 21);
    msg->setObject("3", nullptr);
    msg->setInt32("15", 1);
    EXPECT_EQ(object->getStrongCount(), 19);
    msg->clear();
    EXPECT_EQ(object->getStrongCount(), 1);
}

// A reply that held its own buffer: what goes may look at the message that it was in.
TEST(MessageTest, ReplacedObjectMayUseTheMessageAsItGoes) {
    struct Closing : RefBase {
        explicit Closing(AMessage* msg) : mMsg(msg) {}
        ~Closing() override {
            sp<RefBase> successor;
            EXPECT_TRUE(mMsg->findObject("closing", &successor));
            for (int i = 0; i < 20; ++i)
                mMsg->setInt32(std::to_string(i).c_str(), i);
        }
        AMessage* const mMsg;
    };
    const auto msg = sp<AMessage>::make();
    msg->setObject("closing", sp<Closing>::make(msg.get()));
    msg->setObject("closing", nullptr);
    EXPECT_EQ(msg->countEntries(), 21U);
}

TEST(MessageTest, ReadsWell) {
    const auto inner = sp<AMessage>::make(3U, nullptr);
    inner->setRect("crop", 0, 1, 20, 10);
    const auto msg = sp<AMessage>::make(0x6b666263U, nullptr);
    msg->setInt32("id", -1);
    msg->setInt64("timeUs", 5'000'000'000);
    msg->setMessage("inner", inner);
    msg->setBuffer("bytes", sp<ABuffer>::make(12U));
    msg->setObject("object", nullptr);
    EXPECT_EQ(msg->debugString(),
              "AMessage(what = 'kfbc') = {\n"
              "  int32_t id = -1\n"
              "  int64_t timeUs = 5000000000\n"
              "  AMessage inner = AMessage(what = '3') = {\n"
              "    Rect crop(0, 1, 20, 10)\n"
              "  }\n"
              "  Buffer bytes = 12 bytes\n"
              "  RefBase *object = null\n"
              "}");
}

TEST(BufferTest, KeepsItsRangeWithinItsBytes) {
    const sp<ABuffer> buffer = ABuffer::CreateAsCopy("0123456789", 10);
    buffer->setRange(3, 4);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer->data()), buffer->size()), "3456");
    EXPECT_EQ(buffer->offset(), 3U);
    EXPECT_EQ(buffer->capacity(), 10U);
    EXPECT_DEATH(buffer->setRange(8, 3), "CHECK_LE");
    EXPECT_DEATH(buffer->setRange(1, SIZE_MAX), "CHECK_LE");
    char bytes[4] = "abc";
    EXPECT_EQ(sp<ABuffer>::make(bytes, sizeof(bytes))->base(), reinterpret_cast<uint8_t*>(bytes));
}

}  // namespace
}  // namespace android
