// Page-locked blocks: their sizes, that they don't overlap, and that they come back.

#include "runtime/pinned_pool.h"

#include "support.h"

#include <set>

namespace mirl::test {
namespace {

MIRL_DEVICE_TESTS(PinnedPool);

TEST_P(PinnedPool, BlocksOfAllSizes) {
  struct Block {
    unsigned char* data;
    std::size_t size;
    unsigned char value;
  };
  const long before = runtime::live().pinnedBlocks;
  for (int round = 0; round < 2; ++round) {
    std::vector<Block> blocks;
    for (const std::size_t size :
         {0, 1, 31, 32, 33, 64, 1000, 4096, 4097, 32767, 32768, 32769, 65536, 100000, 3000000}) {
      for (int copy = 0; copy < 4; ++copy) {
        auto* data = static_cast<unsigned char*>(runtime::allocatePinned(size));
        ASSERT_NE(data, nullptr) << size;
        const std::size_t alignment = size > 32768 ? 4096 : 32;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % alignment, 0u) << size;
        const auto value = static_cast<unsigned char>(blocks.size());
        std::memset(data, value, size);
        blocks.push_back({data, size, value});
      }
    }
    EXPECT_EQ(runtime::live().pinnedBlocks, before + static_cast<long>(blocks.size()));
    // Each block still has its own bytes, so none overlaps another; and devices can use them.
    for (const Block& block : blocks) {
      const Bytes expected(block.size, block.value);
      EXPECT_EQ(Bytes(block.data, block.data + block.size), expected);
      if (block.size == 0) continue;
      MirlImage image(static_cast<int>(block.size), 1, MIRL_8U_C1);
      const MirlStream stream(true);
      EXPECT_EQ(image.upload(block.data, image.width(), stream), MIRL_SUCCESS);
      stream.sync();
      EXPECT_EQ(bytesOf(image), expected);
    }
    for (const Block& block : blocks) EXPECT_TRUE(runtime::freePinned(block.data, block.size));
    EXPECT_EQ(runtime::live().pinnedBlocks, before);
  }
  EXPECT_TRUE(runtime::freePinned(nullptr, 32));
  EXPECT_EQ(runtime::allocatePinned(SIZE_MAX), nullptr);
  EXPECT_EQ(runtime::allocatePinned(SIZE_MAX - 4094), nullptr);
  EXPECT_EQ(runtime::live().pinnedBlocks, before);
}

TEST_P(PinnedPool, BlocksAreReused) {
  for (const std::size_t size : {32, 1024, 32768}) {
    std::set<void*> seen;
    for (int i = 0; i < 5000; ++i) {
      void* block = runtime::allocatePinned(size);
      ASSERT_NE(block, nullptr);
      seen.insert(block);
      ASSERT_TRUE(runtime::freePinned(block, size));
    }
    EXPECT_LE(seen.size(), 65536 / size) << "more than one slab for one block at a time";
  }
}

}  // namespace
}  // namespace mirl::test
