// Files that cannot be played are known until they have changed or have been played.

#include "session/UnplayableFiles.h"

#include "tests/session/SessionFixture.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* notFound = "Opening the PCM file failed (Core Audio -43).";

std::vector<FileURL> urlsOf(const std::shared_ptr<const UnplayableFileMap>& files) {
  std::vector<FileURL> urls;
  if (files)
    for (const auto& [url, file] : *files) urls.push_back(url);
  return urls;
}

class SessionUnplayable : public SessionFixture {
 protected:
  [[nodiscard]] std::vector<FileURL> unplayable() const { return urlsOf(session.unplayableFiles().files().value()); }
  [[nodiscard]] std::string detailOf(const FileURL& url) const {
    return session.unplayableFiles().files().value()->at(url).detail;
  }

  void addDamaged(int number) {
    SimulatedPCMFile file;
    file.openStatus = kAudioFileInvalidFileError;
    files.add(track(number), std::move(file));
  }

  /// Tracks 1 … 3; the second one is damaged and has been tried.
  void loadWithDamaged() {
    load(3);
    addDamaged(2);
    session.playTrack(1, 0);
    ASSERT_THAT(unplayable(), ElementsAre(track(2)));
  }
};

TEST_F(SessionUnplayable, AreNoneUntilOneIsTried) {
  load(2);
  addDamaged(2);
  EXPECT_EQ(session.unplayableFiles().files().value(), nullptr);
  session.playTrack(0, 0);
  EXPECT_EQ(session.unplayableFiles().files().value(), nullptr);
}

TEST_F(SessionUnplayable, AreThoseWhoseFileIsNotThere) {
  load(2);
  files.remove(track(1));
  session.playTrack(0, 0);
  ASSERT_THAT(unplayable(), ElementsAre(track(1)));
  EXPECT_EQ(detailOf(track(1)), notFound);
}

TEST_F(SessionUnplayable, AreThoseThatFailAtAnyStepOfTheirPreparation) {
  struct Case {
    const char* what;
    void (*damage)(SimulatedPCMFile& file);
    std::string detail;
  };
  const Case cases[]{{"permission", [](SimulatedPCMFile& file) { file.openStatus = kAudioFilePermissionsError; },
                      "Opening the PCM file failed (Core Audio -54)."},
                     {"format", [](SimulatedPCMFile& file) { file.formatStatus = kAudioFileInvalidFileError; },
                      "Reading the PCM format failed (Core Audio 1685348671)."},
                     {"layout", [](SimulatedPCMFile& file) { file.format.mFormatID = fourCharCode("alac"); },
                      "This PCM layout is not supported for direct playback."},
                     {"reading", [](SimulatedPCMFile& file) { file.readStatus = kAudioFileIOError; },
                      "Reading PCM samples failed (Core Audio -36)."},
                     {"empty", [](SimulatedPCMFile& file) { file.data.clear(); },
                      "The PCM track exceeds the in-memory playback limit."}};
  load(1);
  for (const Case& each : cases) {
    SimulatedPCMFile file;
    file.format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
    file.data.resize(4000);
    each.damage(file);
    files.add(track(1), std::move(file));
    session.playTrack(0, 0);
    ASSERT_THAT(unplayable(), ElementsAre(track(1))) << each.what;
    EXPECT_EQ(detailOf(track(1)), each.detail);
  }
}

TEST_F(SessionUnplayable, AreThoseThatFitInNoMemory) {
  load(1);
  files.setAvailableMemory(1000);
  session.playTrack(0, 0);
  EXPECT_THAT(unplayable(), ElementsAre(track(1)));
}

TEST_F(SessionUnplayable, AreNotThoseWhoseDeviceFails) {
  load(1);
  for (const auto stage : {UnitStage::initialize, UnitStage::start}) {
    hardware.failNext(stage, kAudioHardwareUnspecifiedError);
    session.playTrack(0, 0);
    EXPECT_EQ(session.player().audioPathStatus().value().kind, AudioPathStatus::Kind::error);
    EXPECT_THAT(unplayable(), IsEmpty());
  }
}

TEST_F(SessionUnplayable, AreNotThoseForWhichTooManyFilesWereOpen) {
  load(1);
  SimulatedPCMFile file;
  file.openStatus = kAudioFileTooManyOpenFilesError;
  files.add(track(1), std::move(file));
  session.playTrack(0, 0);
  EXPECT_EQ(session.player().audioPathStatus().value().kind, AudioPathStatus::Kind::error);
  EXPECT_THAT(unplayable(), IsEmpty());
}

