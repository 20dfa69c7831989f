#include "platform/alsa/facts/AlsaFormats.h"

#include <algorithm>
#include <array>

namespace tolvane {
namespace {

constexpr auto unsignedKind = PcmLayout::Kind::unsignedInteger;

const std::array<AlsaFormat, 28>& table() {
  static const std::array<AlsaFormat, 28> formats{{
      {SND_PCM_FORMAT_S8, "S8", integerLayout(8, 1)},
      {SND_PCM_FORMAT_U8, "U8", integerLayout(8, 1, false, false, unsignedKind)},
      {SND_PCM_FORMAT_S16_LE, "S16_LE", integerLayout(16, 2)},
      {SND_PCM_FORMAT_S16_BE, "S16_BE", integerLayout(16, 2, true)},
      {SND_PCM_FORMAT_U16_LE, "U16_LE", integerLayout(16, 2, false, false, unsignedKind)},
      {SND_PCM_FORMAT_U16_BE, "U16_BE", integerLayout(16, 2, true, false, unsignedKind)},
      {SND_PCM_FORMAT_S18_3LE, "S18_3LE", integerLayout(18, 3)},
      {SND_PCM_FORMAT_S18_3BE, "S18_3BE", integerLayout(18, 3, true)},
      {SND_PCM_FORMAT_S20_LE, "S20_LE", integerLayout(20, 4)},
      {SND_PCM_FORMAT_S20_BE, "S20_BE", integerLayout(20, 4, true)},
      {SND_PCM_FORMAT_S20_3LE, "S20_3LE", integerLayout(20, 3)},
      {SND_PCM_FORMAT_S20_3BE, "S20_3BE", integerLayout(20, 3, true)},
      {SND_PCM_FORMAT_S24_LE, "S24_LE", integerLayout(24, 4)},
      {SND_PCM_FORMAT_S24_BE, "S24_BE", integerLayout(24, 4, true)},
      {SND_PCM_FORMAT_U24_LE, "U24_LE", integerLayout(24, 4, false, false, unsignedKind)},
      {SND_PCM_FORMAT_U24_BE, "U24_BE", integerLayout(24, 4, true, false, unsignedKind)},
      {SND_PCM_FORMAT_S24_3LE, "S24_3LE", integerLayout(24, 3)},
      {SND_PCM_FORMAT_S24_3BE, "S24_3BE", integerLayout(24, 3, true)},
      {SND_PCM_FORMAT_U24_3LE, "U24_3LE", integerLayout(24, 3, false, false, unsignedKind)},
      {SND_PCM_FORMAT_U24_3BE, "U24_3BE", integerLayout(24, 3, true, false, unsignedKind)},
      {SND_PCM_FORMAT_S32_LE, "S32_LE", integerLayout(32, 4)},
      {SND_PCM_FORMAT_S32_BE, "S32_BE", integerLayout(32, 4, true)},
      {SND_PCM_FORMAT_U32_LE, "U32_LE", integerLayout(32, 4, false, false, unsignedKind)},
      {SND_PCM_FORMAT_U32_BE, "U32_BE", integerLayout(32, 4, true, false, unsignedKind)},
      {SND_PCM_FORMAT_FLOAT_LE, "FLOAT_LE", floatLayout(4)},
      {SND_PCM_FORMAT_FLOAT_BE, "FLOAT_BE", floatLayout(4, true)},
      {SND_PCM_FORMAT_FLOAT64_LE, "FLOAT64_LE", floatLayout(8)},
      {SND_PCM_FORMAT_FLOAT64_BE, "FLOAT64_BE", floatLayout(8, true)},
  }};
  return formats;
}

}  // namespace

std::span<const AlsaFormat> alsaFormats() { return table(); }

std::optional<snd_pcm_format_t> alsaFormatFor(const PcmLayout& layout) {
  const auto found = std::ranges::find(table(), layout, &AlsaFormat::layout);
  if (found == table().end()) return std::nullopt;
  return found->format;
}

std::optional<std::string_view> alsaFormatName(const PcmLayout& layout) {
  const auto found = std::ranges::find(table(), layout, &AlsaFormat::layout);
  if (found == table().end()) return std::nullopt;
  return found->name;
}

std::optional<PcmLayout> layoutOfAlsaFormat(std::string_view name) {
  const auto found = std::ranges::find(table(), name, &AlsaFormat::name);
  if (found == table().end()) return std::nullopt;
  return found->layout;
}

PcmLayout physicalLayout(const PcmLayout& container, int significantBits) {
  if (container.isFloat() || significantBits <= 0 || significantBits >= container.bits) return container;
  // ALSA counts significant bits from the most significant end of the sample. In a full container they are its top;
  // where the container has padding above already, their place below it is not expressible, and the count is reported.
  PcmLayout physical = container;
  physical.bits = static_cast<std::uint8_t>(significantBits);
  physical.alignedHigh = container.bits == container.bytes * 8;
  return physical;
}

}  // namespace tolvane
