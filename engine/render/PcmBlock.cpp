#include "engine/render/PcmBlock.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace tolvane {

std::size_t PcmBlock::endOf(std::size_t from, std::size_t count) const noexcept {
  const std::size_t begin = std::min(from, size());
  return begin + std::min(count, size() - begin);
}

void PcmBlock::askForHugePages() noexcept {
  if (alignmentFor(size_) != std::align_val_t{kHugePageSize}) return;
  // Systems without huge pages use pages of the usual size.
  (void)::madvise(bytes_.get(), size_ - size_ % kHugePageSize, MADV_HUGEPAGE);
}

bool PcmBlock::isInMemory(std::size_t from, std::size_t count) const {
  const std::size_t end = endOf(from, count);
  if (end <= from) return true;
  const auto* const bytes = data() + from;
  const auto pageSize = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  const auto* const page = bytes - reinterpret_cast<std::uintptr_t>(bytes) % pageSize;
  std::vector<unsigned char> present((static_cast<std::size_t>(data() + end - page) + pageSize - 1) / pageSize);
  if (::mincore(const_cast<std::byte*>(page), present.size() * pageSize, present.data()) != 0) return true;
  return std::ranges::all_of(present, [](unsigned char each) { return (each & 1U) != 0; });
}

void PcmBlock::bringIntoMemory(std::size_t from, std::size_t count) const noexcept {
  const std::size_t end = endOf(from, count);
  const volatile std::byte* const bytes = data();
  for (std::size_t at = from; at < end; at += kPageSize) (void)bytes[at];
  if (end > from) (void)bytes[end - 1];
}

}  // namespace tolvane