TEST_F(SessionUnplayable, StayWhileOthersPlayAndAreMovedAndStopped) {
  loadWithDamaged();
  session.playTrack(0, 0);
  advance(1);
  session.moveTrack(1, 0);
  session.stopPlayback();
  EXPECT_THAT(unplayable(), ElementsAre(track(2)));
}

TEST_F(SessionUnplayable, StayWhenTheyFailOnceMore) {
  loadWithDamaged();
  const auto before = session.unplayableFiles().files().value();
  session.playTrack(1, 0);
  EXPECT_EQ(session.unplayableFiles().files().value(), before) << "one value, as long as nothing changes";
}

TEST_F(SessionUnplayable, SayWhatTheyFailedWithLast) {
  loadWithDamaged();
  files.remove(track(2));
  session.playTrack(1, 0);
  EXPECT_EQ(detailOf(track(2)), notFound);
}

TEST_F(SessionUnplayable, AreForgottenWhenTheyPlay) {
  load(2);
  files.setAvailableMemory(1000);
  session.playTrack(0, 0);
  ASSERT_THAT(unplayable(), ElementsAre(track(1)));
  files.setAvailableMemory(1 << 30);
  EXPECT_THAT(unplayable(), ElementsAre(track(1))) << "the same file";
  session.playTrack(0, 0);
  ASSERT_TRUE(isPlaying());
  EXPECT_EQ(session.unplayableFiles().files().value(), nullptr);
}

TEST_F(SessionUnplayable, AreForgottenWhenTheyFollowWithoutAGap) {
  load(2);
  files.setAvailableMemory(1000);
  session.playTrack(1, 0);
  ASSERT_THAT(unplayable(), ElementsAre(track(2)));
  files.setAvailableMemory(1 << 30);
  session.playTrack(0, 0);
  playToTheEnd();
  ASSERT_EQ(playingURL(), track(2));
  EXPECT_THAT(unplayable(), IsEmpty());
}

TEST_F(SessionUnplayable, StayWhenTheyAreReadAheadAndNotPlayed) {
  load(2);
  files.setAvailableMemory(1000);
  session.playTrack(1, 0);
  files.setAvailableMemory(1 << 30);
  session.playTrack(0, 0);
  advance(7);
  EXPECT_THAT(unplayable(), ElementsAre(track(2)));
}

TEST_F(SessionUnplayable, AreNotThoseThatFailAheadOfTheirTurn) {
  load(2);
  addDamaged(2);
  session.playTrack(0, 0);
  advance(trackSeconds - 0.5);
  EXPECT_THAT(unplayable(), IsEmpty());
  advance(1.5);
  EXPECT_THAT(unplayable(), ElementsAre(track(2))) << "its turn has come";
}

TEST_F(SessionUnplayable, StayWhereNothingHasChanged) {
  loadWithDamaged();
  session.checkUnplayableFiles();
  EXPECT_THAT(unplayable(), ElementsAre(track(2)));
}

TEST_F(SessionUnplayable, AreForgottenWhenTheFileHasChanged) {
  loadWithDamaged();
  addTrack(2);
  EXPECT_THAT(unplayable(), ElementsAre(track(2))) << "nothing has looked";
  session.checkUnplayableFiles();
  EXPECT_THAT(unplayable(), IsEmpty());
}

TEST_F(SessionUnplayable, AreForgottenWhenTheFileComesBackOrGoes) {
  loadWithDamaged();
  files.remove(track(3));
  session.playTrack(2, 0);
  ASSERT_THAT(unplayable(), ElementsAre(track(2), track(3)));
  files.remove(track(2));
  addTrack(3);
  session.checkUnplayableFiles();
  EXPECT_THAT(unplayable(), IsEmpty());
}

TEST_F(SessionUnplayable, AreAskedForByNoTimer) {
  loadWithDamaged();
  const auto timers = runLoop.pendingTimerCount();
  int asked = 0;
  files.setReadGate([&](const FileURL&, std::string_view) { ++asked; });
  advance(3600);
  EXPECT_EQ(asked, 0);
  EXPECT_EQ(runLoop.pendingTimerCount(), timers);
}

TEST_F(SessionUnplayable, AreOnlyThoseOfThePlaylist) {
  loadWithDamaged();
  session.loadPlaylist(std::vector{addTrack(4), track(2)}, false);
  EXPECT_THAT(unplayable(), ElementsAre(track(2)));
  session.loadPlaylist(std::vector{track(4)}, false);
  EXPECT_EQ(session.unplayableFiles().files().value(), nullptr);
}

