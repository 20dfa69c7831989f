// What a unit does when its stream, its sink or the server gets into trouble.

#include <gmock/gmock.h>
#include <unistd.h>

#include "tests/platform/pipewire/scripted/Listening.h"

namespace tolvane::test {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

constexpr const char* noFramesLine = "PipeWire has asked for no frames for a second";

class StreamTrouble : public testing::Test, public Listening {
 protected:
  ScriptedStream& stream() { return desktop.server().stream(); }
  std::size_t linesAboutNoFrames() {
    return static_cast<std::size_t>(std::ranges::count(desktop.log.messages(), noFramesLine));
  }
};

TEST_F(StreamTrouble, CyclesWithoutABufferAreCountedAndNothingIsLost) {
  const auto unit = playingUnit();
  EXPECT_EQ(unit->underrunCount(), 0U);
  desktop.server().beginListening();
  const auto before = source.rendered();
  stream().runDry(3);
  desktop.runLoop.advance(1s);
  EXPECT_EQ(unit->underrunCount(), 3U);
  EXPECT_EQ(static_cast<std::int64_t>(desktop.server().endListening().size()), 2 * (source.rendered() - before));
  EXPECT_EQ(takeError(*unit), noErr) << "the music goes on by itself";
  EXPECT_NEAR(static_cast<double>(source.rendered() - before), 48000 - 3 * 1024, 2048) << "later by so many cycles";
}

TEST_F(StreamTrouble, UnderrunsAreThoseOfTheUnitOnWhicheverPathTheyWere) {
  const auto unit = playingUnit();
  stream().runDry(2);
  desktop.runLoop.advance(1s);
  EXPECT_EQ(toggle(), noErr);
  EXPECT_EQ(unit->underrunCount(), 2U) << "over the card";
  desktop.runLoop.advance(1s);
  desktop.dac().underrun(100ms);
  desktop.runLoop.advance(1s);
  EXPECT_EQ(unit->underrunCount(), 3U);
  EXPECT_EQ(unit->uninitialize(), noErr);
  EXPECT_EQ(unit->initialize(), noErr);
  EXPECT_EQ(unit->underrunCount(), 0U) << "a new path has had none";
}

TEST_F(StreamTrouble, ASinkThatAsksForNothingIsAnErrorAfterASecond) {
  const auto unit = playingUnit();
  stream().stall(true);
  desktop.runLoop.advance(900ms);
  EXPECT_EQ(takeError(*unit), noErr);
  desktop.runLoop.advance(700ms);
  EXPECT_EQ(takeError(*unit), kAudioHardwareNotRunningError);
  EXPECT_EQ(takeError(*unit), noErr) << "reading clears it";
  desktop.runLoop.advance(10s);
  EXPECT_EQ(takeError(*unit), noErr);
  EXPECT_EQ(linesAboutNoFrames(), 1U);
  EXPECT_TRUE(isRunning(*unit)) << "the server calls it playing";
}

TEST_F(StreamTrouble, ASinkThatGoesOnIsWatchedAnew) {
  const auto unit = playingUnit();
  for (const std::size_t time : {1U, 2U}) {
    stream().stall(true);
    desktop.runLoop.advance(2s);
    EXPECT_EQ(takeError(*unit), kAudioHardwareNotRunningError);
    stream().stall(false);
    EXPECT_TRUE(goesOn());
    EXPECT_EQ(linesAboutNoFrames(), time);
  }
}

TEST_F(StreamTrouble, AStreamThatFailsIsNoticedAndStartsNoMore) {
  for (const auto state : {ScriptedStream::State::error, ScriptedStream::State::unconnected}) {
    SCOPED_TRACE(static_cast<int>(state));
    Listening another;
    const auto unit = another.playingUnit();
    another.desktop.server().stream().setState(state);
    EXPECT_FALSE(another.goesOn());
    EXPECT_EQ(takeError(*unit), kAudioHardwareNotRunningError);
    EXPECT_EQ(unit->stop(), noErr);
    EXPECT_EQ(unit->start(), kAudioHardwareNotRunningError);
    EXPECT_EQ(unit->uninitialize(), noErr);
    const auto next = another.playingUnit();
    EXPECT_TRUE(another.goesOn()) << "a new stream does";
  }
}

TEST_F(StreamTrouble, ASinkWhoseHardwareFailsStopsTheUnitAtOnce) {
  const auto unit = playingUnit();
  desktop.server().change([this](PipeWireFacts& facts) {
    sinkIn(facts).state = PipeWireSink::State::error;
    sinkIn(facts).error = "Device or resource busy";
  });
  desktop.runLoop.runUntilIdle();
  EXPECT_FALSE(isRunning(*unit));
  EXPECT_EQ(takeError(*unit), kAudioHardwareNotRunningError);
  EXPECT_EQ(unit->start(), kAudioDevicePermissionsError) << "another program has the hardware";
  desktop.server().change([this](PipeWireFacts& facts) {
    sinkIn(facts).state = PipeWireSink::State::idle;
    sinkIn(facts).error.clear();
  });
  desktop.runLoop.runUntilIdle();
  EXPECT_EQ(unit->start(), noErr);
  EXPECT_TRUE(goesOn());
}

TEST_F(StreamTrouble, AUnitThatLostItsServerStartsOnTheNextOne) {
  const auto unit = playingUnit();
  desktop.server().die();
  desktop.runLoop.advance(1s);
  EXPECT_FALSE(isRunning(*unit));
  EXPECT_EQ(takeError(*unit), kAudioHardwareNotRunningError);
  desktop.server().comeBack();
  EXPECT_EQ(unit->start(), noErr) << "without a stop in between";
  EXPECT_TRUE(goesOn());
  EXPECT_EQ(desktop.server().streams().size(), 1U);
}

TEST_F(StreamTrouble, AStartWaitsForAServerThatIsConnecting) {
  const auto unit = makeUnit();
  EXPECT_EQ(unit->initialize(), noErr);
  desktop.server().die();
  desktop.runLoop.runUntilIdle();
  desktop.runLoop.scheduleHardwareAfter(1s, [this] { desktop.server().comeBack(); });
  EXPECT_EQ(unit->start(), noErr);
  EXPECT_TRUE(goesOn());
  EXPECT_EQ(desktop.server().streams().size(), 1U) << "through the sink";
}

TEST_F(StreamTrouble, ASinkThatGoesWhileTheStreamStartsIsReplacedByTheNextOne) {
  const auto unit = makeUnit();
  EXPECT_EQ(unit->initialize(), noErr);
  ScriptedServer& server = desktop.server();
  desktop.runLoop.scheduleHardwareAfter(1ms, [&] { server.removeSink(*server.sinkOfCard(desktop.card())); });
  desktop.runLoop.scheduleHardwareAfter(200ms, [&] { server.addSink(desktop.card()); });
  EXPECT_EQ(unit->start(), noErr);
  EXPECT_TRUE(goesOn());
  EXPECT_EQ(server.streams().size(), 1U);
}

TEST_F(StreamTrouble, ASinkThatDoesNotComeBackLeadsToTheCard) {
  const auto unit = playingUnit();
  EXPECT_EQ(unit->stop(), noErr);
  ScriptedServer& server = desktop.server();
  server.removeSink(*server.sinkOfCard(desktop.card()));
  desktop.runLoop.runUntilIdle();
  EXPECT_EQ(unit->start(), noErr);
  EXPECT_TRUE(goesOn());
  EXPECT_EQ(server.streams().size(), 0U);
  EXPECT_EQ(desktop.cards.openDeviceCount(), 1U);
  EXPECT_EQ(unit->uninitialize(), noErr);
}

}  // namespace
}  // namespace tolvane::test
