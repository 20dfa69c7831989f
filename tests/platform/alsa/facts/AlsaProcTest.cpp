#include "platform/alsa/facts/AlsaProc.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

constexpr const char* hwParamsText =
    "access: MMAP_INTERLEAVED\n"
    "format: S24_3LE\n"
    "subformat: STD\n"
    "channels: 2\n"
    "rate: 96000 (96000/1)\n"
    "period_size: 4096\n"
    "buffer_size: 16384\n";

constexpr const char* runningText =
    "state: RUNNING\n"
    "owner_pid   : 1583\n"
    "trigger_time: 596.309319251\n"
    "tstamp      : 0.000000000\n"
    "delay       : 20976\n"
    "avail       : 3744\n"
    "avail_max   : 18000\n"
    "-----\n"
    "hw_ptr      : 51744\n"
    "appl_ptr    : 72000\n";

TEST(AlsaProc, ReadsWhatAConfiguredSubstreamIsSetTo) {
  const auto params = parseHwParams(hwParamsText);
  ASSERT_TRUE(params);
  EXPECT_EQ(params->format, "S24_3LE");
  EXPECT_EQ(params->channels, 2U);
  EXPECT_EQ(params->rate, 96000);
}

TEST(AlsaProc, TakesTheRateFromTheExactFraction) {
  const auto rateOf = [](const std::string& rate) {
    const auto params = parseHwParams("format: S16_LE\nchannels: 2\nrate: " + rate + "\n");
    return params ? params->rate : -1;
  };
  EXPECT_DOUBLE_EQ(rateOf("44099 (12348000/280)"), 44100);
  EXPECT_DOUBLE_EQ(rateOf("47999 (1228799/25)"), 49151.96);
  EXPECT_DOUBLE_EQ(rateOf("44100"), 44100);
  EXPECT_DOUBLE_EQ(rateOf("44100 (44100/0)"), 44100);
  EXPECT_DOUBLE_EQ(rateOf("44100 (what)"), 44100);
  EXPECT_DOUBLE_EQ(rateOf("0 (0/1)"), -1);
  EXPECT_DOUBLE_EQ(rateOf("fast"), -1);
}

TEST(AlsaProc, KnowsNothingOfASubstreamThatIsNotConfigured) {
  for (const char* text : {"closed\n", "no setup\n", "", "\n\n", "format: S16_LE\n", "format: S16_LE\nchannels: 2\n",
                           "format: S16_LE\nchannels: 0\nrate: 44100 (44100/1)\n",
                           "channels: 2\nrate: 44100 (44100/1)\n", "format:\nchannels: 2\nrate: 44100 (44100/1)\n"}) {
    EXPECT_FALSE(parseHwParams(text)) << text;
  }
}

TEST(AlsaProc, ReadsStateAndOwnerOfASubstream) {
  const auto running = parseStreamStatus(runningText);
  ASSERT_TRUE(running);
  EXPECT_EQ(running->state, AlsaStreamState::running);
  EXPECT_EQ(running->ownerThread, 1583);
  const auto closed = parseStreamStatus("closed\n");
  ASSERT_TRUE(closed);
  EXPECT_EQ(closed->state, AlsaStreamState::closed);
  EXPECT_EQ(closed->ownerThread, 0);
  EXPECT_FALSE(parseStreamStatus(""));
  EXPECT_FALSE(parseStreamStatus("owner_pid   : 12\n"));
}

TEST(AlsaProc, KnowsEveryStateThatMatters) {
  using enum AlsaStreamState;
  const std::pair<const char*, AlsaStreamState> table[] = {
      {"OPEN", open},         {"SETUP", setup},   {"PREPARED", prepared},  {"RUNNING", running}, {"XRUN", xrun},
      {"DRAINING", draining}, {"PAUSED", paused}, {"DISCONNECTED", other}, {"SUSPENDED", other}};
  for (const auto& [name, state] : table) {
    const auto status = parseStreamStatus("state: " + std::string(name) + "\nowner_pid   : 1\n");
    ASSERT_TRUE(status) << name;
    EXPECT_EQ(status->state, state) << name;
  }
}

TEST(AlsaProc, FindsTheProcessOfAThread) {
  EXPECT_EQ(parseThreadGroup("Name:\tplayer\nUmask:\t0022\nState:\tS (sleeping)\nTgid:\t671\nNgid:\t0\nPid:\t672\n"),
            671);
  EXPECT_EQ(parseThreadGroup("Pid:\t672\nNStgid:\t671\n"), std::nullopt);
  EXPECT_EQ(parseThreadGroup("Tgid:\t\n"), std::nullopt);
  EXPECT_EQ(parseThreadGroup("Tgid:\t0\n"), std::nullopt);
  EXPECT_EQ(parseThreadGroup(""), std::nullopt);
}

/// A made-up /proc with one card.
class AlsaProcTree : public testing::Test {
 protected:
  AlsaProcTree() {
    paths_.asound = root_ + "/asound";
    paths_.processes = root_ + "/processes";
  }

  void write(const std::string& path, const std::string& text) { folder_.write(path.substr(1), text); }

  test::TemporaryFolder folder_;
  const std::string root_ = folder_.path().string();
  AlsaPaths paths_;
};

