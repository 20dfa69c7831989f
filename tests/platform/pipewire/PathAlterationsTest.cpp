#include "platform/pipewire/PathAlterations.h"

#include <gmock/gmock.h>

#include <functional>
#include <limits>
#include <utility>

namespace tolvane {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using enum SampleAlteration::Kind;
using Kind = SampleAlteration::Kind;

constexpr std::uint32_t sinkId = 40;
constexpr std::uint32_t ownNode = 70;

/// A stream at 44.1 kHz that nothing alters, and its sink.
struct NeutralPath {
  PipeWireFacts facts;
  PipeWireStreamFacts stream;

  NeutralPath() {
    PipeWireSink& sink = facts.sinks[sinkId];
    sink.state = PipeWireSink::State::running;
    sink.format = PipeWireFormat{44100, 2, {3, 4}};
    sink.volumes = {1, 1};
    facts.ports = {{71, {ownNode, "FL"}}, {72, {ownNode, "FR"}}, {41, {sinkId, "FL"}}, {42, {sinkId, "FR"}}};
    facts.links[90] = {ownNode, sinkId, true, 71, 41};
    facts.links[91] = {ownNode, sinkId, true, 72, 42};
    stream = {ownNode, 44100, 44100, {3, 4}, {1, 1, 1}, false, sinkId, std::nullopt};
  }
  PipeWireSink& sink() { return facts.sinks[sinkId]; }
  [[nodiscard]] std::vector<SampleAlteration> alterations() const { return alterationsOf(facts, sinkId, stream); }
};

struct Row {
  Kind kind;
  const char* words;
  std::function<void(NeutralPath&)> change;
};

/// Each makes one alteration of one stage, which is the only one that is found.
void expectEach(const std::vector<Row>& rows) {
  ASSERT_FALSE(rows.empty());
  for (const Row& row : rows) {
    NeutralPath path;
    row.change(path);
    const auto found = path.alterations();
    ASSERT_EQ(found.size(), 1U) << row.words << ": " << detailsOf(found);
    EXPECT_EQ(found[0].kind, row.kind) << row.words;
    EXPECT_THAT(found[0].detail, HasSubstr(row.words));
    EXPECT_TRUE(found[0].detail.ends_with('.')) << found[0].detail;
  }
}

TEST(PathAlterations, AreNoneOnANeutralPath) { EXPECT_THAT(NeutralPath().alterations(), IsEmpty()); }

TEST(PathAlterations, NameASinkThatHasGoneOrFailed) {
  expectEach({{unknown, "withdrawn this device", [](auto& path) { path.facts.sinks.clear(); }},
              {unknown, "has failed: busy.", [](auto& path) {
                 path.sink().state = PipeWireSink::State::error;
                 path.sink().error = "busy";
               }}});
}

TEST(PathAlterations, NameBothRatesOfAResampler) {
  expectEach({
      {unknown, "format that this device runs at", [](auto& path) { path.sink().format.reset(); }},
      {converted, "resamples the track from 44.1 kHz to the device's 48 kHz",
       [](auto& path) { path.sink().format->rate = 48000; }},
      {converted, "mixes at 48 kHz and resamples the 44.1 kHz track",
       [](auto& path) { path.stream.graphRate = 48000; }},
      {unknown, "rate that it mixes at", [](auto& path) { path.stream.graphRate = 0; }},
      {converted, "follows the clock of another device", [](auto& path) { path.stream.clock = 55; }},
      {unknown, "whose clock this device follows", [](auto& path) { path.stream.clock = 0; }},
  });
}

TEST(PathAlterations, NameChannelsThatAreMixedOrMissing) {
  const char* const crosswise = "linked to another channel";
  expectEach({
      {converted, "mixes the track's 1 channels into the device's 2", [](auto& path) { path.stream.positions = {2}; }},
      {unknown, "not linked the player",
       [](auto& path) {
         for (auto& [id, link] : path.facts.links) link.isActive = false;
       }},
      {unknown, "not linked the player",
       [](auto& path) {
         for (auto& [id, link] : path.facts.links) link.inputNode = sinkId + 1;
       }},
      {converted, crosswise,
       [](auto& path) { std::swap(path.facts.links[90].inputPort, path.facts.links[91].inputPort); }},
      {converted, crosswise, [](auto& path) { path.facts.links[91].inputPort = 41; }},
      {converted, crosswise, [](auto& path) { path.facts.links.erase(91); }},
      {converted, crosswise, [](auto& path) { path.facts.links[91].isActive = false; }},
      {converted, crosswise, [](auto& path) { path.facts.links[92] = path.facts.links[91]; }},
      {converted, crosswise,
       [](auto& path) {
         path.facts.links[92] = {ownNode, sinkId, true, 71, 42};
       }},
      {converted, crosswise, [](auto& path) { path.facts.ports.erase(42); }},
  });
}

TEST(PathAlterations, NameTheSinksLevelAndItsCure) {
  expectEach({
      {processed, "This device is muted", [](auto& path) { path.sink().isMuted = true; }},
      {processed, "This device is muted", [](auto& path) { path.sink().isSoftMuted = true; }},
      {unknown, "the volume of this device", [](auto& path) { path.sink().volumes.clear(); }},
      {processed, "The sound server plays this device at 40 % volume, so samples are altered. Set its volume to 100 %.",
       [](auto& path) {
         path.sink().volumes = {1, 0.064F};
       }},
      {processed, "at 50 % volume", [](auto& path) { path.sink().volume = 0.125F; }},
      {processed, "at 150 % volume",
       [](auto& path) {
         path.sink().volumes = {3.375F, 3.375F};
       }},
      {processed, "scales the samples to 80 %",
       [](auto& path) {
         path.sink().softVolumes = {1, 0.512F};
       }},
      {processed, "dithers", [](auto& path) { path.sink().isDithered = true; }},
      {processed, "mixer is at -23.8 dB", [](auto& path) { path.stream.mixerDecibels = -23.8; }},
      {processed, "mixer is at 6.0 dB", [](auto& path) { path.stream.mixerDecibels = 6; }},
      {processed, "mixer is at -inf dB",
       [](auto& path) { path.stream.mixerDecibels = -std::numeric_limits<double>::infinity(); }},
  });
}

TEST(PathAlterations, NameTheStreamsOwnLevel) {
  expectEach({{processed, "The player's stream is muted", [](auto& path) { path.stream.isMuted = true; }},
              {processed, "The player's stream is at 99.7 %",
               [](auto& path) {
                 path.stream.volumes = {1, 0.99F, 1};
               }},
              {unknown, "volume of the player's stream", [](auto& path) { path.stream.volumes.clear(); }}});
}

TEST(PathAlterations, NameAnotherProgramOnTheSink) {
  expectEach({{processed, "Another program plays on this device", [](auto& path) {
                 path.facts.links[92] = {ownNode + 1, sinkId, true, 81, 41};
               }}});
}

TEST(PathAlterations, AreAllGiven) {
  NeutralPath path;
  path.sink().isMuted = true;
  path.stream.graphRate = 48000;
  path.stream.volumes.clear();
  std::vector<Kind> kinds;
  for (const SampleAlteration& alteration : path.alterations()) kinds.push_back(alteration.kind);
  EXPECT_THAT(kinds, testing::UnorderedElementsAre(processed, converted, unknown));
}

TEST(PathAlterations, AreNoneWhereTheServersOwnVolumesAreFull) {
  NeutralPath path;
  path.sink().softVolumes = {1, 1};
  EXPECT_THAT(path.alterations(), IsEmpty());
}

TEST(PathAlterations, AreNoneWhereTheCardsMixerIsFull) {
  NeutralPath path;
  for (const double decibels : {0.0, -0.04, 0.04}) {
    path.stream.mixerDecibels = decibels;
    EXPECT_THAT(path.alterations(), IsEmpty()) << decibels;
  }
}

TEST(PathAlterations, AreNotAnotherProgramThatPausesOrPlaysElsewhere) {
  NeutralPath path;
  path.facts.links[92] = {ownNode + 1, sinkId, false, 81, 41};
  path.facts.links[93] = {ownNode + 2, sinkId + 1, true, 82, 43};
  EXPECT_THAT(path.alterations(), IsEmpty());
}

TEST(VolumePercent, IsWhatVolumeControlsShowAndNeverAHundred) {
  EXPECT_EQ(volumePercent(0.064F), "40 %");
  EXPECT_EQ(volumePercent(0), "0 %");
  EXPECT_EQ(volumePercent(0.9999F), "99.997 %");
  EXPECT_EQ(volumePercent(std::nextafter(1.0F, 0.0F)), "nearly 100 %");
  EXPECT_EQ(volumePercent(1.01F), "100.3 %");
}

}  // namespace
}  // namespace tolvane
