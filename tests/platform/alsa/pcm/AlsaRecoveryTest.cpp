#include "platform/alsa/pcm/AlsaRecovery.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

TEST(AlsaRecovery, TakesWhatIsInTheRingOfAStoppedStreamForUnheard) {
  struct Case {
    std::int64_t ring, room, unheard;
    const char* what;
  };
  for (const Case& c : {Case{8192, 8192, 0, "ran dry"}, Case{8192, 8300, 0, "ran dry and went on with silence"},
                        Case{8192, 6152, 0, "ran dry since the driver last told where it was"},
                        Case{8192, 6144, 0, "a whole period since then"}, Case{8192, 6143, 2049, "more than that"},
                        Case{8192, 0, 8192, "stopped with a full ring"}, Case{8192, 2048, 6144, "stopped half way"},
                        Case{8192, -1, 8192, "a driver that miscounts"}}) {
    EXPECT_EQ(unheardFrames(c.ring, c.room, 2048), c.unheard) << c.what;
  }
}

using Step = AlsaRecoveryPace::Step;

TEST(AlsaRecovery, TriesAgainAtOnceWhereAPeriodWasHeard) {
  AlsaRecoveryPace pace;
  for (int stop = 0; stop < 100; ++stop) EXPECT_EQ(pace.next(2048, 2048), Step::atOnce);
}

TEST(AlsaRecovery, PausesBetweenTriesThatBringNoSoundAndGivesUpAfterFive) {
  AlsaRecoveryPace pace;
  for (int stop = 0; stop < 5; ++stop) EXPECT_EQ(pace.next(2047, 2048), Step::afterAPause) << stop;
  EXPECT_EQ(pace.next(0, 2048), Step::giveUp);
  EXPECT_EQ(pace.next(0, 2048), Step::giveUp);
}

TEST(AlsaRecovery, CountsAnewOnceSoundWasHeardOrTheUnitWasStartedAgain) {
  AlsaRecoveryPace pace;
  const auto exhaust = [&pace] {
    for (int stop = 0; stop < 6; ++stop) static_cast<void>(pace.next(0, 2048));
  };
  exhaust();
  EXPECT_EQ(pace.next(2048, 2048), Step::atOnce);
  EXPECT_EQ(pace.next(0, 2048), Step::afterAPause);
  exhaust();
  pace.reset();
  EXPECT_EQ(pace.next(0, 2048), Step::afterAPause);
}

}  // namespace
}  // namespace tolvane
