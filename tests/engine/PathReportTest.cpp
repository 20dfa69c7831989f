// The report on the signal path, as it is copied and printed: whole texts, in the folder reports/, of a player over
// simulated hardware.

#include "engine/PathReport.h"

#include <fmt/format.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/engine/PlayerFixture.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

class PathReports : public PlayerFixture {
 protected:
  static SimulatedDeviceConfig dac() {
    SimulatedDeviceConfig config;
    config.name = "Studio DAC";
    config.driver = "snd-usb-audio";
    config.soundServer = "PipeWire 1.4.2";
    config.formatSource =
        "/proc/asound/card1/pcm0p/sub0/hw_params (S24_3LE); 24 significant bits by the USB descriptor; the server's "
        "mix "
        "in front of it carries 24 bits";
    config.streams[0].physicalFormats = {physicalInteger(24)};
    config.alterations.emplace();
    return config;
  }
  static SimulatedDeviceConfig directDac() {
    SimulatedDeviceConfig config = dac();
    config.soundServer.reset();
    config.formatSource =
        "/proc/asound/card1/pcm0p/sub0/hw_params (S24_3LE); 24 significant bits by the USB descriptor";
    return config;
  }
  void play(const SimulatedDeviceConfig& config, std::int64_t seconds = 3) {
    id = addDevice(config);
    player->setOutputDevice(id);
    player->play(addTrack("/home/ada/Music/Prelude.wav", 44100 * seconds));
  }
  [[nodiscard]] std::string report(bool namesFile = true) const {
    return pathReport(player->diagnostics(),
                      {.playerVersion = "1.0", .kernel = "Linux 6.1.0-18-amd64", .namesFile = namesFile});
  }

  /// The text as it is stored. With TOLVANE_WRITE_REPORTS in the environment it is stored anew, and has to be read.
  void expectReport(const std::string& name) const {
    const std::string file = std::string(TOLVANE_TEST_REPORTS) + "/" + name + ".txt";
    if (std::getenv("TOLVANE_WRITE_REPORTS") != nullptr) std::ofstream(file) << report();
    std::stringstream stored;
    stored << std::ifstream(file).rdbuf();
    ASSERT_FALSE(stored.str().empty()) << file;
    EXPECT_EQ(report(), stored.str());
  }

  AudioObjectID id = 0;
};

TEST_F(PathReports, OfACleanPath) {
  (void)player->setExclusiveAccessEnabled(true);
  play(directDac());
  advance(3500ms);
  player->play(FileURL("/home/ada/Music/Prelude.wav"));
  advance(1300ms);
  expectReport("clean");
}

TEST_F(PathReports, OfAServerThatPlaysAtFortyPercent) {
  SimulatedDeviceConfig config = dac();
  config.alterations = {{SampleAlteration::Kind::processed,
                         "The sound server plays this device at 40 % volume, so samples are altered.",
                         "Set its volume to 100 %."_cure}};
  play(config);
  advance(1s);
  expectReport("server-at-40");
}

TEST_F(PathReports, OfADeviceAtAForeignRate) {
  SimulatedDeviceConfig config = dac();
  config.rates = {{48000, 48000}};
  config.nominalRate = 48000;
  play(config);
  advance(1s);
  expectReport("foreign-rate");
}

TEST_F(PathReports, OfADeviceThatWasPulledAndCameBack) {
  play(directDac(), 10);
  advance(2s);
  hardware.removeDevice(id);
  advance(600ms);
  hardware.replug(id);
  advance(2s);
  ASSERT_EQ(player->statistics().recoveries, 1U);
  expectReport("recovered");
}

TEST_F(PathReports, HaveTheirHistoryInTheLogToo) {
  play(directDac(), 10);
  advance(2s);
  hardware.removeDevice(id);
  advance(600ms);
  hardware.replug(id);
  advance(2s);
  const auto logged = log.messages();
  int seen = 0;
  for (const PathEvent& event : player->diagnostics().history) {
    EXPECT_THAT(logged, testing::Contains(std::string(eventTitle(event.kind)) + ": " + event.text.english()));
    ++seen;
  }
  EXPECT_EQ(seen, 4);
}

TEST_F(PathReports, OfAPlayerThatHasPlayedNothing) { expectReport("nothing"); }

TEST_F(PathReports, HaveNothingPrivateButTheFilesNameWhichCanBeLeftOut) {
  play(dac());
  advance(1s);
  EXPECT_THAT(report(), HasSubstr("Prelude.wav\n"));
  EXPECT_THAT(report(), Not(HasSubstr("/home")));
  EXPECT_THAT(report(), Not(HasSubstr("ada")));
  EXPECT_THAT(report(false), Not(HasSubstr("Prelude")));
}

TEST_F(PathReports, KeepNamesFromBreakingTheirLines) {
  SimulatedDeviceConfig config = dac();
  config.name = "DAC\n\x1b[31mBIT-PERFECT";
  play(config);
  advance(1s);
  EXPECT_THAT(report(), HasSubstr("DAC??[31mBIT-PERFECT"));
  EXPECT_THAT(report(), Not(HasSubstr("\x1b")));
}

TEST_F(PathReports, HaveLinesThatFitAForum) {
  SimulatedDeviceConfig config = dac();
  config.alterations = {{SampleAlteration::Kind::processed,
                         "The sound server plays this device at 40 % volume, so samples are altered.",
                         "Set its volume to 100 %."_cure}};
  play(config);
  advance(1s);
  int lines = 0;
  std::stringstream text(report());
  for (std::string line; std::getline(text, line); ++lines)
    EXPECT_LE(line.size(), 88U) << line;  // bytes; "→" has three
  fmt::print("{} lines\n", lines);
  EXPECT_GT(lines, 25);
}

TEST(PathCounters, CountWhatIsKnown) {
  PathDiagnostics diagnostics;
  EXPECT_EQ(pathCounters(diagnostics),
            (std::vector<NamedText>{{"Underruns", "0"}, {"Recoveries", "0"}, {"Frames handed over", "0"}}));
  diagnostics.statistics = {.underruns = 1234, .recoveries = 2};
  diagnostics.rate = 44100;
  diagnostics.bufferFrames = 512;
  diagnostics.framesAhead = 1024;
  diagnostics.framesHandedOver = 12'345'678;
  EXPECT_EQ(pathCounters(diagnostics), (std::vector<NamedText>{{"Underruns", "1,234"},
                                                               {"Recoveries", "2"},
                                                               {"Buffer", "512 frames, 11.6 ms"},
                                                               {"Latency", "1,024 frames, 23.2 ms"},
                                                               {"Frames handed over", "12,345,678"}}));
}

TEST(AgoText, CountsInTheUnitThatFits) {
  EXPECT_EQ(agoText(0s), "just now");
  EXPECT_EQ(agoText(999ms), "just now");
  EXPECT_EQ(agoText(1s), "1 s ago");
  EXPECT_EQ(agoText(59s), "59 s ago");
  EXPECT_EQ(agoText(60s), "1 min ago");
  EXPECT_EQ(agoText(3599s), "59 min ago");
  EXPECT_EQ(agoText(2h), "2 h ago");
}

}  // namespace
}  // namespace tolvane
