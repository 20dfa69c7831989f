#include "ui/waveforms/WaveformStore.h"

#include <gmock/gmock.h>

#include "platform/simulated/ManualRunLoop.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::Pointee;
using testing::SizeIs;

const FileURL a("/music/a.wav");
const FileURL b("/music/b.wav");

class Store : public testing::Test {
 protected:
  /// Lets the background finish its task of this number, counted from 0 in order of the requests.
  void finish(std::size_t task) {
    tasks.at(task)();
    runLoop.runUntilIdle();
  }

  [[nodiscard]] std::optional<Result<Waveform>> read(const FileURL& url, const std::stop_token& stop) {
    ++reads;
    if (whileReading) whileReading();
    if (stop.stop_requested()) return std::nullopt;
    if (failsToRead) return failure("Reading the audio file", kAudioFileIOError);
    return Waveform{{static_cast<double>(reads)}, url == a ? 1.0 : 2.0};
  }

  ManualRunLoop runLoop;
  std::vector<WaveformStore::Work> tasks;
  int reads = 0;
  bool failsToRead = false;
  std::function<void()> whileReading;
  std::optional<WaveformStore> store{
      std::in_place, runLoop, [this](const FileURL& url, const std::stop_token& stop) { return read(url, stop); },
      [this](WaveformStore::Work work) { tasks.push_back(std::move(work)); }};
};

TEST_F(Store, KeepsWhatTheBackgroundHasRead) {
  store->loadWaveform(a);
  EXPECT_TRUE(store->isLoading(a));
  EXPECT_EQ(store->samples(a), nullptr);
  EXPECT_EQ(store->duration(a), std::nullopt);
  finish(0);
  EXPECT_FALSE(store->isLoading(a));
  EXPECT_THAT(store->samples(a), Pointee(ElementsAre(1)));
  EXPECT_EQ(store->duration(a), 1.0);
}

TEST_F(Store, TakesResultsInATurnOfTheMainThread) {
  store->loadWaveform(a);
  tasks[0]();
  EXPECT_TRUE(store->isLoading(a));
  runLoop.runUntilIdle();
  EXPECT_FALSE(store->isLoading(a));
}

TEST_F(Store, ReadsAFileOnce) {
  store->loadWaveform(a);
  store->loadWaveform(a);
  EXPECT_THAT(tasks, SizeIs(1)) << "while it is being read";
  finish(0);
  store->loadWaveform(a);
  EXPECT_THAT(tasks, SizeIs(1)) << "and afterwards";
}

TEST_F(Store, ReadsSeveralFilesAtOnce) {
  store->loadWaveform(a);
  store->loadWaveform(b);
  finish(1);
  EXPECT_EQ(store->samples(a), nullptr);
  EXPECT_EQ(store->duration(b), 2.0);
}

TEST_F(Store, PrintsALineForAFileThatCannotBeReadAndTriesAgainWhenAsked) {
  failsToRead = true;
  store->loadWaveform(a);
  testing::internal::CaptureStdout();
  finish(0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Waveform error: Reading the audio file failed (Core Audio -36).\n");
  EXPECT_FALSE(store->isLoading(a));
  EXPECT_EQ(store->samples(a), nullptr);
  failsToRead = false;
  store->loadWaveform(a);
  finish(1);
  EXPECT_NE(store->samples(a), nullptr);
}

TEST_F(Store, ForgetsACancelledFileWithoutAWordOnceItsTaskHasEnded) {
  store->loadWaveform(a);
  store->cancelWaveformLoading();
  EXPECT_TRUE(store->isLoading(a));
  store->loadWaveform(a);
  EXPECT_THAT(tasks, SizeIs(1)) << "the cancelled task has not ended";
  testing::internal::CaptureStdout();
  finish(0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(reads, 0);
  EXPECT_FALSE(store->isLoading(a));
  store->loadWaveform(a);
  finish(1);
  EXPECT_NE(store->samples(a), nullptr);
}

TEST_F(Store, DropsWhatWasReadWhenItIsCancelledMeanwhile) {
  whileReading = [this] { store->cancelWaveformLoading(); };
  store->loadWaveform(a);
  finish(0);
  EXPECT_EQ(store->samples(a), nullptr);
  EXPECT_FALSE(store->isLoading(a));
}

TEST_F(Store, DropsAResultThatAlreadyWaitsWhenItIsCancelled) {
  store->loadWaveform(a);
  tasks[0]();
  store->cancelWaveformLoading();
  runLoop.runUntilIdle();
  EXPECT_EQ(store->samples(a), nullptr);
  EXPECT_FALSE(store->isLoading(a));
}

TEST_F(Store, KeepsWhatItHasWhenItIsCancelled) {
  store->loadWaveform(a);
  finish(0);
  store->cancelWaveformLoading();
  EXPECT_NE(store->samples(a), nullptr);
}

TEST_F(Store, ForgetsEverythingWhenItIsCleared) {
  store->loadWaveform(a);
  finish(0);
  store->loadWaveform(b);
  store->clear();
  EXPECT_EQ(store->samples(a), nullptr);
  EXPECT_EQ(store->duration(a), std::nullopt);
  EXPECT_FALSE(store->isLoading(b));
}

TEST_F(Store, IsNotDisturbedByATaskFromBeforeItWasCleared) {
  store->loadWaveform(a);
  store->clear();
  store->loadWaveform(a);
  finish(0);
  EXPECT_TRUE(store->isLoading(a)) << "the second task has not ended";
  finish(1);
  EXPECT_NE(store->samples(a), nullptr);
}

TEST_F(Store, NotifiesOfEveryChange) {
  std::vector<FileURL> changes;
  const auto subscription = store->onChange([&](const FileURL& url) { changes.push_back(url); });
  store->loadWaveform(a);
  store->loadWaveform(b);
  finish(0);
  EXPECT_THAT(changes, ElementsAre(a, b, a));
}

TEST_F(Store, MayGoWhileItsTasksRun) {
  store->loadWaveform(a);
  store->loadWaveform(b);
  tasks[0]();
  store.reset();
  finish(1);
  EXPECT_EQ(reads, 1) << "the second reader was stopped before it began";
}

}  // namespace
}  // namespace tolvane
