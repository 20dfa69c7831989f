#include "engine/SignalPath.h"

#include <algorithm>
#include <utility>

#include "engine/PlainWords.h"
#include "engine/StreamFormats.h"

namespace tolvane {
namespace {

using Stage = PathStage::Kind;
using Condition = PathStage::Condition;

constexpr std::uint32_t usualChannels = 2;

BilingualText channelsText(std::uint32_t channels) {
  return channels == usualChannels ? BilingualText() : bilingual("{} ch", channels);
}

/// "24-bit", "32-bit float"
BilingualText bitsText(std::uint32_t bits, bool isFloat) {
  if (bits == 0) return {};
  return isFloat ? bilingual("{}-bit float", bits) : bilingual("{}-bit", bits);
}

BilingualText rateText(double hertz) { return hertz > 0 ? formatRate(hertz) : bilingual("rate not known"); }

PathStage fileStage(const AudioPathFacts& facts, const PathDescription& description) {
  PathStage stage{.kind = Stage::file, .value = facts.sourceLabel, .source = bilingual("the file's header")};
  stage.value.add(bitsText(description.sourceBits, description.sourceIsFloat));
  stage.value.add(rateText(facts.sourceRate));
  stage.value.add(channelsText(description.channels), ", ");
  if (facts.isLossless) {
    stage.meaning = bilingual("Lossless: reading the file gives back every sample that was stored in it.");
  } else {
    stage.condition = Condition::altered;
    stage.meaning =
        facts.sourceLabel.empty()
            ? bilingual(
                  "This is a lossy format: its encoder left out part of the recording, and no player can bring that "
                  "back.")
            : bilingual(
                  "{} is a lossy format: its encoder left out part of the recording, and no player can bring that "
                  "back.",
                  facts.sourceLabel);
  }
  if (description.cut) stage.meaning.add(plainCut(*description.cut));
  return stage;
}

BilingualText levelsValue(const OutputLevels& levels) {
  if (levels.balance == 0) return bilingual("volume applied");
  return levels.volume == 1 ? bilingual("balance applied") : bilingual("volume and balance applied");
}

PathStage playerStage(const AudioPathFacts& facts, const PathDescription& description) {
  PathStage stage{.kind = Stage::player,
                  .value = bilingual("untouched"),
                  .source = bilingual("the player's own settings, and the format that its output unit accepted")};
  if (!facts.clientFormatMatches) {
    stage.condition = Condition::altered;
    stage.value = bilingual("converted");
    stage.meaning = bilingual("The output took another format than the track's, so the samples may be computed anew.");
  }
  if (!description.levels.isNeutral()) {
    stage.condition = Condition::altered;
    stage.value = levelsValue(description.levels);
    stage.meaning.add(bilingual(
        "Each sample is multiplied by the player's own volume and balance. Set Volume to 100% and Balance to Center "
        "to pass the samples on as they are."));
  }
  if (stage.condition == Condition::unaltered)
    stage.meaning =
        bilingual("The player changes nothing: volume and balance are neutral, and nothing is computed anew.");
  return stage;
}

BilingualText routeSource(const PathDescription& description) {
  if (!description.soundServer.empty())
    return bilingual("{}: properties of its sink, its links and the player's stream", description.soundServer);
  if (!description.driver.empty())
    return bilingual("the kernel: the card as its driver {} has set it up", description.driver);
  return bilingual("the device's own properties");
}

/// Adds everything that may keep the route from passing the samples on, the most severe first. The stage's value names
/// only the first.
void addObstacles(PathStage& stage, const AudioPathFacts& facts) {
  bool isNamed = false;
  const auto add = [&](Condition condition, const BilingualText& value, const BilingualText& meaning) {
    if (stage.condition != Condition::altered) stage.condition = condition;
    if (!std::exchange(isNamed, true)) stage.value.add(value, ", ");
    stage.meaning.add(meaning);
  };
  using enum SampleAlteration::Kind;
  if (!facts.ratesMatch()) {
    if (facts.deviceRate() > 0 && facts.sourceRate > 0)
      add(Condition::altered, bilingual("resampled"),
          bilingual("The device runs at {}, so other samples are computed from the track's {}.",
                    formatRate(facts.deviceRate()), formatRate(facts.sourceRate)));
    else
      add(Condition::unknown, {},
          bilingual("At which rate the device runs is not known, so the samples may be computed anew."));
  }
  if (facts.alters(converted)) add(Condition::altered, bilingual("converted"), {});
  if (facts.alters(processed)) add(Condition::altered, bilingual("processed"), {});
  if (facts.alters(unknown)) add(Condition::unknown, bilingual("not all known"), {});
  for (const auto kind : {converted, processed, unknown})
    for (const SampleAlteration& alteration : facts.alterations)
      if (alteration.kind == kind) stage.meaning.add(alteration.detail);
  if (facts.exclusiveAccessEnabled && !facts.hogModeOwned)
    add(Condition::unknown, bilingual("not exclusive"),
        facts.hogModeSupported
            ? bilingual("Exclusive Access was asked for and not given, so another program may be mixed in.")
            : bilingual("Exclusive Access was asked for, and this device does not offer it."));
}

PathStage routeStage(const AudioPathFacts& facts, const PathDescription& description) {
  PathStage stage{.kind = Stage::route,
                  .value = facts.hogModeOwned ? bilingual("exclusive") : bilingual("shared"),
                  .source = routeSource(description)};
  stage.value.add(rateText(facts.deviceRate()), ", ");
  addObstacles(stage, facts);
  if (stage.condition == Condition::unaltered)
    stage.meaning = facts.hogModeOwned
                        ? bilingual("Only this player can play on the device, and nothing on the way changes a sample.")
                        : bilingual(
                              "Nothing on the way changes a sample. Other programs may play on this device too, "
                              "and would be mixed in.");
  return stage;
}

PathStage deviceStage(const AudioPathFacts& facts, const PathDescription& description) {
  PathStage stage{.kind = Stage::device};
  stage.source = description.formatSource.empty() ? bilingual("the format that the device reports")
                                                  : bilingual("the kernel: {}", description.formatSource);
  if (facts.physicalFormat) {
    const AudioStreamBasicDescription& format = *facts.physicalFormat;
    stage.value = bitsText(format.mBitsPerChannel, format.isFloat());
    stage.value.add(rateText(format.mSampleRate));
    stage.value.add(channelsText(format.mChannelsPerFrame), ", ");
    const BilingualText taken = bitsText(format.mBitsPerChannel, format.isFloat());
    stage.meaning = description.sourceBits == 0
                        ? bilingual("The device takes {} samples.", taken)
                        : bilingual("The device takes {} samples and the track has {}, so it has room for every bit.",
                                    taken, bitsText(description.sourceBits, description.sourceIsFloat));
    if (!facts.physicalFormatCompatible) {
      stage.condition = Condition::altered;
      stage.meaning = bilingual("The device takes {}, and cannot hold this track's samples as they are.",
                                formatDescription(format));
    }
  } else {
    stage.condition = Condition::unknown;
    stage.value = bilingual("format not known");
    stage.source = bilingual("nowhere: neither the kernel nor the device states all of it");
    stage.meaning = bilingual(
        "In which format the device takes the samples is not known, so it cannot be said that it keeps them.");
  }
  if (facts.isBluetooth) {
    stage.condition = Condition::altered;
    stage.meaning.add(
        bilingual("Bluetooth sends sound through a lossy codec: what is heard is not what the file holds."));
  }
  stage.value.add(description.deviceName, " · ");
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

BilingualText chainText(const SignalPath& path) {
  BilingualText text;
  for (const PathStage& stage : path.stages) text.add(stage.value, " → ");
  return text;
}

std::string_view stageTitle(PathStage::Kind kind) {
  constexpr std::array<std::string_view, everyPathStage.size()> titles{toTranslate("File"), toTranslate("Player"),
                                                                       toTranslate("Route"), toTranslate("Device")};
  return titles.at(static_cast<std::size_t>(kind));
}

std::string_view conditionText(PathStage::Condition condition) {
  constexpr std::array<std::string_view, 3> texts{toTranslate("unaltered"), toTranslate("altered"),
                                                  toTranslate("not known")};
  return texts.at(static_cast<std::size_t>(condition));
}

}  // namespace tolvane
