// Every sentence in which an alteration is described, on the way through a sound server and in the placement of
// channels. tests/check_alterations.py sees to it that none is missing here.

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/PrintableText.h"
#include "platform/conversion/ChannelPlacement.h"
#include "tests/platform/pipewire/facts/NeutralPath.h"

namespace tolvane {
namespace {

using namespace test::path;
using Kind = SampleAlteration::Kind;

struct DetailRow {
  Kind kind;
  const char* detail;
  std::function<void(NeutralPath&)> change;
};

std::size_t sentencesIn(const std::string& text) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isMark = text[i] == '.' || text[i] == '!' || text[i] == '?';
    if (isMark && (i + 1 == text.size() || text[i + 1] == ' ')) ++count;
  }
  return count;
}

void expectFactAndCure(const std::string& detail) {
  EXPECT_EQ(sentencesIn(detail), 2U) << detail;
  EXPECT_EQ(printableText(detail), detail);
  const auto cure = detail.rfind(". ");
  ASSERT_NE(cure, std::string::npos) << detail;
  EXPECT_TRUE(Cure::isSentence(detail.substr(0, cure + 1))) << detail;
  EXPECT_TRUE(Cure::isSentence(detail.substr(cure + 2))) << detail;
}

auto setting(const char* name, const char* value) {
  return [=](NeutralPath& path) { path.sink().props.settings.emplace_back(name, value); };
}

NodeProps& ownProps(NeutralPath& path) { return *path.facts.ownStreams[ownNode].props; }

std::vector<DetailRow> ratesAndChannels() {
  return {
      {Kind::unknown, "The sound server has withdrawn this device. Connect it anew, or choose another device.",
       [](auto& path) { path.facts.sinks.clear(); }},
      {Kind::unknown,
       "The sound server reports that this device has failed (busy?[0m). Connect it anew, or choose another device.",
       [](auto& path) {
         path.sink().state = PipeWireSink::State::error;
         path.sink().error = "busy\x1B[0m";
       }},
      {Kind::unknown, "The sound server does not report the format that this device runs at. Play the track again.",
       [](auto& path) { path.sink().format.reset(); }},
      {Kind::converted,
       "The sound server resamples the track from 44.1 kHz to the device's 48 kHz. Turn on Exclusive Access, or choose "
       "a "
       "device that has the track's rate.",
       [](auto& path) { path.sink().format->rate = 48000; }},
      {Kind::unknown, "The sound server does not report the rate that it mixes at. Play the track again.",
       [](auto& path) { path.stream.graphRate = 0; }},
      {Kind::converted,
       "The sound server mixes at 48 kHz and resamples the 44.1 kHz track. Turn on Exclusive Access, or close the "
       "programs that keep the server at that rate.",
       [](auto& path) { path.stream.graphRate = 48000; }},
      {Kind::unknown, "The sound server does not report whose clock this device follows. Play the track again.",
       [](auto& path) { path.stream.clock = 0; }},
      {Kind::converted,
       "This device follows the clock of another device, so the sound server resamples. Unlink the player from the "
       "other "
       "device.",
       [](auto& path) { path.stream.clock = 55; }},
      {Kind::converted,
       "The sound server mixes the track's channels (MONO) into the device's (FL, FR). Choose a device or a card's "
       "profile that has the track's channels.",
       [](auto& path) { path.stream.positions = {MONO}; }},
      {Kind::unknown,
       "The sound server has not linked the player to this device. Choose this device for the player in the sound "
       "server's mixer.",
       [](auto& path) { path.facts.links.clear(); }},
      {Kind::converted,
       "A channel of the track is linked to another channel of the device, or to none. Play the track again to have "
       "its "
       "channels linked anew.",
       [](auto& path) { path.facts.links.erase(91); }},
      {Kind::unknown,
       "The device does not state which loudspeakers its 3 channels are for. Turn on Exclusive Access to use the order "
       "that the device's driver reports.",
       [](auto& path) {
         path = linked({FL, FR, FC}, {AUX0, AUX1, AUX2}, {{"FL", "AUX0"}, {"FR", "AUX1"}, {"FC", "AUX2"}});
       }},
      {Kind::unknown,
       "The sound server puts this device's channels in an unusual order (FR, FL). Turn on Exclusive Access to use the "
       "order that the device's driver reports.",
       [](auto& path) {
         path = openedAs("pci", "_ucm0001.hw:0", {FR, FL});
       }},
      {Kind::converted,
       "The sound server's settings put this device's channels in another order (FR, FL). Remove audio.position from "
       "its "
       "settings.",
       [](auto& path) {
         path = openedAs("pci", "front:0", {FR, FL});
       }},
      {Kind::unknown,
       "The sound server assumes which loudspeakers the device's 4 channels are for. Turn on Exclusive Access to use "
       "the "
       "order that the device's driver reports.",
       [](auto& path) {
         path = openedAs("usb", "hw:0", {FL, FR, RL, RR});
       }},
      {Kind::converted,
       "The sound server takes this device's channels for FL, RL, FR, RR, but its driver states FL, FR, RL, RR. Turn "
       "on "
       "Exclusive Access to use the order that the device's driver reports.",
       [](auto& path) {
         path = openedAs("usb", "hw:0", {FL, RL, FR, RR});
         path.stream.cardChannels = layoutOf({FL, FR, RL, RR});
       }},
  };
}

