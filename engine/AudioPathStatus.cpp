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

/// What the device reports: conversions first, then processing, then alterations of unknown kind.
std::string alterationDetails(const AudioPathFacts& facts) {
  using enum SampleAlteration::Kind;
  std::string details;
  for (const auto kind : {converted, processed, unknown})
    for (const SampleAlteration& alteration : facts.alterations)
      if (alteration.kind == kind) details += fmt::format("{}{}", details.empty() ? "" : " ", alteration.detail);
  return details;
}

AudioPathStatus judgeRate(const AudioPathFacts& facts) {
  const std::string sourceRate = formatRate(facts.sourceRate);
  const std::string deviceRate = formatRate(facts.deviceRate());
  if (facts.isBluetooth)
    return converted(
        fmt::format("Bluetooth output is running at {}; Core Audio converts the {} source before the wireless codec.",
                    deviceRate, sourceRate));
  return converted(
      fmt::format("The track is {}, but the device reports {}. Core Audio sample-rate conversion may be active.",
                  sourceRate, deviceRate));
}

AudioPathStatus judgeClientFormat(const AudioPathFacts& facts) {
  if (facts.isBluetooth)
    return converted("Core Audio accepted a different client format before sending audio through the Bluetooth codec.");
  return converted("AUHAL accepted a different client PCM format, so format conversion may be active.");
}

AudioPathStatus judgeAlterations(const AudioPathFacts& facts) {
  if (facts.alters(SampleAlteration::Kind::converted)) return converted(alterationDetails(facts));
  return {Kind::processed, "DSP ACTIVE", alterationDetails(facts)};
}

AudioPathStatus judgeConfirmed(const AudioPathFacts& facts) {
  const std::string sourceRate = formatRate(facts.sourceRate);
  if (!facts.exclusiveAccessEnabled)
    return bitPerfect(
        fmt::format("{} and the device PCM format are confirmed with no app-level DSP. Exclusive Access is off, so "
                    "other apps may still mix audio into the device.",
                    sourceRate));
  return bitPerfect(fmt::format(
      "Exclusive Access, {}, and the device PCM format are confirmed. No app-level DSP is active.", sourceRate));
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

AudioPathStatus AudioPathStatus::failed(std::string detail) {
  return failed(AudioPlayerError::message(std::move(detail)));
}
AudioPathStatus AudioPathStatus::failed(const AudioPlayerError& error) {
  return {Kind::error, "PATH ERROR", error.errorDescription(), error.context()};
}

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

bool AudioPathFacts::ratesMatch() const {
  return SampleRateReport{.requestedRate = sourceRate, .nominalRate = nominalRate, .actualRate = actualRate}
      .isMatched();
}

bool AudioPathFacts::alters(SampleAlteration::Kind kind) const {
  return std::ranges::find(alterations, kind, &SampleAlteration::kind) != alterations.end();
}

PathReason decidingReason(const AudioPathFacts& facts, const OutputLevels& levels) {
  if (!levels.isNeutral()) return PathReason::levels;
  if (!facts.ratesMatch()) return PathReason::rate;
  if (!facts.clientFormatMatches) return PathReason::clientFormat;
  if (facts.isBluetooth) return PathReason::bluetooth;
  if (!facts.isLossless) return PathReason::lossy;
  if (facts.alters(SampleAlteration::Kind::converted) || facts.alters(SampleAlteration::Kind::processed))
    return PathReason::alteration;
  if (facts.physicalFormat && !facts.physicalFormatCompatible) return PathReason::narrowFormat;
  if (facts.exclusiveAccessEnabled && !facts.hogModeOwned) return PathReason::withheld;
  if (!facts.alterations.empty()) return PathReason::unknownAlteration;
  return facts.physicalFormat ? PathReason::none : PathReason::unknownFormat;
}

AudioPathStatus judgeAudioPath(const AudioPathFacts& facts) {
  switch (decidingReason(facts)) {
    case PathReason::rate:
      return judgeRate(facts);
    case PathReason::clientFormat:
      return judgeClientFormat(facts);
    case PathReason::bluetooth:
      return directPCM(
          "PCM reaches Core Audio without app-level DSP, but Bluetooth encoding prevents end-to-end bit-perfect "
          "playback.");
    case PathReason::lossy:
      return directPCM(
          fmt::format("{} is decoded to PCM and sent without app-level DSP at {}. Lossy source data cannot be "
                      "bit-perfect.",
                      facts.sourceLabel, formatRate(facts.sourceRate)));
    case PathReason::alteration:
      return judgeAlterations(facts);
    case PathReason::narrowFormat:
      return judgeNarrowPhysicalFormat(facts);
    case PathReason::withheld:
      if (facts.physicalFormat && facts.alterations.empty()) return exclusiveAccessWithheld(facts);
      return judgeUnknownPhysicalFormat(facts);
    case PathReason::unknownAlteration:
    case PathReason::unknownFormat:
      return judgeUnknownPhysicalFormat(facts);
    case PathReason::levels:
    case PathReason::none:
      break;
  }
  return judgeConfirmed(facts);
}

}  // namespace tolvane
