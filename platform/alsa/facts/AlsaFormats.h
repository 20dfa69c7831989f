#pragma once
// The sample formats of ALSA that the adapter uses, and what each means. Pure tables for any thread.

#include <alsa/asoundlib.h>

#include <optional>
#include <span>
#include <string_view>

#include "platform/conversion/PcmLayout.h"

namespace tolvane {

struct AlsaFormat {
  snd_pcm_format_t format;
  std::string_view name;  ///< as hw_params in /proc spells it
  PcmLayout layout;
};

/// In no particular order. Does not contain formats without linear PCM (DSD, IEC 958 frames).
[[nodiscard]] std::span<const AlsaFormat> alsaFormats();

[[nodiscard]] std::optional<snd_pcm_format_t> alsaFormatFor(const PcmLayout& layout);
/// The format's name as hw_params in /proc spells it.
[[nodiscard]] std::optional<std::string_view> alsaFormatName(const PcmLayout& layout);
[[nodiscard]] std::optional<PcmLayout> layoutOfAlsaFormat(std::string_view name);

/// The layout of a container of which the hardware uses `significantBits`; a full 32-bit container with 24 of them is
/// 24 bits, aligned high. 0, a number beyond the container, and any number for a float stand for all its bits.
[[nodiscard]] PcmLayout physicalLayout(const PcmLayout& container, int significantBits);

}  // namespace tolvane
