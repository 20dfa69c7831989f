#pragma once
// What the system's sound library does to samples on its way to a card, judged by the name that a sink's PCM is opened
// by. Pure functions on text.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace tolvane {

enum class AlsaPath : std::uint8_t {
  direct,    ///< the card's own PCM; a volume in front of it is one of the card's mixer controls
  rerouted,  ///< channels go to other channels, or more of them
  encoded,   ///< AC-3 or DTS
  unknown
};

/// Names of PCMs that come from the programs of a card's configuration are preceded by "_ucm0001.".
[[nodiscard]] constexpr std::string_view withoutUcmPrefix(std::string_view path) {
  constexpr std::string_view prefix = "_ucm";
  if (!path.starts_with(prefix)) return path;
  const auto dot = path.find('.');
  if (dot == std::string_view::npos || dot == prefix.size()) return path;
  for (const char digit : path.substr(prefix.size(), dot - prefix.size())) {
    const bool isHexadecimal =
        (digit >= '0' && digit <= '9') || (digit >= 'a' && digit <= 'f') || (digit >= 'A' && digit <= 'F');
    if (!isHexadecimal) return path;
  }
  return path.substr(dot + 1);
}

/// `path`: "front:1", the node's api.alsa.path.
[[nodiscard]] constexpr AlsaPath alsaPathOf(std::string_view path) {
  const std::string_view plain = withoutUcmPrefix(path);
  const auto colon = plain.find(':');
  if (colon == std::string_view::npos || colon + 1 == plain.size()) return AlsaPath::unknown;
  const std::string_view name = plain.substr(0, colon);
  if (name == "hw") return AlsaPath::direct;
  if (plain.size() != path.size()) return AlsaPath::unknown;  // the configuration has a name of its own for something
  for (const std::string_view known : {"front", "hdmi", "iec958", "surround40", "surround51", "surround71"})
    if (name == known) return AlsaPath::direct;
  for (const std::string_view known : {"surround21", "surround41", "surround50"})
    if (name == known) return AlsaPath::rerouted;
  for (const std::string_view known : {"a52", "dca", "dcahdmi"})
    if (name == known) return AlsaPath::encoded;
  return AlsaPath::unknown;
}

/// The number of the card in a name such as "hw:1,0"; nothing where there is a name in its place ("hw:DAC").
[[nodiscard]] std::optional<int> cardInAlsaPath(std::string_view path);

inline constexpr std::array<std::string_view, 8> surroundOrder{"FL", "FR", "RL", "RR", "FC", "LFE", "SL", "SR"};
inline constexpr std::array<std::string_view, 3> surround21Order{"FL", "FR", "LFE"};
inline constexpr std::array<std::string_view, 5> surround41Order{"FL", "FR", "RL", "RR", "LFE"};

/// The loudspeakers that the channels of a PCM of so many are for by its name, first channel first: alsa-lib's order,
/// and for two channels left and right of whatever goes to a card. Empty where the name stands for no order, and for
/// one channel, which has none. Behind "hdmi" the driver chooses the loudspeakers by what the receiver has.
[[nodiscard]] constexpr std::span<const std::string_view> channelOrderOf(std::string_view path, std::size_t channels) {
  const AlsaPath kind = alsaPathOf(path);
  if (kind != AlsaPath::direct && kind != AlsaPath::rerouted) return {};
  const std::span<const std::string_view> all = surroundOrder;
  if (channels == 2) return all.first(2);
  const std::string_view name = path.substr(0, path.find(':'));
  if (name == "surround21" && channels == 3) return surround21Order;
  if (name == "surround41" && channels == 5) return surround41Order;
  const bool isWhole = (name == "surround40" && channels == 4) || (name == "surround50" && channels == 5) ||
                       (name == "surround51" && channels == 6) || (name == "surround71" && channels == 8);
  return isWhole ? all.first(channels) : std::span<const std::string_view>();
}

}  // namespace tolvane
