// Parts of files, as CUE sheets name them: their samples are those that the whole file has at that place.

#include <gmock/gmock.h>

#include <algorithm>

#include "engine/BitPerfectAudioPlayer.h"
#include "engine/PlainWords.h"
#include "engine/TrackPreparation.h"
#include "engine/waveform/Waveform.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/SimulatedAudioHardware.h"
#include "tests/platform/codecs/Workbench.h"

namespace tolvane::test {
namespace {

using namespace std::chrono_literals;

/// A file of nine seconds, and the sectors between which its tracks lie.
struct Recording {
  std::string name;
  std::string command{};  ///< makes it of in.wav
  int rate = 44100;
  int bits = 16;
};

const std::vector<std::uint32_t> marks{0, 200, 201, 444, 600};

std::vector<Recording> recordings() {
  return {{.name = "in.wav"},
          {.name = "in.aiff", .command = "sox -D in.wav in.aiff"},
          {.name = "odd.wav", .command = "sox -D in.wav -b 24 odd.wav", .rate = 8000},
          {.name = "in.flac", .command = "flac -s -o in.flac in.wav"},
          {.name = "deep.flac", .command = "flac -s -o deep.flac in.wav", .rate = 96000, .bits = 24},
          {.name = "small.flac", .command = "flac -s -b 192 -o small.flac in.wav", .rate = 8000},
          {.name = "in.oga.flac", .command = "flac -s --ogg -o in.oga.flac in.wav"},
          {.name = "in.mp3", .command = "lame --quiet -b 192 in.wav in.mp3"},
          {.name = "variable.mp3", .command = "lame --quiet -V 4 in.wav variable.mp3"},
          {.name = "slow.mp3", .command = "lame --quiet -b 56 in.wav slow.mp3", .rate = 22050}};
}

std::vector<FileExcerpt> tracksOf(const std::vector<std::uint32_t>& starts) {
  std::vector<FileExcerpt> tracks;
  for (std::size_t i = 0; i < starts.size(); ++i)
    tracks.push_back({.first = starts[i], .end = i + 1 < starts.size() ? std::optional(starts[i + 1]) : std::nullopt});
  return tracks;
}

std::vector<std::byte> samplesOf(const PreparedAudio& audio) {
  const auto bytes = audio.context->buffer().bytes().first(static_cast<std::size_t>(audio.context->byteCount()));
  return {bytes.begin(), bytes.end()};
}

class Excerpts : public testing::Test {
 protected:
  void make(const Recording& recording) const {
    bench.makeWav("in.wav", recording.rate, 2, recording.bits, 9);
    if (!recording.command.empty()) bench.run(recording.command);
  }
  [[nodiscard]] static std::vector<std::byte> prepared(const FileURL& url, const SegmentLimits& limits = {}) {
    SystemAudioFileServices files(limits);
    const TrackPreparation preparation(files, std::make_shared<AtomicOutputLevels>());
    const auto audio = preparation.prepare(url);
    if (!audio) ADD_FAILURE() << url.path() << ": " << audio.error().errorDescription();
    return audio ? samplesOf(*audio) : std::vector<std::byte>();
  }

