// Shared memory, and the chip's name.
#include <ChipVendor.h>
#include <android/hidl/memory/1.0/IMemory.h>
#include <gtest/gtest.h>
#include <host/ChipName.h>
#include <host/FaultInjection.h>
#include <host/GraphicsCounts.h>
#include <host/SharedMemory.h>

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

TEST(ChipVendorTest, AnswersWhatTheHostWasTold) {
    EXPECT_EQ(ChipVendor::getChipName(), host::kDefaultChipName);
    host::setChipName("SM8650-AC");
    EXPECT_EQ(ChipVendor::getChipName(), "SM8650-AC");
    host::setChipName(host::kDefaultChipName);
}

}  // namespace
}  // namespace android
