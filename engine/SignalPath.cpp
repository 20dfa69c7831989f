#include "engine/SignalPath.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "engine/PlainWords.h"
#include "engine/StreamFormats.h"

namespace tolvane {
namespace {

using Stage = PathStage::Kind;
using Condition = PathStage::Condition;

constexpr std::uint32_t usualChannels = 2;

/// Appends a part to a text, with a separator.
void append(std::string& text, std::string_view part, std::string_view separator = " ") {
  if (part.empty()) return;
  if (!text.empty()) text += separator;
  text += part;
}

std::string channelsText(std::uint32_t channels) {
  return channels == usualChannels ? std::string() : fmt::format("{} ch", channels);
}

/// "24-bit", "32-bit float"
std::string bitsText(std::uint32_t bits, bool isFloat) {
  return bits == 0 ? std::string() : fmt::format("{}-bit{}", bits, isFloat ? " float" : "");
}

std::string rateText(double hertz) { return hertz > 0 ? formatRate(hertz) : "rate not known"; }

PathStage fileStage(const AudioPathFacts& facts, const PathDescription& description) {
  PathStage stage{.kind = Stage::file, .value = facts.sourceLabel, .source = "the file's header"};
  append(stage.value, bitsText(description.sourceBits, description.sourceIsFloat));
  append(stage.value, rateText(facts.sourceRate));
  append(stage.value, channelsText(description.channels), ", ");
  if (facts.isLossless) {
    stage.meaning = "Lossless: reading the file gives back every sample that was stored in it.";
  } else {
    stage.condition = Condition::altered;
    stage.meaning = fmt::format(
        "{} is a lossy format: its encoder left out part of the recording, and no player can bring that back.",
        facts.sourceLabel.empty() ? "This" : facts.sourceLabel);
  }
  if (description.cut) append(stage.meaning, plainCut(*description.cut));
  return stage;
}

std::string_view levelsValue(const OutputLevels& levels) {
  if (levels.balance == 0) return "volume applied";
  return levels.volume == 1 ? "balance applied" : "volume and balance applied";
}

PathStage playerStage(const AudioPathFacts& facts, const PathDescription& description) {
  PathStage stage{.kind = Stage::player,
                  .value = "untouched",
                  .source = "the player's own settings, and the format that its output unit accepted"};
  if (!facts.clientFormatMatches) {
    stage.condition = Condition::altered;
    stage.value = "converted";
    stage.meaning = "The output took another format than the track's, so the samples may be computed anew.";
  }
  if (!description.levels.isNeutral()) {
    stage.condition = Condition::altered;
    stage.value = levelsValue(description.levels);
    append(stage.meaning,
           "Each sample is multiplied by the player's own volume and balance. Set Volume to 100% and Balance to Center "
           "to pass the samples on as they are.");
  }
  if (stage.condition == Condition::unaltered)
    stage.meaning = "The player changes nothing: volume and balance are neutral, and nothing is computed anew.";
  return stage;
}

std::string routeSource(const PathDescription& description) {
  if (!description.soundServer.empty())
    return fmt::format("{}: properties of its sink, its links and the player's stream", description.soundServer);
  if (!description.driver.empty())
    return fmt::format("the kernel: the card as its driver {} has set it up", description.driver);
  return "the device's own properties";
}

/// Adds everything that may keep the route from passing the samples on, the most severe first. The stage's value names
/// only the first.
void addObstacles(PathStage& stage, const AudioPathFacts& facts) {
  bool isNamed = false;
  const auto add = [&](Condition condition, std::string_view value, std::string_view meaning) {
    if (stage.condition != Condition::altered) stage.condition = condition;
    if (!std::exchange(isNamed, true)) append(stage.value, value, ", ");
    append(stage.meaning, meaning);
  };
  using enum SampleAlteration::Kind;
  if (!facts.ratesMatch()) {
    if (facts.deviceRate() > 0 && facts.sourceRate > 0)
      add(Condition::altered, "resampled",
          fmt::format("The device runs at {}, so other samples are computed from the track's {}.",
                      formatRate(facts.deviceRate()), formatRate(facts.sourceRate)));
    else
      add(Condition::unknown, "", "At which rate the device runs is not known, so the samples may be computed anew.");
  }
  if (facts.alters(converted)) add(Condition::altered, "converted", "");
  if (facts.alters(processed)) add(Condition::altered, "processed", "");
  if (facts.alters(unknown)) add(Condition::unknown, "not all known", "");
  for (const auto kind : {converted, processed, unknown})
    for (const SampleAlteration& alteration : facts.alterations)
      if (alteration.kind == kind) append(stage.meaning, alteration.detail);
  if (facts.exclusiveAccessEnabled && !facts.hogModeOwned)
    add(Condition::unknown, "not exclusive",
        facts.hogModeSupported ? "Exclusive Access was asked for and not given, so another program may be mixed in."
                               : "Exclusive Access was asked for, and this device does not offer it.");
}

PathStage routeStage(const AudioPathFacts& facts, const PathDescription& description) {
  PathStage stage{
      .kind = Stage::route,
      .value = fmt::format("{}, {}", facts.hogModeOwned ? "exclusive" : "shared", rateText(facts.deviceRate())),
      .source = routeSource(description)};
  addObstacles(stage, facts);
  if (stage.condition == Condition::unaltered)
    stage.meaning = facts.hogModeOwned
                        ? "Only this player can play on the device, and nothing on the way changes a sample."
                        : "Nothing on the way changes a sample. Other programs may play on this device too, and would "
                          "be mixed in.";
  return stage;
}

PathStage deviceStage(const AudioPathFacts& facts, const PathDescription& description) {
  PathStage stage{.kind = Stage::device};
  stage.source = description.formatSource.empty() ? "the format that the device reports"
                                                  : "the kernel: " + description.formatSource;
  if (facts.physicalFormat) {
    const AudioStreamBasicDescription& format = *facts.physicalFormat;
    stage.value = bitsText(format.mBitsPerChannel, format.isFloat());
    append(stage.value, rateText(format.mSampleRate));
    append(stage.value, channelsText(format.mChannelsPerFrame), ", ");
    const std::string taken = bitsText(format.mBitsPerChannel, format.isFloat());
    stage.meaning = description.sourceBits == 0
                        ? fmt::format("The device takes {} samples.", taken)
                        : fmt::format("The device takes {} samples and the track has {}, so it has room for every bit.",
                                      taken, bitsText(description.sourceBits, description.sourceIsFloat));
    if (!facts.physicalFormatCompatible) {
      stage.condition = Condition::altered;
      stage.meaning = fmt::format("The device takes {}, and cannot hold this track's samples as they are.",
                                  formatDescription(format));
    }
  } else {
    stage.condition = Condition::unknown;
    stage.value = "format not known";
    stage.source = "nowhere: neither the kernel nor the device states all of it";
    stage.meaning =
        "In which format the device takes the samples is not known, so it cannot be said that it keeps them.";
  }
  if (facts.isBluetooth) {
    stage.condition = Condition::altered;
    append(stage.meaning, "Bluetooth sends sound through a lossy codec: what is heard is not what the file holds.");
  }
  append(stage.value, description.deviceName, " · ");
  return stage;
}

std::optional<Stage> stageOf(PathReason reason) {
  switch (reason) {
    case PathReason::lossy:
      return Stage::file;
    case PathReason::levels:
    case PathReason::clientFormat:
      return Stage::player;
    case PathReason::rate:
    case PathReason::alteration:
    case PathReason::withheld:
    case PathReason::unknownAlteration:
      return Stage::route;
    case PathReason::bluetooth:
    case PathReason::narrowFormat:
    case PathReason::unknownFormat:
      return Stage::device;
    case PathReason::none:
      break;
  }
  return std::nullopt;
}

}  // namespace

bool SignalPath::isUnaltered() const {
  return !stages.empty() &&
         std::ranges::all_of(
             stages, [](Condition condition) { return condition == Condition::unaltered; }, &PathStage::condition);
}

SignalPath signalPath(const AudioPathFacts& facts, const PathDescription& description) {
  return {{fileStage(facts, description), playerStage(facts, description), routeStage(facts, description),
           deviceStage(facts, description)},
          stageOf(decidingReason(facts, description.levels)),
          description.deviceName,
          description.soundServer,
          description.driver,
          description.cut};
}

std::string chainText(const SignalPath& path) {
  std::string text;
  for (const PathStage& stage : path.stages) append(text, stage.value, " → ");
  return text;
}

std::string_view stageTitle(PathStage::Kind kind) {
  constexpr std::array<std::string_view, everyPathStage.size()> titles{"File", "Player", "Route", "Device"};
  return titles.at(static_cast<std::size_t>(kind));
}

std::string_view conditionText(PathStage::Condition condition) {
  constexpr std::array<std::string_view, 3> texts{"unaltered", "altered", "not known"};
  return texts.at(static_cast<std::size_t>(condition));
}

}  // namespace tolvane
