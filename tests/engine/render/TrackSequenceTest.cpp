// From the last frame of one track into the first of the next, at every position of the crossing in a buffer.

#include "engine/render/TrackSequence.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <thread>

namespace tolvane::test {
namespace {

using Sample = std::int16_t;

/// Mono frames that count from `first`.
std::shared_ptr<AudioRenderContext> countingTrack(Sample first, std::int64_t frames) {
  PcmBlock block(static_cast<std::size_t>(frames) * sizeof(Sample));
  for (std::int64_t i = 0; i < frames; ++i) {
    const auto sample = static_cast<Sample>(first + i);
    std::memcpy(block.data() + i * static_cast<std::int64_t>(sizeof sample), &sample, sizeof sample);
  }
  const auto size = static_cast<std::int64_t>(block.size());
  return std::make_shared<AudioRenderContext>(std::move(block), size,
                                              linearPCM(44100, 1, 16, 2, kAudioFormatFlagIsSignedInteger),
                                              std::make_shared<AtomicOutputLevels>());
}

std::vector<Sample> pull(TrackSequence& sequence, std::uint32_t frames) {
  std::vector<Sample> samples(frames, -1);
  AudioBuffer buffer{1, frames * static_cast<std::uint32_t>(sizeof(Sample)), samples.data()};
  AudioBufferList list{{&buffer, 1}};
  EXPECT_EQ(sequence.render(frames, &list), noErr);
  EXPECT_EQ(buffer.mDataByteSize, frames * sizeof(Sample));
  return samples;
}

std::vector<Sample> counted(Sample first, std::int64_t frames) {
  std::vector<Sample> samples;
  for (std::int64_t i = 0; i < frames; ++i) samples.push_back(static_cast<Sample>(first + i));
  return samples;
}

void append(std::vector<Sample>& all, const std::vector<Sample>& more) {
  all.insert(all.end(), more.begin(), more.end());
}

TEST(TrackSequence, CrossesAtEveryFrameOfABuffer) {
  constexpr std::uint32_t bufferFrames = 16;
  for (std::int64_t length = 1; length <= 3 * bufferFrames; ++length) {
    TrackSequence sequence;
    sequence.load(countingTrack(1, length));
    sequence.couple(countingTrack(1001, 40));
    std::vector<Sample> heard;
    for (int turn = 0; turn < 6; ++turn) append(heard, pull(sequence, bufferFrames));
    auto expected = counted(1, length);
    append(expected, counted(1001, 40));
    expected.resize(heard.size());
    EXPECT_EQ(heard, expected) << length;
    EXPECT_EQ(sequence.crossing(), length);
  }
}

TEST(TrackSequence, ATrackThatIsCoupledLateFollowsTheSilence) {
  TrackSequence sequence;
  sequence.load(countingTrack(1, 10));
  EXPECT_EQ(pull(sequence, 16)[10], 0);
  sequence.couple(countingTrack(1001, 40));
  EXPECT_EQ(pull(sequence, 16), counted(1001, 16));
  EXPECT_EQ(sequence.crossing(), 16);
  EXPECT_EQ(sequence.positionAfter(14), 10) << "still the end of the first one";
}

TEST(TrackSequence, ACouplingThatIsUndoneInTimeLeavesNoTrace) {
  TrackSequence sequence;
  sequence.load(countingTrack(1, 20));
  sequence.couple(countingTrack(1001, 40));
  pull(sequence, 16);
  EXPECT_TRUE(sequence.uncouple());
  auto rest = counted(17, 4);
  rest.resize(16);
  EXPECT_EQ(pull(sequence, 16), rest);
  EXPECT_EQ(sequence.crossing(), std::nullopt);
  EXPECT_TRUE(sequence.uncouple()) << "there is nothing to undo";
}

TEST(TrackSequence, ACrossingThatWasRenderedIsNotUndone) {
  TrackSequence sequence;
  sequence.load(countingTrack(1, 20));
  sequence.couple(countingTrack(1001, 40));
  pull(sequence, 32);
  EXPECT_FALSE(sequence.uncouple());
  EXPECT_EQ(sequence.crossing(), 20);
}

TEST(TrackSequence, AnEndedRunGoesOnWithTheFirstFrameThatWasNotHeard) {
  for (std::int64_t heard = 0; heard <= 48; ++heard) {
    TrackSequence sequence;
    const auto first = countingTrack(1, 20);
    const auto second = countingTrack(1001, 40);
    first->seek(4);
    sequence.load(first);
    sequence.couple(second);
    pull(sequence, 48);
    const bool isCrossed = sequence.endRun(heard);
    EXPECT_EQ(isCrossed, heard >= 16) << heard;
    EXPECT_FALSE(sequence.isCoupled());
    EXPECT_EQ(sequence.crossing(), std::nullopt);
    if (isCrossed) {
      EXPECT_EQ(second->currentFrame(), heard - 16) << heard;
    } else {
      EXPECT_EQ(first->currentFrame(), 4 + heard) << heard;
      EXPECT_EQ(second->currentFrame(), 0) << "it is played from its beginning again: " << heard;
      sequence.couple(second);
    }
    sequence.beginRun();
    std::vector<Sample> expected = isCrossed ? counted(static_cast<Sample>(1001 + heard - 16), 40)
                                             : counted(static_cast<Sample>(5 + heard), 16 - heard);
    if (!isCrossed) append(expected, counted(1001, 40));
    expected.resize(8);
    EXPECT_EQ(pull(sequence, 8), expected) << heard;
  }
}

TEST(TrackSequence, ManyTracksFollowOneAnotherInOneRun) {
  TrackSequence sequence;
  sequence.load(countingTrack(0, 50));
  std::vector<Sample> heard;
  std::int64_t frames = 0;
  for (int track = 1; track < 20; ++track) {
    sequence.couple(countingTrack(static_cast<Sample>(track * 50), 50));
    while (!sequence.crossing()) {
      append(heard, pull(sequence, 16));
      frames += 16;
    }
    EXPECT_EQ(sequence.crossing(), track * 50);
    EXPECT_EQ(sequence.positionAfter(track * 50 - 1), 49);
    sequence.cross();
    EXPECT_EQ(sequence.positionAfter(frames), frames - track * 50);
  }
  EXPECT_EQ(heard, counted(0, frames));
  EXPECT_EQ(sequence.renderCycleCount(), frames / 16 + 17)
      << "a buffer with a crossing counts for both tracks; two crossings lie between buffers";
}

TEST(TrackSequence, BuffersThatEndBeforeTheCrossingAndMalformedOnesDoNotCross) {
  TrackSequence sequence;
  sequence.load(countingTrack(1, 10));
  sequence.couple(countingTrack(1001, 10));
  std::array<Sample, 8> samples{};
  AudioBuffer buffers[] = {{1, 8, samples.data()}, {1, 8, nullptr}};
  AudioBufferList shortList{{buffers, 1}};
  EXPECT_EQ(sequence.render(16, &shortList), noErr) << "four frames fit";
  EXPECT_EQ(samples[3], 4);
  AudioBufferList two{buffers};
  AudioBufferList empty{{&buffers[1], 1}};
  for (AudioBufferList* list : {&two, &empty, static_cast<AudioBufferList*>(nullptr)})
    EXPECT_EQ(sequence.render(16, list), kAudio_ParamError);
  EXPECT_EQ(sequence.crossing(), std::nullopt);
  EXPECT_TRUE(sequence.uncouple());
}

/// One thread renders 2,000 short tracks, the other couples them, and takes every third back as late as it can.
TEST(TrackSequence, TwoThreadsAgreeOnWhichOneHasTheCoupledTrack) {
  constexpr int tracks = 2000;
  constexpr std::int64_t frames = 61;  // most crossings lie within a buffer
  TrackSequence sequence;
  sequence.load(countingTrack(0, frames));
  std::atomic<bool> ends{false};
  std::int64_t wrong = 0;
  std::thread render([&] {
    Sample last = -1;
    while (!ends.load(std::memory_order_relaxed)) {
      std::array<Sample, 16> samples;
      AudioBuffer buffer{1, sizeof samples, samples.data()};
      AudioBufferList list{{&buffer, 1}};
      if (sequence.render(16, &list) != noErr) ++wrong;
      // A track counts from 0 to 60; silence is 0 as well.
      for (const Sample sample : samples) {
        if (sample != 0 && sample != last + 1) ++wrong;
        last = sample;
      }
    }
  });
  int undone = 0;
  int tooLate = 0;
  for (int track = 0; track < tracks; ++track) {
    sequence.couple(countingTrack(0, frames));
    if (track % 3 == 0) {
      std::this_thread::yield();
      if (sequence.uncouple()) {
        ++undone;
        continue;
      }
      ++tooLate;
    }
    while (!sequence.crossing()) std::this_thread::yield();
    sequence.cross();
  }
  ends.store(true, std::memory_order_relaxed);
  render.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(undone + tooLate, (tracks + 2) / 3);
  RecordProperty("couplingsUndone", undone);
  RecordProperty("crossingsFirst", tooLate);
}

}  // namespace
}  // namespace tolvane::test