  const Workbench bench;
};

TEST_F(Excerpts, AreTheFilesOwnSamplesOneBehindTheOther) {
  for (const Recording& recording : recordings()) {
    make(recording);
    const FileURL file = bench.url(recording.name);
    const auto whole = prepared(file);
    for (const auto& limits : {kSerial, kParallel}) {
      std::vector<std::byte> joined;
      for (const FileExcerpt& track : tracksOf(marks)) {
        const auto samples = prepared(FileURL(file.path(), track), limits);
        EXPECT_FALSE(samples.empty()) << recording.name;
        joined.insert(joined.end(), samples.begin(), samples.end());
      }
      EXPECT_EQ(joined.size(), whole.size()) << recording.name;
      EXPECT_TRUE(joined == whole) << recording.name << " is not the same in parts";
    }
    bench.run("rm -f in.*");
  }
}

TEST_F(Excerpts, BeginWhereTheirSectorDoes) {
  make({.name = "in.flac"});
  bench.run("flac -s -o in.flac in.wav");
  const auto whole = prepared(bench.url("in.flac"));
  const auto track = prepared(FileURL(bench.url("in.flac").path(), FileExcerpt{.first = 200, .end = 444}));
  constexpr std::ptrdiff_t sectorBytes = 588 * 2 * sizeof(float);
  const std::vector<std::byte> expected(whole.begin() + 200 * sectorBytes, whole.begin() + 444 * sectorBytes);
  EXPECT_TRUE(track == expected);
}

TEST_F(Excerpts, HaveLengthAndWaveformOfTheirOwn) {
  for (const Recording& recording : recordings()) {
    make(recording);
    SystemAudioFileServices files;
    const FileURL url(bench.url(recording.name).path(), FileExcerpt{.first = 75, .end = 225});
    const auto waveform = makeWaveformData(files, url, 10, {});
    ASSERT_TRUE(waveform && *waveform) << recording.name;
    EXPECT_NEAR((*waveform)->duration, 2.0, 1e-3) << recording.name;
    EXPECT_GT((*waveform)->samples.size(), 5U) << recording.name;
  }
}

TEST_F(Excerpts, HaveNoSignatureUnlessTheyAreTheWholeFile) {
  make({.name = "in.flac"});
  bench.run("flac -s -o in.flac in.wav");
  SystemAudioFileServices files;
  const auto signatureOf = [&](const FileExcerpt& excerpt) {
    const auto file = files.openExtAudioFile(FileURL(bench.url("in.flac").path(), excerpt));
    return (*file)->signature();
  };
  EXPECT_TRUE(signatureOf({}));
  EXPECT_FALSE(signatureOf({.first = 75}));
  EXPECT_FALSE(signatureOf({.end = 75}));
}

TEST_F(Excerpts, BehindTheEndOfTheirFileSaySo) {
  for (const Recording& recording : recordings()) {
    make(recording);
    SystemAudioFileServices files;
    const TrackPreparation preparation(files, std::make_shared<AtomicOutputLevels>());
    const auto audio =
        preparation.prepare(FileURL(bench.url(recording.name).path(), FileExcerpt{.first = 75 * 9 + 30}));
    ASSERT_FALSE(audio) << recording.name;
    EXPECT_EQ(audio.error().errorDescription(), "The track begins behind the end of its file.") << recording.name;
  }
}

TEST_F(Excerpts, ThatTheirFileDoesNotHoldToTheEndAreCut) {
  for (const Recording& recording : recordings()) {
    make(recording);
    SystemAudioFileServices files;
    const TrackPreparation preparation(files, std::make_shared<AtomicOutputLevels>());
    const auto audio =
        preparation.prepare(FileURL(bench.url(recording.name).path(), FileExcerpt{.first = 75 * 8, .end = 75 * 12}));
    ASSERT_TRUE(audio) << recording.name;
    ASSERT_TRUE(audio->cut) << recording.name;
    EXPECT_TRUE(audio->cut->isPartOfFile);
    EXPECT_NEAR(audio->cut->heldSeconds, 1, 0.1) << recording.name;
    EXPECT_NEAR(audio->cut->wholeSeconds, 4, 0.001) << recording.name;
    const auto inside = preparation.prepare(FileURL(bench.url(recording.name).path(), FileExcerpt{.end = 75 * 8}));
    ASSERT_TRUE(inside) << recording.name;
    EXPECT_FALSE(inside->cut) << recording.name;
  }
}

TEST_F(Excerpts, BehindTheEndOfACutFileDoNotSpeakOfTheMusicBeforeThem) {
  for (const std::string name : {"in.wav", "in.flac"}) {
    make({.name = "in.flac", .command = "flac -s -f -o in.flac in.wav"});
    auto bytes = bench.bytesOf(name);
    bytes.resize(bytes.size() / 2);
    bench.write(name, bytes);
    SystemAudioFileServices files;
    const TrackPreparation preparation(files, std::make_shared<AtomicOutputLevels>());
    const auto audio = preparation.prepare(FileURL(bench.url(name).path(), FileExcerpt{.first = 75 * 7}));
    ASSERT_FALSE(audio) << name;
    EXPECT_EQ(audio.error().errorDescription(), "The track begins behind the end of its file.") << name;
    EXPECT_EQ(plainWords(audio.error().errorDescription(), audio.error().context()),
              "The file ends before this track of its CUE sheet begins.")
        << name;
  }
}

TEST_F(Excerpts, OfAFileThatIsDamagedBeforeThemPlay) {
  make({.name = "in.flac"});
  bench.run("flac -s -o in.flac in.wav");
  const FileURL url(bench.url("in.flac").path(), FileExcerpt{.first = 500});
  const auto undamaged = prepared(url);
  auto bytes = bench.bytesOf("in.flac");
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 10), 5000, std::byte{0x55});
  bench.write("in.flac", bytes);
  EXPECT_TRUE(prepared(url) == undamaged);
}

TEST_F(Excerpts, FollowEachOtherWithoutAGap) {
  for (const Recording& recording : recordings()) {
    if (recording.rate != 44100) continue;
    make(recording);
    ManualRunLoop runLoop;
    MemoryLog log;
    SimulatedAudioHardware hardware(runLoop);
    SimulatedDeviceConfig dac;
    dac.captures = true;
    const auto id = hardware.addDevice(dac);
    SystemAudioFileServices files;
    BitPerfectAudioPlayer player(hardware, files, runLoop, log);
    const std::string path = bench.url(recording.name).path();
    std::vector<FileURL> album;
    for (const FileExcerpt& track : tracksOf({0, 200, 444, 600})) album.emplace_back(path, track);
    std::size_t playing = 0;
    const auto follow = [&] {
      player.setUpcomingTrack(playing + 1 < album.size() ? std::optional(album[playing + 1]) : std::nullopt);
    };
    const auto completed = player.playbackCompletionCount().subscribe([&](std::int64_t) {
      if (++playing < album.size()) player.play(album[playing], follow);
    });
    player.play(album[0], follow);
    runLoop.advance(10s);
    EXPECT_EQ(playing, album.size()) << recording.name;
    EXPECT_EQ(player.statistics().crossings, album.size() - 1) << recording.name;
    auto heard = hardware.device(id).heard();
    const auto whole = prepared(FileURL(path));
    ASSERT_GE(heard.size(), whole.size()) << recording.name;
    heard.resize(whole.size());
    EXPECT_TRUE(heard == whole) << recording.name << ": what is heard is not the file, unbroken";
  }
}

}  // namespace
}  // namespace tolvane::test
