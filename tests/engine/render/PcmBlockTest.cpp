#include "engine/render/PcmBlock.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

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
  EXPECT_TRUE(liesOnAMultipleOf(std::size_t{2} << 20U, PcmBlock(std::size_t{8} << 20U))) << "on a huge one";
  EXPECT_TRUE(liesOnAMultipleOf(64, PcmBlock(1)));
  EXPECT_TRUE(liesOnAMultipleOf(4096, PcmBlock(4096)));
  EXPECT_TRUE(liesOnAMultipleOf(4096, PcmBlock(10'000'001)));
}

TEST(PcmBlock, MayBeEmpty) {
  EXPECT_EQ(PcmBlock().size(), 0U);
  EXPECT_EQ(PcmBlock(0).size(), 0U);
  EXPECT_EQ(PcmBlock(0).data(), nullptr);
}

TEST(PcmBlock, OfMoreThanThereIsCannotBeAllocated) {
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // whose allocators end the program instead
  EXPECT_FALSE(PcmBlock::allocate(std::size_t{1} << 60U));
#endif
  const auto block = PcmBlock::allocate(5000);
  ASSERT_TRUE(block);
  EXPECT_EQ(block->size(), 5000U);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // whose allocators write into what they give

/// Bytes that take memory, in whole pages.
std::size_t residentBytes(const PcmBlock& block) {
  constexpr std::size_t pageBytes = 4096;
  std::vector<unsigned char> pages(block.size() / pageBytes);
  if (::mincore(const_cast<std::byte*>(block.data()), pages.size() * pageBytes, pages.data()) != 0) return SIZE_MAX;
  return static_cast<std::size_t>(std::ranges::count_if(pages, [](unsigned char page) { return (page & 1) != 0; })) *
         pageBytes;
}

TEST(PcmBlock, TakesMemoryOnlyForWhatIsWritten) {
  constexpr std::size_t written = std::size_t{8} << 20U;
  constexpr std::size_t hugePage = std::size_t{2} << 20U;
  auto block = PcmBlock::allocate(std::size_t{512} << 20U);
  ASSERT_TRUE(block);
  EXPECT_LE(residentBytes(*block), hugePage);
  std::memset(block->data(), 1, written);
  EXPECT_GE(residentBytes(*block), written);
  EXPECT_LE(residentBytes(*block), written + 2 * hugePage);
}

TEST(PcmBlock, IsInMemoryWhereItWasBroughtThere) {
  constexpr std::size_t hugePage = std::size_t{2} << 20U;
  constexpr std::size_t from = 16 * hugePage + 5;
  const auto block = PcmBlock::allocate(64 * hugePage);
  ASSERT_TRUE(block);
  EXPECT_FALSE(block->isInMemory(from, 100)) << "these bytes were never written";
  block->bringIntoMemory(from, 3 * hugePage);
  EXPECT_TRUE(block->isInMemory(from, 3 * hugePage));
  EXPECT_TRUE(block->isInMemory(from + 3 * hugePage - 1, 1)) << "to the last byte";
  EXPECT_FALSE(block->isInMemory(from, 6 * hugePage));
  EXPECT_FALSE(block->isInMemory(48 * hugePage, hugePage)) << "and no more than was asked for";
}

TEST(PcmBlock, HasNothingOutOfMemoryBehindItsEnd) {
  const auto block = PcmBlock::allocate(std::size_t{64} << 20U);
  ASSERT_TRUE(block);
  EXPECT_TRUE(block->isInMemory(block->size(), 1));
  EXPECT_TRUE(block->isInMemory(block->size() + 1, SIZE_MAX));
  EXPECT_TRUE(PcmBlock().isInMemory(0, 1));
  block->bringIntoMemory(block->size() - 1, SIZE_MAX);
  EXPECT_TRUE(block->isInMemory(block->size() - 1, SIZE_MAX));
  PcmBlock().bringIntoMemory(0, SIZE_MAX);
}

#endif

TEST(PcmBlock, KeepsItsPlaceWhenItIsShortened) {
  PcmBlock block(100'000);
  const std::byte* const bytes = block.data();
  block.data()[7] = std::byte{7};
  block.shorten(8);
  EXPECT_EQ(block.size(), 8U);
  EXPECT_EQ(block.data(), bytes);
  EXPECT_EQ(block.bytes().back(), std::byte{7});
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
