#include "engine/render/PcmBlock.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <utility>

namespace tolvane {
namespace {

bool liesOnAMultipleOf(std::size_t alignment, const PcmBlock& block) {
  return reinterpret_cast<std::uintptr_t>(block.data()) % alignment == 0;
}

TEST(PcmBlock, HoldsAsManyBytesAsAskedFor) {
  for (const std::size_t size : {1U, 63U, 4095U, 4096U, 1234567U}) {
    PcmBlock block(size);
    EXPECT_EQ(block.size(), size);
    EXPECT_EQ(block.bytes().size(), size);
    std::memset(block.data(), 0x5A, size);
    EXPECT_EQ(std::as_const(block).bytes().back(), std::byte{0x5A});
  }
}

TEST(PcmBlock, StartsOnAPageWhenItFillsOne) {
  EXPECT_TRUE(liesOnAMultipleOf(64, PcmBlock(1)));
  EXPECT_TRUE(liesOnAMultipleOf(4096, PcmBlock(4096)));
  EXPECT_TRUE(liesOnAMultipleOf(4096, PcmBlock(10'000'001)));
}

TEST(PcmBlock, MayBeEmpty) {
  EXPECT_EQ(PcmBlock().size(), 0U);
  EXPECT_EQ(PcmBlock(0).size(), 0U);
  EXPECT_EQ(PcmBlock(0).data(), nullptr);
}

TEST(PcmBlock, TakesItsBytesAlongWhenMoved) {
  PcmBlock from(8);
  const std::byte* const bytes = from.data();
  const PcmBlock to = std::move(from);
  EXPECT_EQ(to.data(), bytes);
  EXPECT_EQ(to.size(), 8U);
}

}  // namespace
}  // namespace tolvane