std::vector<DetailRow> levels() {
  return {
      {Kind::processed, "This device is muted in the sound server. Unmute it.",
       [](auto& path) { path.sink().props.isMuted = true; }},
      {Kind::unknown,
       "The sound server does not report the volume of this device. Turn on Exclusive Access, or choose another "
       "device.",
       [](auto& path) { path.sink().props.volumes.clear(); }},
      {Kind::processed,
       "The sound server plays this device at 40 % volume, so samples are altered. Set its volume to 100 %.",
       [](auto& path) {
         path.sink().props.volumes = {1, 0.064F};
       }},
      {Kind::processed,
       "The sound server scales the samples to 80 % although this device's volume is 100 %. Set the volume anew.",
       [](auto& path) {
         path.sink().props.softVolumes = {1, 0.512F};
       }},
      {Kind::processed, "The card's mixer is at -23.8 dB although the sound server shows 100 %. Set the mixer to 0 dB.",
       [](auto& path) { path.stream.mixerDecibels = -23.8; }},
      {Kind::processed, "The player's stream is muted in the sound server's mixer. Unmute it.",
       [](auto& path) { path.stream.isMuted = true; }},
      {Kind::unknown,
       "The sound server does not report the volume of the player's stream. Turn on Exclusive Access, or play the "
       "track "
       "again.",
       [](auto& path) { path.stream.volumes.clear(); }},
      {Kind::processed,
       "The player's stream is at 50 % in the sound server's mixer, so samples are altered. Set it to 100 %.",
       [](auto& path) {
         path.stream.volumes = {1, 0.125F, 1};
       }},
      {Kind::processed, "The sound server mutes the player's stream. Unmute the player in the sound server's mixer.",
       [](auto& path) { ownProps(path).isSoftMuted = true; }},
      {Kind::processed,
       "The sound server scales the samples of the player's stream to 50 %. Set the player's volume in the sound "
       "server's "
       "mixer anew.",
       [](auto& path) { ownProps(path).softVolumes = {0.125F}; }},
      {Kind::processed,
       "Another program plays on this device, so the sound server mixes both. Stop the other program, or turn on "
       "Exclusive Access.",
       [](auto& path) {
         path.facts.links[92] = {ownNode + 1, sinkId, true, 81, 41};
       }},
  };
}

std::vector<DetailRow> settingsOfNodes() {
  return {
      {Kind::unknown,
       "The sound server does not report the settings of the player's stream. Turn on Exclusive Access, or play the "
       "track "
       "again.",
       [](auto& path) { path.facts.ownStreams.clear(); }},
      {Kind::unknown,
       "The sound server does not report the settings of the player's stream. Turn on Exclusive Access to play without "
       "the sound server.",
       [](auto& path) { ownProps(path).settings.clear(); }},
      {Kind::unknown,
       "The sound server's report of the settings of this device cannot be read. Turn on Exclusive Access to play "
       "without "
       "the sound server.",
       [](auto& path) { path.sink().props.isReadable = false; }},
      {Kind::converted,
       "The sound server plays this device at 1.0001 times its speed, so it resamples. Turn on Exclusive Access to "
       "play "
       "without the sound server.",
       [](auto& path) { path.sink().props.rate = 1.0001; }},
      {Kind::unknown,
       "The sound server has a setting for this device that the player does not know: a?b. Turn on Exclusive Access to "
       "play without the sound server.",
       setting("a\x9B"
               "b",
               "")},
      {Kind::unknown,
       "The sound server has a setting for this device that the player cannot read: channelmix.max-volume is "
       "\"loud??\". "
       "Remove the setting.",
       setting("channelmix.max-volume", "loud\r\n")},
      {Kind::processed,
       "The sound server keeps the level of this device below 0.5 (channelmix.max-volume), so samples are altered. Set "
       "channelmix.max-volume to 1 or more.",
       setting("channelmix.max-volume", "0.5")},
      {Kind::processed,
       "The sound server keeps the level of this device above 2 (channelmix.min-volume), so samples are altered. Set "
       "channelmix.min-volume to 0.",
       setting("channelmix.min-volume", "2")},
      {Kind::processed,
       "The sound server dithers the samples of this device (dither.noise is 1). Set dither.noise to 0.",
       setting("dither.noise", "1")},
      {Kind::processed,
       "The sound server dithers the samples of this device (dither.method is rectangular). Set dither.method to none.",
       setting("dither.method", "rectangular")},
      {Kind::processed,
       "The sound server filters the samples of this device (audioconvert.filter-graph.0). Remove the filter from its "
       "settings.",
       setting("audioconvert.filter-graph.0", "{}")},
      {Kind::unknown,
       "A rule of the sound server asks for a filter on this device (audioconvert.filter-graph). Remove the rule.",
       [](auto& path) { path.sink().filterProperty = "audioconvert.filter-graph"; }},
  };
}

