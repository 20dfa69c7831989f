#include "ui/texts/SignalRows.h"

#include <gmock/gmock.h>

namespace tolvane {
namespace {

using namespace std::chrono_literals;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::SizeIs;
using Condition = PathStage::Condition;

SignalPath alteredPath() {
  SignalPath path;
  path.stages = {{PathStage::Kind::file, Condition::unaltered, "FLAC 24-bit 96 kHz", "the file's header", "Lossless."},
                 {PathStage::Kind::player, Condition::unaltered, "untouched", "settings", "Nothing."},
                 {PathStage::Kind::route, Condition::altered, "shared, 96 kHz, processed", "PipeWire", "At 40 %."},
                 {PathStage::Kind::device, Condition::unknown, "format not known · DA\nC", "nowhere", "Who knows."}};
  path.named = PathStage::Kind::route;
  return path;
}

TEST(StageRows, AreGoldWhereSamplesPassUnalteredAndEmberElsewhere) {
  const SignalPath path = alteredPath();
  const auto rows = stageRows(&path, nullptr);
  ASSERT_THAT(rows, SizeIs(4));
  EXPECT_EQ(rows[0].tint, Theme::gold);
  EXPECT_EQ(rows[1].tint, Theme::gold);
  EXPECT_EQ(rows[2].tint, Theme::ember);
  EXPECT_EQ(rows[3].tint, Theme::ember) << "not known is not good enough";
  EXPECT_TRUE(rows[2].isNamed);
  EXPECT_FALSE(rows[3].isNamed);
  EXPECT_EQ(rows[2].state, "altered");
  EXPECT_EQ(rows[3].state, "not known");
}

TEST(StageRows, SayWhereEachFactWasReadAndWhenItChanged) {
  const SignalPath path = alteredPath();
  EXPECT_EQ(stageRows(&path, nullptr)[0].source, "Read from the file's header.");
  PathDiagnostics diagnostics;
  diagnostics.at = RunLoop::TimePoint(100s);
  diagnostics.changedAt[0] = RunLoop::TimePoint(88s);
  EXPECT_EQ(stageRows(&path, &diagnostics)[0].source, "Read from the file's header; last changed 12 s ago.");
  EXPECT_EQ(stageRows(&path, &diagnostics)[1].source, "Read from settings.");
}

TEST(StageRows, ShowNoControlCharactersOfNames) {
  const SignalPath path = alteredPath();
  EXPECT_EQ(stageRows(&path, nullptr)[3].value, "format not known · DA\uFFFDC");
}

TEST(StageRows, AreThereWithoutAPath) {
  const auto rows = stageRows(nullptr, nullptr);
  ASSERT_THAT(rows, SizeIs(4));
  EXPECT_THAT(rows, Each(Field(&SignalRow::value, "")));
  EXPECT_EQ(rows[2].title, "Route");
}

TEST(DeliveryRows, WarnOfSamplesThatAreNotTheTracksAndOfNothingElse) {
  using enum DeliveryReport::Result;
  for (const auto& [result, warns] :
       {std::pair{checking, false}, {matches, false}, {damaged, true}, {differs, true}, {unknown, false}}) {
    PathDiagnostics diagnostics;
    diagnostics.delivery.emplace().result = result;
    diagnostics.lastDelivery.emplace().result = matches;
    const auto rows = deliveryRows(diagnostics);
    ASSERT_THAT(rows, SizeIs(2));
    EXPECT_EQ(rows[0].tint, warns ? Theme::ember : Theme::ink) << rows[0].value;
    EXPECT_EQ(rows[1].tint, Theme::ink);
    EXPECT_THAT(counterRows(diagnostics), Each(Field(&SignalRow::tint, Theme::ink)));
  }
}

TEST(HistoryRows, BeginWithTheNewest) {
  PathDiagnostics diagnostics;
  diagnostics.at = RunLoop::TimePoint(200s);
  diagnostics.history = {{RunLoop::TimePoint(100s), PathEvent::Kind::device, "DAC"},
                         {RunLoop::TimePoint(190s), PathEvent::Kind::verdict, "BIT-PERFECT."}};
  EXPECT_THAT(
      historyRows(diagnostics),
      ElementsAre(SignalRow{.title = "10 s ago", .value = "BIT-PERFECT.", .state = "Verdict", .tint = Theme::ink},
                  SignalRow{.title = "1 min ago", .value = "DAC", .state = "Device", .tint = Theme::ink}));
}

TEST(SpokenChain, NamesEachStageWithItsCondition) {
  const SignalPath path = alteredPath();
  EXPECT_EQ(spokenChain(&path),
            "Signal path, File: FLAC 24-bit 96 kHz, unaltered; Player: untouched, unaltered; Route: shared, 96 kHz, "
            "processed, altered; Device: format not known · DA\uFFFDC, not known");
  EXPECT_EQ(spokenChain(nullptr), "No signal path");
}

}  // namespace
}  // namespace tolvane
