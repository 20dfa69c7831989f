#include "engine/AudioPathStatus.h"

#include <algorithm>
#include <array>

#include "engine/SampleRateReport.h"
#include "engine/StreamFormats.h"

namespace tolvane {
namespace {

using Kind = AudioPathStatus::Kind;

BilingualText levelsActive() {
  return bilingual(
      "Software volume or stereo balance is active. Set Volume to 100% and Balance to Center to bypass all app-level "
      "processing.");
}

AudioPathStatus bitPerfect(BilingualText detail) { return {Kind::bitPerfect, "BIT-PERFECT", std::move(detail)}; }
AudioPathStatus directPCM(BilingualText detail) { return {Kind::directPCM, "DIRECT PCM", std::move(detail)}; }
AudioPathStatus converted(BilingualText detail) { return {Kind::converted, "CONVERTED", std::move(detail)}; }

AudioPathStatus exclusiveAccessWithheld(const AudioPathFacts& facts) {
  return directPCM(
      facts.hogModeSupported
          ? bilingual("Sample rate and PCM format match with no app-level DSP, but Exclusive Access was requested and "
                      "another process or the driver retained shared access.")
          : bilingual("Sample rate and PCM format match with no app-level DSP, but Exclusive Access was requested and "
                      "the device does not expose exclusive access."));
}

/// What the device reports: conversions first, then processing, then alterations of unknown kind.
BilingualText alterationDetails(const AudioPathFacts& facts) {
  using enum SampleAlteration::Kind;
  BilingualText details;
  for (const auto kind : {converted, processed, unknown})
    for (const SampleAlteration& alteration : facts.alterations)
      if (alteration.kind == kind) details.add(alteration.detail);
  return details;
}

AudioPathStatus judgeRate(const AudioPathFacts& facts) {
  const BilingualText sourceRate = formatRate(facts.sourceRate);
  const BilingualText deviceRate = formatRate(facts.deviceRate());
  if (facts.isBluetooth)
    return converted(
        bilingual("Bluetooth output is running at {}; Core Audio converts the {} source before the wireless codec.",
                  deviceRate, sourceRate));
  return converted(
      bilingual("The track is {}, but the device reports {}. Core Audio sample-rate conversion may be active.",
                sourceRate, deviceRate));
}

AudioPathStatus judgeClientFormat(const AudioPathFacts& facts) {
  if (facts.isBluetooth)
    return converted(
        bilingual("Core Audio accepted a different client format before sending audio through the Bluetooth codec."));
  return converted(bilingual("AUHAL accepted a different client PCM format, so format conversion may be active."));
}

AudioPathStatus judgeAlterations(const AudioPathFacts& facts) {
  if (facts.alters(SampleAlteration::Kind::converted)) return converted(alterationDetails(facts));
  return {Kind::processed, "DSP ACTIVE", alterationDetails(facts)};
}

AudioPathStatus judgeConfirmed(const AudioPathFacts& facts) {
  const BilingualText sourceRate = formatRate(facts.sourceRate);
  if (!facts.exclusiveAccessEnabled)
    return bitPerfect(
        bilingual("{} and the device PCM format are confirmed with no app-level DSP. Exclusive Access is off, so "
                  "other apps may still mix audio into the device.",
                  sourceRate));
  return bitPerfect(bilingual(
      "Exclusive Access, {}, and the device PCM format are confirmed. No app-level DSP is active.", sourceRate));
}

BilingualText matchingRate(bool isExclusive, bool isFormatMissing) {
  if (isFormatMissing)
    return isExclusive ? bilingual(
                             "Exclusive Access is active and the sample rate matches, but the device does not "
                             "expose its physical stream format.")
                       : bilingual(
                             "Shared device access is active and the sample rate matches, but the device does "
                             "not expose its physical stream format.");
  return isExclusive ? bilingual(
                           "Exclusive Access is active and the sample rate matches, but not every stage on the "
                           "way to the device is known to keep the samples.")
                     : bilingual(
                           "Shared device access is active and the sample rate matches, but not every stage on "
                           "the way to the device is known to keep the samples.");
}

AudioPathStatus judgeUnknownPhysicalFormat(const AudioPathFacts& facts) {
  const BilingualText details = alterationDetails(facts);
  auto status = facts.exclusiveAccessEnabled && !facts.hogModeOwned
                    ? exclusiveAccessWithheld(facts)
                    : directPCM(matchingRate(facts.hogModeOwned, details.empty()));
  status.detail.add(details);
  return status;
}

AudioPathStatus judgeNarrowPhysicalFormat(const AudioPathFacts& facts) {
  const BilingualText details = alterationDetails(facts);
  auto status = converted(bilingual("The device stream is {}, which does not preserve the source format exactly.",
                                    formatDescription(*facts.physicalFormat)));
  status.detail.add(details);
  return status;
}

}  // namespace

AudioPathStatus AudioPathStatus::ready() {
  return {Kind::ready, "READY", bilingual("Choose a track to verify the output path.")};
}

AudioPathStatus AudioPathStatus::configuring() {
  return {Kind::configuring, "CHECKING", bilingual("Configuring the selected output device.")};
}

AudioPathStatus AudioPathStatus::failed(BilingualText detail) {
  return failed(AudioPlayerError::message(std::move(detail)));
}
AudioPathStatus AudioPathStatus::failed(const AudioPlayerError& error) {
  return {Kind::error, "PATH ERROR", error.errorDescription(), error.context()};
}

AudioPathStatus AudioPathStatus::applyingOutputLevels(const OutputLevels& levels, bool isBluetooth) const {
  if (levels.isNeutral()) return *this;
  AudioPathStatus processed{Kind::processed, "DSP ACTIVE", levelsActive()};
  switch (kind) {
    case Kind::ready:
    case Kind::configuring:
    case Kind::error:
      return *this;
    case Kind::converted:
      processed.kind = kind;
      processed.label = label;
      processed.detail.add(detail);
      return processed;
    case Kind::bitPerfect:
    case Kind::directPCM:
    case Kind::processed:
      break;
  }
  if (isBluetooth) processed.detail.add(bilingual("Bluetooth encoding also prevents end-to-end bit-perfect playback."));
  return processed;
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
          bilingual("PCM reaches Core Audio without app-level DSP, but Bluetooth encoding prevents end-to-end "
                    "bit-perfect playback."));
    case PathReason::lossy:
      return directPCM(
          bilingual("{} is decoded to PCM and sent without app-level DSP at {}. Lossy source data cannot be "
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
