#pragma once
// Bytes, and a builder that writes numbers the way USB does: little-endian.

#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

namespace tolvane {

using Bytes = std::vector<std::uint8_t>;
using ByteSpan = std::span<const std::uint8_t>;

class LittleEndian {
 public:
  LittleEndian& bytes(std::initializer_list<int> values) {
    for (const int value : values) bytes_.push_back(static_cast<std::uint8_t>(value));
    return *this;
  }
  LittleEndian& word(std::uint32_t value) {
    return bytes({static_cast<int>(value & 0xff), static_cast<int>(value >> 8 & 0xff)});
  }
  LittleEndian& doubleWord(std::uint32_t value) { return word(value & 0xffff).word(value >> 16); }
  LittleEndian& append(ByteSpan other) {
    bytes_.insert(bytes_.end(), other.begin(), other.end());
    return *this;
  }

  [[nodiscard]] std::uint32_t size() const { return static_cast<std::uint32_t>(bytes_.size()); }
  [[nodiscard]] const Bytes& value() const { return bytes_; }

 private:
  Bytes bytes_;
};

}  // namespace tolvane
