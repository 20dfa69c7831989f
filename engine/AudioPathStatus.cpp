#include "engine/AudioPathStatus.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "engine/SampleRateReport.h"
#include "engine/StreamFormats.h"

namespace tolvane {
namespace {

using Kind = AudioPathStatus::Kind;

constexpr std::string_view levelsActive =
    "Software volume or stereo balance is active. Set Volume to 100% and Balance to Center to bypass all app-level "
    "processing.";

AudioPathStatus bitPerfect(std::string detail) { return {Kind::bitPerfect, "BIT-PERFECT", std::move(detail)}; }
AudioPathStatus directPCM(std::string detail) { return {Kind::directPCM, "DIRECT PCM", std::move(detail)}; }
AudioPathStatus converted(std::string detail) { return {Kind::converted, "CONVERTED", std::move(detail)}; }

AudioPathStatus exclusiveAccessWithheld(const AudioPathFacts& facts) {
  return directPCM(
      fmt::format("Sample rate and PCM format match with no app-level DSP, but Exclusive Access was requested and {}.",
                  facts.hogModeSupported ? "another process or the driver retained shared access"
                                         : "the device does not expose exclusive access"));
}

AudioPathStatus judgeBluetooth(const AudioPathFacts& facts, bool ratesMatch, const std::string& sourceRate,
                               const std::string& deviceRate) {
  if (!ratesMatch)
    return converted(
        fmt::format("Bluetooth output is running at {}; Core Audio converts the {} source before the wireless codec.",
                    deviceRate, sourceRate));
  if (facts.clientFormatMatches)
    return directPCM(
        "PCM reaches Core Audio without app-level DSP, but Bluetooth encoding prevents end-to-end bit-perfect "
        "playback.");
  return converted("Core Audio accepted a different client format before sending audio through the Bluetooth codec.");
}

bool alters(const AudioPathFacts& facts, SampleAlteration::Kind kind) {
  return std::ranges::find(facts.alterations, kind, &SampleAlteration::kind) != facts.alterations.end();
}

/// What the device reports, conversion before processing before what is not known.
std::string alterationDetails(const AudioPathFacts& facts) {
  using enum SampleAlteration::Kind;
  std::string details;
  for (const auto kind : {converted, processed, unknown})
    for (const SampleAlteration& alteration : facts.alterations)
      if (alteration.kind == kind) details += fmt::format("{}{}", details.empty() ? "" : " ", alteration.detail);
  return details;
}

AudioPathStatus judgeUnknownPhysicalFormat(const AudioPathFacts& facts) {
  const std::string details = alterationDetails(facts);
  auto status = facts.exclusiveAccessEnabled && !facts.hogModeOwned
                    ? exclusiveAccessWithheld(facts)
                    : directPCM(fmt::format(
                          "{} and the sample rate matches, but {}.",
                          facts.hogModeOwned ? "Exclusive Access is active" : "Shared device access is active",
                          details.empty() ? "the device does not expose its physical stream format"
                                          : "not every stage on the way to the device is known to keep the samples"));
  if (!details.empty()) status.detail += " " + details;
  return status;
}

AudioPathStatus judgeNarrowPhysicalFormat(const AudioPathFacts& facts) {
  const std::string details = alterationDetails(facts);
  return converted(fmt::format("The device stream is {}, which does not preserve the source format exactly.{}{}",
                               formatDescription(*facts.physicalFormat), details.empty() ? "" : " ", details));
}

}  // namespace

AudioPathStatus AudioPathStatus::ready() { return {Kind::ready, "READY", "Choose a track to verify the output path."}; }

AudioPathStatus AudioPathStatus::configuring() {
  return {Kind::configuring, "CHECKING", "Configuring the selected output device."};
}

AudioPathStatus AudioPathStatus::failed(std::string detail) { return {Kind::error, "PATH ERROR", std::move(detail)}; }

AudioPathStatus AudioPathStatus::applyingOutputLevels(const OutputLevels& levels, bool isBluetooth) const {
  if (levels.isNeutral()) return *this;
  switch (kind) {
    case Kind::ready:
    case Kind::configuring:
    case Kind::error:
      return *this;
    case Kind::converted:
      return {kind, label, fmt::format("{} {}", levelsActive, detail)};
    case Kind::bitPerfect:
    case Kind::directPCM:
    case Kind::processed:
      break;
  }
  return {Kind::processed, "DSP ACTIVE",
          fmt::format("{}{}", levelsActive,
                      isBluetooth ? " Bluetooth encoding also prevents end-to-end bit-perfect playback." : "")};
}

std::string_view kindName(AudioPathStatus::Kind kind) {
  constexpr std::array<std::string_view, 7> names{"ready",     "configuring", "bitPerfect", "directPCM",
                                                  "processed", "converted",   "error"};
  return names.at(static_cast<std::size_t>(kind));
}

AudioPathStatus judgeAudioPath(const AudioPathFacts& facts) {
  const bool ratesMatch =
      SampleRateReport{
          .requestedRate = facts.sourceRate, .nominalRate = facts.nominalRate, .actualRate = facts.actualRate}
          .isMatched();
  const std::string sourceRate = formatRate(facts.sourceRate);
  const std::string deviceRate = formatRate(facts.actualRate > 0 ? facts.actualRate : facts.nominalRate);

  if (facts.isBluetooth) return judgeBluetooth(facts, ratesMatch, sourceRate, deviceRate);
  if (!ratesMatch)
    return converted(
        fmt::format("The track is {}, but the device reports {}. Core Audio sample-rate conversion may be active.",
                    sourceRate, deviceRate));
  if (!facts.clientFormatMatches)
    return converted("AUHAL accepted a different client PCM format, so format conversion may be active.");
  if (!facts.isLossless)
    return directPCM(
        fmt::format("{} is decoded to PCM and sent without app-level DSP at {}. Lossy source data cannot be "
                    "bit-perfect.",
                    facts.sourceLabel, sourceRate));
  if (alters(facts, SampleAlteration::Kind::converted)) return converted(alterationDetails(facts));
  if (alters(facts, SampleAlteration::Kind::processed))
    return {Kind::processed, "DSP ACTIVE", alterationDetails(facts)};
  if (facts.physicalFormat && !facts.physicalFormatCompatible) return judgeNarrowPhysicalFormat(facts);
  if (!facts.physicalFormat || !facts.alterations.empty()) return judgeUnknownPhysicalFormat(facts);
  if (!facts.exclusiveAccessEnabled)
    return bitPerfect(
        fmt::format("{} and the device PCM format are confirmed with no app-level DSP. Exclusive Access is off, so "
                    "other apps may still mix audio into the device.",
                    sourceRate));
  if (!facts.hogModeOwned) return exclusiveAccessWithheld(facts);
  return bitPerfect(fmt::format(
      "Exclusive Access, {}, and the device PCM format are confirmed. No app-level DSP is active.", sourceRate));
}

}  // namespace tolvane
