#include "engine/PathHistory.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

namespace tolvane {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Kind = AudioPathStatus::Kind;

class PathHistories : public testing::Test {
 protected:
  static SignalPath pathOf(const std::string& route, PathStage::Condition condition = PathStage::Condition::unaltered) {
    SignalPath path;
    for (const auto kind : everyPathStage) path.stages.push_back({.kind = kind, .value = "x"});
    path.stages[2].value = route;
    path.stages[2].condition = condition;
    if (condition != PathStage::Condition::unaltered) path.named = PathStage::Kind::route;
    path.deviceName = "DAC";
    return path;
  }
  std::vector<PathEvent> note(const AudioPathStatus& status, const SignalPath& path) {
    return history.note(now, status, &path);
  }
  [[nodiscard]] std::vector<std::string> texts() const {
    std::vector<std::string> all;
    for (const PathEvent& event : history.events())
      all.push_back(std::string(eventTitle(event.kind)) + ' ' + event.text.english());
    return all;
  }

  PathHistory history;
  RunLoop::TimePoint now{100s};
  AudioPathStatus perfect{Kind::bitPerfect, "BIT-PERFECT", "Confirmed."};
  AudioPathStatus turnedDown{Kind::processed, "DSP ACTIVE", "The volume is at 40 %."};
};

TEST_F(PathHistories, BeginWithDevicePathAndVerdict) {
  EXPECT_THAT(note(perfect, pathOf("shared")), SizeIs(3));
  EXPECT_THAT(texts(), ElementsAre("Device DAC", "Path x → x → shared → x", "Verdict BIT-PERFECT. Confirmed."));
  EXPECT_THAT(note(perfect, pathOf("shared")), IsEmpty());
}

TEST_F(PathHistories, TakeNoStopAndNoCheckForAChange) {
  note(perfect, pathOf("shared"));
  now += 10s;
  EXPECT_THAT(history.note(now, AudioPathStatus::ready(), nullptr), IsEmpty());
  EXPECT_THAT(history.note(now, AudioPathStatus::configuring(), nullptr), IsEmpty());
  EXPECT_THAT(note(perfect, pathOf("shared")), IsEmpty()) << "the next track";
  EXPECT_THAT(history.note(now, AudioPathStatus::failed("Gone."), nullptr), SizeIs(1));
  EXPECT_THAT(note(perfect, pathOf("shared")), SizeIs(1)) << "after an error the verdict is news";
}

TEST_F(PathHistories, KnowWhenEachStageChanged) {
  note(perfect, pathOf("shared"));
  const auto begin = now;
  now += 5s;
  note(perfect, pathOf("exclusive"));
  EXPECT_THAT(history.changedAt(), ElementsAre(begin, begin, now, begin));
  now += 5s;
  SignalPath worded = pathOf("exclusive");
  worded.stages[3].meaning = "Another sentence.";
  EXPECT_THAT(note(perfect, worded), IsEmpty());
  EXPECT_EQ(history.changedAt()[3], now);
}

TEST_F(PathHistories, CountAVolumeThatIsMovedOnce) {
  note(turnedDown, pathOf("40 %", PathStage::Condition::altered));
  const auto before = history.events().size();
  for (int percent = 41; percent <= 90; ++percent) {
    now += 20ms;
    turnedDown.detail = "The volume is at " + std::to_string(percent) + " %.";
    EXPECT_THAT(note(turnedDown, pathOf(std::to_string(percent) + " %", PathStage::Condition::altered)), IsEmpty());
  }
  EXPECT_THAT(history.events(), SizeIs(before));
  EXPECT_EQ(history.events().back().text, "DSP ACTIVE. The volume is at 90 %.");
  EXPECT_EQ(history.events().back().at, now);
  now += 1s;
  turnedDown.detail = "The volume is at 91 %.";
  EXPECT_THAT(note(turnedDown, pathOf("90 %", PathStage::Condition::altered)), SizeIs(1));
}

TEST_F(PathHistories, KeepAMomentInWhichTheVerdictWasAnother) {
  note(perfect, pathOf("shared"));
  now += 100ms;
  note(turnedDown, pathOf("shared", PathStage::Condition::altered));
  now += 100ms;
  note(perfect, pathOf("shared"));
  EXPECT_THAT(texts(), ElementsAre("Device DAC", "Path x → x → shared → x", "Verdict BIT-PERFECT. Confirmed.",
                                   "Path x → x → shared → x", "Verdict DSP ACTIVE. The volume is at 40 %.",
                                   "Path x → x → shared → x", "Verdict BIT-PERFECT. Confirmed."));
}

TEST_F(PathHistories, HoldTheLastTwoHundred) {
  for (int i = 0; i < 150; ++i) {
    now += 2s;
    note(i % 2 == 0 ? perfect : turnedDown, pathOf(std::to_string(i)));
  }
  history.noteRecovery(now, "The device stopped.");
  EXPECT_THAT(history.events(), SizeIs(PathHistory::capacity));
  EXPECT_EQ(history.events().back().text, "The device stopped.");
  EXPECT_TRUE(std::ranges::is_sorted(history.events(), {}, &PathEvent::at));
}

TEST_F(PathHistories, NeverMergeRecoveries) {
  for (int i = 0; i < 3; ++i) history.noteRecovery(now, "The device stopped.");
  EXPECT_THAT(history.events(), SizeIs(3));
}

}  // namespace
}  // namespace tolvane