std::vector<DetailRow> pathsToTheCard() {
  return {
      {Kind::unknown,
       "It is a virtual device of the sound server, which may process samples before they reach any hardware. Choose "
       "the "
       "hardware itself.",
       [](auto& path) {
         path.sink().alsaCard.reset();
         path.sink().alsaPath.clear();
       }},
      {Kind::unknown,
       "The sound server does not report how it opens the card. Turn on Exclusive Access to play to the card directly.",
       [](auto& path) { path.sink().alsaPath.clear(); }},
      {Kind::unknown,
       "The sound server plays to \"front:7\", which is another card than it states. Choose another profile of the "
       "card.",
       [](auto& path) { path.sink().alsaPath = "front:7"; }},
      {Kind::unknown,
       "The sound server plays to \"half:0\" of the system's sound library, which may alter samples. Choose another "
       "profile of the card.",
       [](auto& path) { path.sink().alsaPath = "half:0"; }},
      {Kind::converted,
       "The system's sound library moves channels on the way to the card (surround21:0). Choose another profile of the "
       "card.",
       [](auto& path) { path.sink().alsaPath = "surround21:0"; }},
      {Kind::converted,
       "The system's sound library encodes the samples for the card (a52:0). Choose another profile of the card.",
       [](auto& path) { path.sink().alsaPath = "a52:0"; }},
  };
}

TEST(AlterationDetails, OfTheSoundServerNameStageValueAndCure) {
  int rows = 0;
  for (const auto& table : {ratesAndChannels(), levels(), settingsOfNodes(), pathsToTheCard()}) {
    for (const DetailRow& row : table) {
      NeutralPath path;
      row.change(path);
      const auto found = path.alterations();
      ++rows;
      ASSERT_EQ(found.size(), 1U) << row.detail << ": " << detailsOf(found);
      EXPECT_EQ(found[0].kind, row.kind) << row.detail;
      EXPECT_EQ(found[0].detail, row.detail);
      expectFactAndCure(found[0].detail);
    }
  }
  EXPECT_EQ(rows, 45);
}

TEST(AlterationDetails, OfChannelsNameThemAndACure) {
  using enum ChannelPosition;
  struct Case {
    ChannelLayout track;
    ChannelLayout device;
    const char* detail;
  };
  const ChannelLayout wave51 = layoutOfMask(0x3F, 6);
  const ChannelLayout withoutCentre{{frontLeft, frontRight, lowFrequency, topCentre, rearLeft, rearRight}};
  int cases = 0;
  for (const Case& row :
       {Case{wave51, usualLayout(2),
             "The track's 6 channels are mixed down to the device's 2. Choose a device that has as many channels."},
        Case{wave51, withoutCentre,
             "The track has a centre channel, but the device has no loudspeaker for it. Choose a device that has one."},
        Case{
            layoutOfMask(0x107, 4), layoutOfMask(0x33, 4),
            "The device has no loudspeakers for 2 channels of the track: centre, rear centre. Choose a device that has "
            "them."},
        Case{usualLayout(6), wave51,
             "The track does not state which loudspeakers its 6 channels are meant for. Save it in a format that does, "
             "such as FLAC."},
        Case{wave51, unknownLayout(6),
             "The device does not state which loudspeakers its 6 channels are for. Choose a device whose driver states "
             "them."}}) {
    const auto found = placementAlteration(row.track, row.device);
    ++cases;
    ASSERT_TRUE(found) << row.detail;
    EXPECT_EQ(found->detail, row.detail);
    expectFactAndCure(found->detail);
  }
  EXPECT_EQ(cases, 5);
}

TEST(AlterationDetails, AreOfABoundedLengthWhateverTheServerSays) {
  NeutralPath path;
  path.sink().alsaPath = std::string(100'000, 'x');
  const auto found = path.alterations();
  ASSERT_EQ(found.size(), 1U);
  EXPECT_LT(found[0].detail.size(), 500U);
  EXPECT_TRUE(found[0].detail.ends_with("\xE2\x80\xA6 Choose another profile of the card.")) << found[0].detail;
}

static_assert(Cure::isSentence("Unmute it."));
static_assert(Cure::isSentence("Set channelmix.max-volume to 1 or more."));
static_assert(!Cure::isSentence("unmute it."));
static_assert(!Cure::isSentence("Unmute it"));
static_assert(!Cure::isSentence("Unmute it.."));
static_assert(!Cure::isSentence("It is muted. Unmute it."));
static_assert(!Cure::isSentence("Unmute\nit."));
static_assert(!Cure::isSentence("."));
static_assert(!Cure::isSentence(""));

}  // namespace
}  // namespace tolvane
