// KeyedVector.
#include <gtest/gtest.h>
#include <utils/KeyedVector.h>

#include <string>

namespace android {
namespace {

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