TEST_F(AlsaProcTree, ListsEverySubstreamWithItsOwnersProcess) {
  write("/asound/card1/pcm3p/sub0/status", "closed\n");
  write("/asound/card1/pcm3p/sub0/hw_params", "closed\n");
  write("/asound/card1/pcm3p/sub1/status", runningText);
  write("/asound/card1/pcm3p/sub1/hw_params", hwParamsText);
  write("/asound/card1/pcm3p/sub2/status", "state: OPEN\nowner_pid   : 99\n");
  write("/asound/card1/pcm3p/sub2/hw_params", "no setup\n");
  write("/processes/1583/status", "Tgid:\t1500\n");
  const auto substreams = readSubstreams(paths_, 1, 3);
  ASSERT_EQ(substreams.size(), 3U);
  EXPECT_EQ(substreams[0].status.state, AlsaStreamState::closed);
  EXPECT_EQ(substreams[0].ownerProcess, 0);
  EXPECT_EQ(substreams[1].index, 1U);
  EXPECT_EQ(substreams[1].ownerProcess, 1500);
  ASSERT_TRUE(substreams[1].hwParams);
  EXPECT_EQ(substreams[1].hwParams->format, "S24_3LE");
  EXPECT_EQ(substreams[2].ownerProcess, 99) << "a thread that has ended is taken for its process";
  EXPECT_FALSE(substreams[2].hwParams);
}

TEST_F(AlsaProcTree, HasNoSubstreamsWhereThereIsNoCard) { EXPECT_TRUE(readSubstreams(paths_, 0, 0).empty()); }

TEST_F(AlsaProcTree, ReadsASmallFileWhole) {
  const std::string text(10'000, 'x');
  write("/asound/version", text);
  EXPECT_EQ(readSmallFile(root_ + "/asound/version"), text);
  EXPECT_EQ(readSmallFile(root_ + "/asound/nothing"), std::nullopt);
  EXPECT_EQ(readSmallFile(root_ + "/asound"), std::nullopt);
}

TEST(HdaCodec, ReadsTheBitsThatEveryOutputConverterHas) {
  const char* codec =
      "Codec: Generic\n"
      "Node 0x02 [Audio Output] wcaps 0x41d: Stereo Amp-Out\n"
      "  PCM:\n"
      "    rates [0x560]: 44100 48000 96000 192000\n"
      "    bits [0xe]: 16 20 24\n"
      "Node 0x03 [Audio Output] wcaps 0x41d: Stereo\n"
      "    bits [0x1e]: 16 20 24 32\n"
      "Node 0x08 [Audio Input] wcaps 0x10051b: Stereo\n"
      "    bits [0x2]: 16\n";
  EXPECT_EQ(parseHdaSignificantBits(codec), 24);
  EXPECT_EQ(parseHdaSignificantBits("Node 0x02 [Audio Output]\n    bits [0x2]: 16"), 16);
  for (const char* text : {"", "bits [0x2]: 16", "Default PCM:\n    bits [0x2]: 16\nNode 0x08 [Audio Input]",
                           "Node 0x08 [Audio Input]\n bits [0x2]: 16"})
    EXPECT_EQ(parseHdaSignificantBits(text), std::nullopt) << text;
}

TEST(HdaCodec, GivesAConverterWithoutBitsOfItsOwnThoseOfTheFunctionGroup) {
  const std::string group =
      "Codec: Generic\n"
      "Default PCM:\n"
      "    rates [0x60]: 44100 48000\n"
      "    bits [0x2]: 16\n"
      "    formats [0x1]: PCM\n"
      "Default Amp-In caps: N/A\n";
  const std::string wide = "Node 0x02 [Audio Output] wcaps 0x41d: Stereo\n    bits [0xe]: 16 20 24\n";
  const std::string plain = "Node 0x03 [Audio Output] wcaps 0x405: Stereo\n  Converter: stream=0, channel=0\n";
  EXPECT_EQ(parseHdaSignificantBits(group + wide), 24);
  EXPECT_EQ(parseHdaSignificantBits(group + wide + plain), 16);
  EXPECT_EQ(parseHdaSignificantBits(group + plain + wide), 16);
}

TEST(HdaCodec, ReportsZeroWhereAConverterStatesNothing) {
  const std::string wide = "Node 0x02 [Audio Output] wcaps 0x41d: Stereo\n    bits [0xe]: 16 20 24\n";
  for (const std::string text : {"Node 0x03 [Audio Output]\n",
                                 "Node 0x03 [Audio Output]\n bits [0x0]:", "Node 0x03 [Audio Output]\n bits [0x0]: x",
                                 "Node 0x03 [Audio Output]\n bits [0x0]: -4\n"}) {
    EXPECT_EQ(parseHdaSignificantBits(text), 0) << text;
    EXPECT_EQ(parseHdaSignificantBits(wide + text), 0) << text;
  }
}

TEST_F(AlsaProcTree, TakesTheNarrowestOfTheCardsCodecs) {
  const auto bits = [this] { return readAlsaDepthTexts(paths_, 0, 0, false).codecBits; };
  EXPECT_EQ(bits(), std::nullopt);
  write("/asound/card0/codec#0", "Node 0x02 [Audio Output]\n    bits [0x1e]: 16 20 24 32\n");
  EXPECT_EQ(bits(), 32);
  write("/asound/card0/codec#2", "Node 0x02 [Audio Output]\n    bits [0xe]: 16 20 24\n");
  EXPECT_EQ(bits(), 24);
  write("/asound/card0/codec#3", "Node 0x02 [Audio Output]\n");
  EXPECT_EQ(bits(), 0) << "one of them states nothing";
}

TEST_F(AlsaProcTree, ReadsTheDescriptorsOfAUsbCardAndNoCodec) {
  write("/asound/card0/stream1", "Playback:\n");
  write("/asound/card0/codec#0", "Node 0x02 [Audio Output]\n    bits [0xe]: 16 20 24\n");
  const auto texts = readAlsaDepthTexts(paths_, 0, 1, true);
  EXPECT_EQ(texts.usbStream, "Playback:\n");
  EXPECT_EQ(texts.codecBits, std::nullopt);
  EXPECT_EQ(readAlsaDepthTexts(paths_, 0, 0, true).usbStream, std::nullopt);
}

}  // namespace
}  // namespace tolvane
