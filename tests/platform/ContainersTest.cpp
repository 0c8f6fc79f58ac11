// List and KeyedVector.
#include <gtest/gtest.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <utils/KeyedVector.h>
#include <utils/List.h>

#include <string>
#include <vector>

namespace android {
namespace {

TEST(ListTest, KeepsOrderAndIteratorsThroughInsertAndErase) {
    List<int> list;
    list.push_back(2);
    list.push_front(1);
    const auto second = ++list.begin();
    list.push_back(4);
    list.insert(--list.end(), 3);
    EXPECT_EQ((std::vector<int>(list.begin(), list.end())), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(*list.erase(list.begin()), 2);
    EXPECT_EQ(*second, 2);
    EXPECT_EQ(list.size(), 3U);
    list.clear();
    EXPECT_TRUE(list.empty());
}

TEST(ListTest, LetsGoOfItsElements) {
    const auto object = sp<ABuffer>::make(1U);
    List<sp<ABuffer>> list;
    list.push_back(object);
    list.push_back(object);
    list.erase(list.begin());
    EXPECT_EQ(object->getStrongCount(), 2);
    list.clear();
    EXPECT_EQ(object->getStrongCount(), 1);
}

TEST(KeyedVectorTest, SortsByKeyAndReplaces) {
    KeyedVector<int, std::string> map;
    EXPECT_EQ(map.add(5, "five"), 0);
    EXPECT_EQ(map.add(1, "one"), 0);
    EXPECT_EQ(map.add(9, "nine"), 2);
    EXPECT_EQ(map.add(5, "cinq"), 1);
    ASSERT_EQ(map.size(), 3U);
    EXPECT_EQ(map.keyAt(1), 5);
    EXPECT_EQ(map.valueFor(5), "cinq");
    EXPECT_EQ(map.valueAt(0), "one");
    EXPECT_EQ(map.indexOfKey(4), NAME_NOT_FOUND);
    EXPECT_EQ(map.replaceValueFor(4, "four"), NAME_NOT_FOUND);
}

TEST(KeyedVectorTest, RemovesByKeyAndByRange) {
    KeyedVector<int, int> map;
    for (int key = 0; key < 6; ++key)
        map.add(key, key * key);
    EXPECT_EQ(map.removeItem(2), 2);
    EXPECT_EQ(map.removeItem(2), NAME_NOT_FOUND);
    EXPECT_EQ(map.removeItemsAt(3, 2), 3);
    EXPECT_EQ(map.removeItemsAt(2, 2), BAD_VALUE);
    EXPECT_EQ(map.removeItemsAt(3), BAD_VALUE);
    EXPECT_EQ(map.size(), 3U);
    EXPECT_EQ(map.keyAt(2), 3);
}

}  // namespace
}  // namespace android
