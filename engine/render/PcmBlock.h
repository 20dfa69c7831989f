#pragma once
// Memory for one track's PCM, allocated once and freed with its owner. The thread that prepares the track allocates it;
// that thread, the player's thread or the background frees it. It is filled before the render thread sees it, so every
// page is present by then. Not initialised: the owner writes all of it, or shortens it to what was written. Never
// grows.

#include <cstddef>
#include <memory>
#include <new>
#include <optional>
#include <span>

namespace tolvane {

class PcmBlock {
 public:
  PcmBlock() = default;
  /// Throws std::bad_alloc if there is no memory.
  explicit PcmBlock(std::size_t size)
      : bytes_(size == 0 ? nullptr : static_cast<std::byte*>(::operator new(size, alignmentFor(size))), Free{size}),
        size_(size) {
    askForHugePages();
  }

  /// Nothing if there is no memory. The system supplies large blocks page by page as they are written; in huge pages if
  /// it has them, which takes a fraction of the time.
  [[nodiscard]] static std::optional<PcmBlock> allocate(std::size_t size) noexcept {
    void* const bytes = ::operator new(size, alignmentFor(size), std::nothrow);
    if (bytes == nullptr) return std::nullopt;
    PcmBlock block;
    block.bytes_ = {static_cast<std::byte*>(bytes), Free{size}};
    block.size_ = size;
    block.askForHugePages();
    return block;
  }

  /// Limits the block to its first `size` bytes. The rest stays allocated; pages of it that were never written take no
  /// memory. REQUIRES: `size` is at most size(), and the render thread has not seen the block.
  void shorten(std::size_t size) { size_ = size; }

  /// Whether these bytes are resident; false: the system has evicted some of them. Any thread.
  [[nodiscard]] bool isInMemory(std::size_t from, std::size_t count) const;
  /// Has the system read evicted bytes back into memory; may wait for the disk. Any thread.
  void bringIntoMemory(std::size_t from, std::size_t count) const noexcept;

  [[nodiscard]] std::byte* data() { return bytes_.get(); }
  [[nodiscard]] const std::byte* data() const { return bytes_.get(); }
  [[nodiscard]] std::size_t size() const { return bytes_ ? size_ : 0; }
  [[nodiscard]] std::span<std::byte> bytes() { return {data(), size()}; }
  [[nodiscard]] std::span<const std::byte> bytes() const { return {data(), size()}; }

 private:
  static constexpr std::size_t kHugePageSize = std::size_t{2} << 20U;
  static constexpr std::size_t kPageSize = 4096;
  static constexpr std::size_t kCacheLineSize = 64;

  static constexpr std::align_val_t alignmentFor(std::size_t size) {
    if (size >= 4 * kHugePageSize) return std::align_val_t{kHugePageSize};
    return std::align_val_t{size >= kPageSize ? kPageSize : kCacheLineSize};
  }

  void askForHugePages() noexcept;
  /// The end of `count` bytes from `from` on, limited to the block.
  [[nodiscard]] std::size_t endOf(std::size_t from, std::size_t count) const noexcept;

  struct Free {
    std::size_t size;  ///< bytes allocated
    void operator()(std::byte* bytes) const { ::operator delete(bytes, size, alignmentFor(size)); }
  };

  std::unique_ptr<std::byte, Free> bytes_;
  std::size_t size_ = 0;
};

}  // namespace tolvane
