#pragma once
// Every combination of the facts that the rows of the verdict depend on.

#include <optional>
#include <vector>

#include "engine/AudioPathStatus.h"

namespace tolvane {

constexpr auto physical24 = linearPCM(44100, 2, 24, 4, kAudioFormatFlagIsSignedInteger);

/// What a device says of its rates, and how the sentences name the one it runs at.
struct Rates {
  double nominal;
  double actual;
  bool match;
  const char* device;
};

constexpr Rates everyRates[] = {{44100, 44100, true, "44.1 kHz"},
                                {44100, 0, true, "44.1 kHz"},
                                {48000, 48000, false, "48 kHz"},
                                {44100, 96000, false, "96 kHz"},
                                {0, 0, false, "an unknown rate"}};

/// One combination of these facts.
struct Circumstances {
  Rates rates;
  bool isBluetooth, clientMatches, isLossless, formatIsKnown, formatCarries, isExclusive, isOwned, isSupported,
      isConverted, isProcessed, isObscured;

  [[nodiscard]] std::vector<SampleAlteration> alterations() const {
    std::vector<SampleAlteration> all;
    if (isObscured) all.push_back({SampleAlteration::Kind::unknown, "U.", "Undo."_cure});
    if (isProcessed) all.push_back({SampleAlteration::Kind::processed, "P.", "Undo."_cure});
    if (isConverted) all.push_back({SampleAlteration::Kind::converted, "C.", "Undo."_cure});
    return all;
  }

  [[nodiscard]] AudioPathFacts facts() const {
    return {.isBluetooth = isBluetooth,
            .sourceRate = 44100,
            .nominalRate = rates.nominal,
            .actualRate = rates.actual,
            .clientFormatMatches = clientMatches,
            .isLossless = isLossless,
            .sourceLabel = isLossless ? "FLAC" : "MP3",
            .physicalFormat = formatIsKnown ? std::optional(physical24) : std::nullopt,
            .physicalFormatCompatible = formatCarries,
            .alterations = alterations(),
            .exclusiveAccessEnabled = isExclusive,
            .hogModeSupported = isSupported,
            .hogModeOwned = isOwned};
  }
};

inline std::vector<Circumstances> everyCombination() {
  std::vector<Circumstances> all;
  constexpr unsigned switches = 11;
  for (const Rates& rates : everyRates)
    for (unsigned bits = 0; bits < 1U << switches; ++bits) {
      const auto is = [bits](unsigned number) { return (bits >> number & 1U) != 0; };
      all.push_back({rates, is(0), is(1), is(2), is(3), is(4), is(5), is(6), is(7), is(8), is(9), is(10)});
    }
  return all;
}

}  // namespace tolvane
