#include "session/Base64.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace tolvane {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t noDigit = 0xFF;

constexpr auto digits = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(noDigit);
  for (std::size_t i = 0; i < alphabet.size(); ++i)
    values[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
  return values;
}();

/// The two characters of twelve bits: half as many table look-ups for the records of long playlists.
constexpr auto characterPairs = [] {
  std::array<std::array<char, 2>, 4096> pairs{};
  for (std::size_t bits = 0; bits < pairs.size(); ++bits) pairs[bits] = {alphabet[bits >> 6U], alphabet[bits & 63U]};
  return pairs;
}();

std::uint32_t byteAt(std::string_view bytes, std::size_t index) { return static_cast<unsigned char>(bytes[index]); }

/// Appends the first `count` bytes of a group of 24 bits.
void appendBytes(std::string& bytes, std::uint32_t group, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) bytes += static_cast<char>(group >> (16 - 8 * i) & 0xFFU);
}

}  // namespace

void appendBase64(std::string& text, std::string_view bytes) {
  std::size_t out = text.size();
  text.resize(out + (bytes.size() + 2) / 3 * 4, '=');
  std::size_t at = 0;
  for (; at + 3 <= bytes.size(); at += 3) {
    const std::uint32_t group = byteAt(bytes, at) << 16U | byteAt(bytes, at + 1) << 8U | byteAt(bytes, at + 2);
    std::memcpy(text.data() + out, characterPairs[group >> 12U].data(), 2);
    std::memcpy(text.data() + out + 2, characterPairs[group & 4095U].data(), 2);
    out += 4;
  }
  if (at == bytes.size()) return;
  const bool hasTwo = bytes.size() - at == 2;
  const std::uint32_t group = byteAt(bytes, at) << 16U | (hasTwo ? byteAt(bytes, at + 1) << 8U : 0U);
  text[out++] = alphabet[group >> 18U & 63U];
  text[out++] = alphabet[group >> 12U & 63U];
  if (hasTwo) text[out++] = alphabet[group >> 6U & 63U];
}

std::optional<std::string> decodedBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::size_t padding = 0;
  while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == '=') ++padding;
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  for (std::size_t at = 0; at < text.size(); at += 4) {
    const std::size_t given = at + 4 == text.size() ? 4 - padding : 4;
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      const std::uint8_t digit = i < given ? digits[byteAt(text, at + i)] : std::uint8_t{0};
      if (digit == noDigit) return std::nullopt;
      group = group << 6U | digit;
    }
    appendBytes(bytes, group, given - 1);
  }
  return bytes;
}

}  // namespace tolvane