TEST_F(SessionUnplayable, AreNotKeptForTheNextStart) {
  loadWithDamaged();
  session.saveAll();
  PlayerSession next(hardware, files, defaults, bookmarks, runLoop, log);
  ASSERT_EQ(next.playlistTracks().value().size(), 3U);
  EXPECT_EQ(next.unplayableFiles().files().value(), nullptr);
}

/// Reads when the test says so.
class SlowlyUnplayable : public ProxyFixture {
 protected:
  SlowlyUnplayable()
      : ProxyFixture([this](BackgroundWork work) {
          if (isSlow) return works.push_back(std::move(work));
          work();
        }) {}

  void finishWork() {
    for (const auto& work : std::exchange(works, {})) work();
    settle();
  }
  [[nodiscard]] std::vector<FileURL> unplayable() const { return urlsOf(state().unplayableFiles); }

  void loadWithMissing() {
    load(2);
    files.remove(track(1));
    proxy.playTrack(0, 0);
    settle();
    ASSERT_THAT(unplayable(), ElementsAre(track(1)));
  }

  bool isSlow = false;
  std::vector<BackgroundWork> works;
};

TEST_F(SlowlyUnplayable, AreShownWithTheFailureInOneState) {
  load(2);
  files.remove(track(1));
  std::vector<std::pair<AudioPathStatus::Kind, bool>> shown;
  const auto subscription = proxy.onChange([&](const SessionState&, const SessionState& now) {
    shown.emplace_back(now.audioPathStatus.kind, now.unplayableFiles != nullptr);
  });
  proxy.playTrack(0, 0);
  settle();
  EXPECT_THAT(shown, ElementsAre(std::pair(AudioPathStatus::Kind::configuring, false),
                                 std::pair(AudioPathStatus::Kind::error, true)));
}

TEST_F(SlowlyUnplayable, AreCheckedWhenTheWindowAsks) {
  loadWithMissing();
  addTrack(1);
  proxy.checkUnplayableFiles();
  settle();
  EXPECT_THAT(unplayable(), IsEmpty());
}

TEST_F(SlowlyUnplayable, CostNothingWhereThereAreNone) {
  load(2);
  const auto last = state().lastCommand;
  proxy.checkUnplayableFiles();
  settle();
  EXPECT_EQ(state().lastCommand, last);
}

TEST_F(SlowlyUnplayable, AreForgottenWhileTheirChangedFileIsRead) {
  loadWithMissing();
  addTrack(1);
  isSlow = true;
  proxy.playTrack(0, 0);
  settle();
  ASSERT_THAT(works, testing::SizeIs(2)) << "the check and the reading";
  EXPECT_THAT(unplayable(), ElementsAre(track(1)));
  works.front()();
  settle();
  EXPECT_TRUE(state().isPreparing);
  EXPECT_THAT(unplayable(), IsEmpty());
}

TEST_F(SlowlyUnplayable, AreNotAskedForAgainWhileTheDiskDoesNotAnswer) {
  loadWithMissing();
  isSlow = true;
  for (int i = 0; i < 5; ++i) {
    proxy.checkUnplayableFiles();
    settle();
  }
  EXPECT_THAT(works, testing::SizeIs(1));
  addTrack(1);
  finishWork();
  EXPECT_THAT(unplayable(), IsEmpty());
}

TEST_F(SlowlyUnplayable, StayWhenTheyFailedAnewBehindALateCheck) {
  loadWithMissing();
  isSlow = true;
  proxy.checkUnplayableFiles();
  settle();
  const auto late = std::exchange(works, {});
  isSlow = false;
  SimulatedPCMFile damaged;
  damaged.openStatus = kAudioFileInvalidFileError;
  files.add(track(1), std::move(damaged));
  proxy.playTrack(0, 0);
  settle();
  for (const auto& work : late) work();
  settle();
  ASSERT_THAT(unplayable(), ElementsAre(track(1)));
  EXPECT_EQ(state().unplayableFiles->at(track(1)).detail, "Opening the PCM file failed (Core Audio 1685348671).");
}

TEST_F(SlowlyUnplayable, AreAsTheyWereWhenTheirReadingBegan) {
  load(1);
  files.remove(track(1));
  files.setReadGate([this](const FileURL& url, std::string_view call) {
    if (call != "openAudioFile") return;
    files.setReadGate(nullptr);
    SimulatedPCMFile damaged;
    damaged.openStatus = kAudioFileInvalidFileError;
    files.add(url, std::move(damaged));
  });
  proxy.playTrack(0, 0);
  settle();
  ASSERT_THAT(unplayable(), ElementsAre(track(1)));
  proxy.checkUnplayableFiles();
  settle();
  EXPECT_THAT(unplayable(), IsEmpty()) << "it changed while it was read";
}

}  // namespace
}  // namespace tolvane
