// The small parts of graphics and vexutils: shared memory, handles, rectangles, the chip's name.
#include <ChipVendor.h>
#include <android/hidl/memory/1.0/IMemory.h>
#include <cutils/native_handle.h>
#include <gtest/gtest.h>
#include <host/ChipName.h>
#include <host/FaultInjection.h>
#include <host/GraphicsCounts.h>
#include <host/SharedMemory.h>
#include <ui/Rect.h>

#include <cstring>

namespace android {
namespace {

TEST(SharedMemoryTest, IsAsLongAsAskedAndZero) {
    const auto memory = host::makeSharedMemory(479);
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(uint64_t{memory->getSize()}, 479U);
    auto* bytes = static_cast<uint8_t*>(static_cast<void*>(memory->getPointer()));
    EXPECT_EQ(bytes[478], 0);
    EXPECT_TRUE(memory->update().isOk());
    memset(bytes, 7, 479);
    EXPECT_TRUE(memory->commit().isOk());
    EXPECT_EQ(static_cast<void*>(memory->getPointer()), bytes);
    EXPECT_EQ(host::graphicsCounts().bytes, 479);
}

TEST(SharedMemoryTest, IsNullWhenThereIsNone) {
    EXPECT_EQ(host::makeSharedMemory(0), nullptr);
    EXPECT_EQ(host::makeSharedMemory(uint64_t{1} << 31), nullptr);
    for (const auto fault : {host::Fault::GraphicsAllocate, host::Fault::GraphicsMap}) {
        host::FaultInjection::failNth(fault, 1);
        EXPECT_EQ(host::makeSharedMemory(16), nullptr);
        EXPECT_NE(host::makeSharedMemory(16), nullptr);
    }
    EXPECT_EQ(host::graphicsCounts(), host::GraphicsCounts());
}

TEST(NativeHandleTest, CountsHaveLimits) {
    native_handle_t* handle = native_handle_create(2, 3);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->numFds, 2);
    EXPECT_EQ(handle->numInts, 3);
    EXPECT_EQ(handle->data[4], 0);
    native_handle_delete(handle);
    EXPECT_EQ(native_handle_create(-1, 0), nullptr);
    EXPECT_EQ(native_handle_create(0, 1025), nullptr);
    EXPECT_EQ(native_handle_delete(nullptr), 0);
    EXPECT_EQ(native_handle_close(nullptr), 0);
}

TEST(RectTest, MeasuresWithoutOverflow) {
    EXPECT_EQ(Rect(3, 4, 10, 6).getWidth(), 7);
    EXPECT_EQ(Rect(3, 4, 10, 6).getHeight(), 2);
    EXPECT_EQ(Rect(INT32_MIN, 0, INT32_MAX, 1).getWidth(), -1);
    EXPECT_TRUE(Rect(5, 5, 5, 9).isEmpty());
    EXPECT_TRUE(Rect(5, 5, 5, 9).isValid());
    EXPECT_FALSE(Rect(5, 5, 4, 9).isValid());
    EXPECT_NE(Rect(1, 2, 3, 4), Rect(1, 2, 3, 5));
}

TEST(ChipVendorTest, AnswersWhatTheHostWasTold) {
    EXPECT_EQ(ChipVendor::getChipName(), host::kDefaultChipName);
    host::setChipName("SM8650-AC");
    EXPECT_EQ(ChipVendor::getChipName(), "SM8650-AC");
    host::setChipName(host::kDefaultChipName);
}

}  // namespace
}  // namespace android
