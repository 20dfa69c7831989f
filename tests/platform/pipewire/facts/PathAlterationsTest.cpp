#include "platform/pipewire/facts/PathAlterations.h"

#include <gmock/gmock.h>

#include <functional>
#include <limits>
#include <utility>

#include "platform/pipewire/facts/ChannelNumbers.h"
#include "tests/platform/pipewire/facts/NeutralPath.h"

namespace tolvane {
namespace {

using namespace test::path;
using testing::HasSubstr;
using testing::IsEmpty;
using enum SampleAlteration::Kind;
using Kind = SampleAlteration::Kind;

struct AlterationRow {
  Kind kind;
  const char* words;
  std::function<void(NeutralPath&)> change;
};

/// Each makes one alteration of one stage, which is the only one that is found.
void expectEach(const std::vector<AlterationRow>& rows) {
  ASSERT_FALSE(rows.empty());
  for (const AlterationRow& row : rows) {
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
              {unknown, "has failed (busy).", [](auto& path) {
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
      {converted,
       "mixes the track's channels (MONO) into the device's (FL, FR). Choose a device or a card's "
       "profile that has the track's channels.",
       [](auto& path) { path.stream.positions = {2}; }},
      {converted, "mixes the track's channels (FL, FR) into the device's (without names)",
       [](auto& path) { path.sink().format->positions.clear(); }},
      {converted, "into the device's (FL, FL)",
       [](auto& path) {
         path.sink().format->positions = {3, 3};
       }},
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
      {processed, "This device is muted", [](auto& path) { path.sink().props.isMuted = true; }},
      {processed, "This device is muted", [](auto& path) { path.sink().props.isSoftMuted = true; }},
      {unknown, "the volume of this device", [](auto& path) { path.sink().props.volumes.clear(); }},
      {processed, "The sound server plays this device at 40 % volume, so samples are altered. Set its volume to 100 %.",
       [](auto& path) {
         path.sink().props.volumes = {1, 0.064F};
       }},
      {processed, "at 50 % volume", [](auto& path) { path.sink().props.volume = 0.125F; }},
      {processed, "at 150 % volume",
       [](auto& path) {
         path.sink().props.volumes = {3.375F, 3.375F};
       }},
      {processed, "scales the samples to 80 %",
       [](auto& path) {
         path.sink().props.softVolumes = {1, 0.512F};
       }},
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

TEST(PathAlterations, NameTheSettingsOfBothNodes) {
  const auto set = [](NodeProps& props, const char* name, const char* value) {
    props.settings.emplace_back(name, value);
  };
  expectEach({
      {processed, "filters the samples of this device (audioconvert.filter-graph.0)",
       [&](auto& path) { set(path.sink().props, "audioconvert.filter-graph.0", "{}"); }},
      {processed, "filters the samples of the player's stream",
       [&](auto& path) { set(*path.facts.ownStreams[ownNode].props, "audioconvert.filter-graph", "{}"); }},
      {processed, "filters the samples of this device (half:Mult)",
       [&](auto& path) {
         path.sink().filterProperty = "audioconvert.filter-graph";
         set(path.sink().props, "half:Mult", "0.5");
       }},
      {processed, "the level of this device below 0.5",
       [&](auto& path) { set(path.sink().props, "channelmix.max-volume", "0.5"); }},
      {processed, "the level of the player's stream above 2",
       [&](auto& path) { set(*path.facts.ownStreams[ownNode].props, "channelmix.min-volume", "2"); }},
      {unknown, "does not know: quantum.blender",
       [&](auto& path) { set(path.sink().props, "quantum.blender", "off"); }},
      {unknown, "the player's stream that the player does not know: quantum.blender",
       [&](auto& path) { set(*path.facts.ownStreams[ownNode].props, "quantum.blender", "off"); }},
      {unknown, "property 0x1001f", [](auto& path) { path.sink().props.unknownKeys = {0x1001F}; }},
      {unknown, "cannot be read", [](auto& path) { path.sink().props.isReadable = false; }},
      {unknown, "asks for a filter on this device (audioconvert.filter-graph)",
       [](auto& path) { path.sink().filterProperty = "audioconvert.filter-graph"; }},
      {unknown, "asks for a filter on the player's stream",
       [](auto& path) { path.facts.ownStreams[ownNode].filterProperty = "audioconvert.filter-graph"; }},
      {unknown, "settings of the player's stream", [](auto& path) { path.facts.ownStreams.clear(); }},
      {unknown, "settings of the player's stream", [](auto& path) { path.facts.ownStreams[ownNode].props.reset(); }},
      {unknown, "settings of the player's stream",
       [](auto& path) { path.facts.ownStreams[ownNode].props->settings.clear(); }},
      {unknown, "settings of this device", [](auto& path) { path.sink().props.settings.clear(); }},
      {processed, "mutes the player's stream",
       [](auto& path) { path.facts.ownStreams[ownNode].props->isSoftMuted = true; }},
      {processed, "the player's stream to 50 %",
       [](auto& path) {
         path.facts.ownStreams[ownNode].props->softVolumes = {0.125F, 0.125F};
       }},
  });
}

TEST(PathAlterations, NameWhatLiesBetweenTheSinkAndTheCard) {
  expectEach({
      {unknown, "virtual device of the sound server",
       [](auto& path) {
         path.sink().alsaCard.reset();
         path.sink().alsaPath.clear();
       }},
      {unknown, "does not report how it opens the card", [](auto& path) { path.sink().alsaPath.clear(); }},
      {unknown, "plays to \"half:0\" of the system's sound library",
       [](auto& path) { path.sink().alsaPath = "half:0"; }},
      {converted, "moves channels on the way to the card (surround21:0)",
       [](auto& path) { path.sink().alsaPath = "surround21:0"; }},
      {unknown, "plays to \"hw:1,0\", which is another card", [](auto& path) { path.sink().alsaPath = "hw:1,0"; }},
      {converted, "encodes the samples for the card (a52:0)", [](auto& path) { path.sink().alsaPath = "a52:0"; }},
  });
}

TEST(PathAlterations, SayOfAVirtualSinkNothingButThatItIsOne) {
  const std::vector<std::function<void(NeutralPath&)>> changes{
      [](auto&) {}, [](auto& path) { path.stream.clock = 55; },
      [](auto& path) { path.sink().format->positions.clear(); }};
  for (std::size_t i = 0; i < changes.size(); ++i) {
    NeutralPath path;
    path.sink().alsaCard.reset();
    path.sink().alsaPath.clear();
    changes[i](path);
    const auto found = path.alterations();
    ASSERT_EQ(found.size(), 1U) << i << ": " << detailsOf(found);
    EXPECT_EQ(found[0].kind, unknown);
    EXPECT_THAT(found[0].detail, testing::StartsWith("It is a virtual device of the sound server"));
  }
  NeutralPath mono;
  mono.sink().alsaCard.reset();
  mono.sink().alsaPath.clear();
  mono.sink().format->channels = 1;
  mono.sink().format->positions.clear();
  EXPECT_EQ(mono.alterations().size(), 2U) << "two channels are mixed into one";
}

TEST(PathAlterations, NameAnotherProgramOnTheSink) {
  expectEach({{processed, "Another program plays on this device", [](auto& path) {
                 path.facts.links[92] = {ownNode + 1, sinkId, true, 81, 41};
               }}});
}

TEST(PathAlterations, AreAllGiven) {
  NeutralPath path;
  path.sink().props.isMuted = true;
  path.stream.graphRate = 48000;
  path.stream.volumes.clear();
  std::vector<Kind> kinds;
  for (const SampleAlteration& alteration : path.alterations()) kinds.push_back(alteration.kind);
  EXPECT_THAT(kinds, testing::UnorderedElementsAre(processed, converted, unknown));
}

TEST(PathAlterations, AreNoneWhereTheServersOwnVolumesAreFull) {
  NeutralPath path;
  path.sink().props.softVolumes = {1, 1};
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
