// What the engine reports about the samples that it handed to a device, whatever user and device do.

#include "tests/engine/PlayerFixture.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Outcome = DeliveryReport::Result;
using Reason = DeliveryReport::Reason;

class DeliveredTracks : public PlayerFixture {
 protected:
  static constexpr std::int64_t frames = 3 * 44100;

  DeliveredTracks() {
    id = addDevice();
    player->setOutputDevice(id);
    player->setDeliveryFinished([this](const DeliveryReport& report) { reports.push_back(report); });
  }
  ~DeliveredTracks() override { player.reset(); }

  void expectMatches(const DeliveryReport& report) {
    EXPECT_EQ(report.result, Outcome::matches) << deliverySentence(report);
    EXPECT_EQ(report.frames, frames);
  }
  void expectReason(Reason reason) {
    ASSERT_THAT(reports, SizeIs(1));
    EXPECT_EQ(reports[0].result, Outcome::unknown);
    EXPECT_EQ(reasonName(reports[0].reason), reasonName(reason));
  }

  AudioObjectID id = 0;
  std::vector<DeliveryReport> reports;
};

TEST_F(DeliveredTracks, MatchWhenTheyArePlayedFromTheirBeginningToTheirEnd) {
  player->play(addTrack("/a.wav", frames));
  advance(1700ms);
  const auto during = player->deliveryReport();
  ASSERT_TRUE(during);
  EXPECT_EQ(during->result, Outcome::checking);
  EXPECT_GT(during->frames, 44100);
  EXPECT_LT(during->frames, frames);
  EXPECT_THAT(reports, IsEmpty());
  advance(5s);
  EXPECT_EQ(completions(), 1);
  ASSERT_THAT(reports, SizeIs(1));
  expectMatches(reports[0]);
  EXPECT_FALSE(player->deliveryReport());
}

TEST_F(DeliveredTracks, MatchAcrossPausesExclusiveAccessAndAStolenRate) {
  player->play(addTrack("/a.wav", frames));
  for (int i = 0; i < 5; ++i) {
    advance(300ms + std::chrono::milliseconds(7 * i));
    player->pause();
    advance(40ms);
    player->resume();
  }
  (void)player->setExclusiveAccessEnabled(true);
  advance(200ms);
  (void)player->setExclusiveAccessEnabled(false);
  advance(10s);
  ASSERT_THAT(reports, SizeIs(1));
  expectMatches(reports[0]);
}

TEST_F(DeliveredTracks, MatchAcrossARecovery) {
  player->play(addTrack("/a.wav", frames));
  advance(1s);
  device(id).stopByItself(kAudioHardwareUnspecifiedError);
  advance(20s);
  EXPECT_EQ(player->statistics().recoveries, 1U);
  ASSERT_THAT(reports, SizeIs(1));
  expectMatches(reports[0]);
}

TEST_F(DeliveredTracks, MatchOneByOneWithoutAGap) {
  const std::vector<FileURL> album{addTrack("/a.wav", frames), addTrack("/b.wav", frames), addTrack("/c.wav", frames)};
  std::size_t playing = 0;
  const auto announce = [&] {
    player->setUpcomingTrack(playing + 1 < album.size() ? std::optional(album[playing + 1]) : std::nullopt);
  };
  const auto subscription = player->playbackCompletionCount().subscribe([&](std::int64_t) {
    if (++playing < album.size()) player->play(album[playing], announce);
  });
  player->play(album[0], announce);
  advance(3500ms);
  EXPECT_EQ(player->statistics().crossings, 1U);
  ASSERT_THAT(reports, SizeIs(1));
  advance(1s);
  player->pause();
  advance(1s);
  player->resume();
  advance(10s);
  EXPECT_EQ(player->statistics().crossings, 2U);
  ASSERT_THAT(reports, SizeIs(3));
  for (const DeliveryReport& report : reports) expectMatches(report);
}

TEST_F(DeliveredTracks, AreUnknownAfterASeek) {
  player->play(addTrack("/a.wav", frames));
  advance(1s);
  player->seek(2);
  advance(5s);
  expectReason(Reason::seek);
}

TEST_F(DeliveredTracks, MatchAfterASeekToTheBeginning) {
  player->play(addTrack("/a.wav", frames));
  advance(1s);
  player->seek(0);
  advance(5s);
  ASSERT_THAT(reports, SizeIs(1));
  expectMatches(reports[0]);
}

TEST_F(DeliveredTracks, AreUnknownWhenPlaybackStopsBeforeTheEnd) {
  player->play(addTrack("/a.wav", frames));
  advance(1s);
  player->stop();
  expectReason(Reason::ended);
}

TEST_F(DeliveredTracks, AreUnknownFromTheMiddleOn) {
  player->play(addTrack("/a.wav", frames), {}, [](double) { return 1.0; });
  advance(5s);
  expectReason(Reason::notFromTheBeginning);
}

TEST_F(DeliveredTracks, DifferWhileTheVolumeIsLower) {
  player->play(addTrack("/a.wav", frames));
  advance(1s);
  player->setOutputLevels(0.5, 0);
  advance(100ms);
  player->setOutputLevels(1, 0);
  advance(5s);
  ASSERT_THAT(reports, SizeIs(1));
  EXPECT_EQ(reports[0].result, Outcome::differs);
  EXPECT_EQ(reports[0].reason, Reason::levels);
  EXPECT_GE(reports[0].firstDifference, 44100);
}

TEST_F(DeliveredTracks, AreUnknownWhereChannelsAreMixed) {
  SimulatedDeviceConfig config;
  config.channelLayout = ChannelLayout{{ChannelPosition::frontLeft, ChannelPosition::rearRight}};
  player->setOutputDevice(addDevice(config));
  player->play(addTrack("/a.wav", frames));
  advance(1s);
  const auto report = player->deliveryReport();
  ASSERT_TRUE(report);
  EXPECT_EQ(report->reason, Reason::computed) << deliverySentence(*report);
}

TEST_F(DeliveredTracks, AreNotHeldLongerThanTheyPlay) {
  player->play(addTrack("/a.wav", frames));
  advance(1s);
  player->play(addTrack("/b.wav", frames));
  advance(1s);
  player->stop();
  EXPECT_THAT(reports, SizeIs(2));
  EXPECT_FALSE(player->deliveryReport());
  expectNothingHeld();
}

}  // namespace
}  // namespace tolvane
