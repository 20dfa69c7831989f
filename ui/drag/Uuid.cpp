#include "ui/drag/Uuid.h"

#include <charconv>
#include <random>

namespace tolvane {

namespace {

constexpr std::array<std::size_t, 4> dashesBeforeByte{4, 6, 8, 10};

bool hasDashBefore(std::size_t byte) {
  for (const std::size_t position : dashesBeforeByte) {
    if (position == byte) return true;
  }
  return false;
}

/// The bits that mark a UUID of this version.
void mark(std::array<std::uint8_t, 16>& bytes, std::uint8_t version) {
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | (version << 4));
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
}

}  // namespace

Uuid Uuid::random() {
  Uuid uuid;
  std::random_device source;
  for (auto& byte : uuid.bytes) byte = static_cast<std::uint8_t>(source());
  mark(uuid.bytes, 4);
  return uuid;
}

Uuid Uuid::ofTrack(PlaylistTrackID id) {
  // Version 8: a custom scheme. The id's eight bytes surround the marks and lose none of their bits.
  Uuid uuid{{'t', 'o', 'l', 'v', 'a', 'n', 0, 'e'}};
  uuid.bytes[7] = static_cast<std::uint8_t>(id >> 56);
  for (std::size_t i = 0; i < 7; ++i) uuid.bytes[9 + i] = static_cast<std::uint8_t>(id >> (48 - 8 * i));
  mark(uuid.bytes, 8);
  return uuid;
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
  constexpr std::size_t length = 36;
  if (text.size() != length) return std::nullopt;
  Uuid uuid;
  const char* next = text.data();
  for (std::size_t i = 0; i < uuid.bytes.size(); ++i) {
    if (hasDashBefore(i) && *next++ != '-') return std::nullopt;
    const auto [end, error] = std::from_chars(next, next + 2, uuid.bytes[i], 16);
    if (error != std::errc() || end != next + 2) return std::nullopt;
    next = end;
  }
  return uuid;
}

std::string Uuid::string() const {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (hasDashBefore(i)) text += '-';
    text += digits[bytes[i] >> 4];
    text += digits[bytes[i] & 0x0F];
  }
  return text;
}

}  // namespace tolvane
