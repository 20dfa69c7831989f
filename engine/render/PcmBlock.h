#pragma once
// Memory for one track's PCM, allocated once and freed with its owner. Allocated and freed on the main thread; filled
// before the render thread sees it, so that every page is present by then. Not initialised: whoever allocates a block
// writes all of it. Must never be resized.

#include <cstddef>
#include <memory>
#include <new>
#include <span>

namespace tolvane {

class PcmBlock {
 public:
  PcmBlock() = default;
  /// Running out of memory is std::bad_alloc, which nobody catches.
  explicit PcmBlock(std::size_t size)
      : bytes_(size == 0 ? nullptr : static_cast<std::byte*>(::operator new(size, alignmentFor(size))), Free{size}) {}

  [[nodiscard]] std::byte* data() { return bytes_.get(); }
  [[nodiscard]] const std::byte* data() const { return bytes_.get(); }
  [[nodiscard]] std::size_t size() const { return bytes_ ? bytes_.get_deleter().size : 0; }
  [[nodiscard]] std::span<std::byte> bytes() { return {data(), size()}; }
  [[nodiscard]] std::span<const std::byte> bytes() const { return {data(), size()}; }

 private:
  static constexpr std::size_t kPageSize = 4096;
  static constexpr std::size_t kCacheLineSize = 64;

  static constexpr std::align_val_t alignmentFor(std::size_t size) {
    return std::align_val_t{size >= kPageSize ? kPageSize : kCacheLineSize};
  }

  struct Free {
    std::size_t size;
    void operator()(std::byte* bytes) const { ::operator delete(bytes, size, alignmentFor(size)); }
  };

  std::unique_ptr<std::byte, Free> bytes_;
};

}  // namespace tolvane
