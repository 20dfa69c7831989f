#include "ui/drag/PlaylistTrackDropDelegate.h"

#include <gmock/gmock.h>

#include "platform/simulated/ManualRunLoop.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class TrackDrops : public testing::Test {
 protected:
  PlaylistTrackDropDelegate row(std::int64_t index) {
    return {runLoop, index, 58, session,
            [this](const Uuid& track, std::int64_t gap) { moves.emplace_back(track, gap); }};
  }

  void beginDrag() {
    PlaylistDragSession drag;
    drag.id = Uuid::random();
    drag.trackID = Uuid::ofTrack(7);
    *session = drag;
  }

  [[nodiscard]] std::string payload() const {
    return PlaylistTrackDragPayload{"tolvane-playlist-track", (*session)->id, (*session)->trackID}.encoded();
  }

  /// A drag of this text at this height of a row; the text arrives when deliver() is called.
  PlaylistDropInfo at(double y, std::optional<std::string> text = std::nullopt) {
    return {true, y, [this, text](PlaylistDropInfo::Completion completion) {
              deliveries.push_back([completion, text] { completion(text); });
            }};
  }

  void deliver() {
    for (const auto& delivery : std::exchange(deliveries, {})) delivery();
    runLoop.runUntilIdle();
  }

  [[nodiscard]] std::optional<std::int64_t> gap() const { return (*session)->insertionIndex; }
  [[nodiscard]] std::optional<std::int64_t> target() const { return (*session)->dropTargetIndex; }

  ManualRunLoop runLoop;
  PlaylistTrackDropDelegate::Session session = std::make_shared<std::optional<PlaylistDragSession>>();
  std::vector<std::pair<Uuid, std::int64_t>> moves;
  std::vector<std::function<void()>> deliveries;
};

TEST_F(TrackDrops, FindTheGapByTheHalfOfTheRowUnderThePointer) {
  struct Case {
    double y;
    std::int64_t gap;
  };
  for (const auto& [y, expected] : {Case{0, 3}, Case{28.9, 3}, Case{29, 4}, Case{57, 4}, Case{-1, 3}, Case{90, 4}}) {
    beginDrag();
    row(3).dropEntered(at(y));
    EXPECT_EQ(gap(), expected) << y;
    EXPECT_EQ(target(), 3) << y;
  }
}

TEST_F(TrackDrops, FollowThePointer) {
  beginDrag();
  row(3).dropEntered(at(10));
  row(3).dropUpdated(at(40));
  EXPECT_EQ(gap(), 4);
}

TEST_F(TrackDrops, AreValidOnlyForTextWhileADragOfThisWindowIsUnderWay) {
  EXPECT_FALSE(row(0).validateDrop(at(0))) << "no drag";
  beginDrag();
  EXPECT_TRUE(row(0).validateDrop(at(0)));
  EXPECT_FALSE(row(0).validateDrop({})) << "no text";
  (*session)->phase = PlaylistDragPhase::committing;
  EXPECT_FALSE(row(0).validateDrop(at(0))) << "the drop is being carried out";
}

TEST_F(TrackDrops, DoNotFollowWhatTheyWouldNotTake) {
  row(1).dropEntered(at(10));
  EXPECT_FALSE(*session);
  beginDrag();
  row(1).dropUpdated({});
  EXPECT_EQ(gap(), std::nullopt);
  (*session)->phase = PlaylistDragPhase::committing;
  row(1).dropEntered(at(10));
  EXPECT_EQ(gap(), std::nullopt);
}

TEST_F(TrackDrops, ForgetTheGapWhenThePointerLeavesTheRow) {
  beginDrag();
  row(3).dropEntered(at(10));
  row(3).dropExited();
  EXPECT_EQ(gap(), std::nullopt);
  EXPECT_EQ(target(), std::nullopt);
}

TEST_F(TrackDrops, LeaveAloneTheTargetOfAnotherRow) {
  beginDrag();
  row(3).dropEntered(at(10));
  row(4).dropEntered(at(40));
  row(3).dropExited();
  EXPECT_EQ(gap(), 5);
  EXPECT_EQ(target(), 4);
}

TEST_F(TrackDrops, MoveTheTrackOnceThePayloadHasArrived) {
  beginDrag();
  row(4).dropEntered(at(40));
  EXPECT_TRUE(row(4).performDrop(at(40, payload())));
  EXPECT_EQ((*session)->phase, PlaylistDragPhase::committing);
  EXPECT_EQ(gap(), std::nullopt) << "the mark disappears at once";
  EXPECT_THAT(moves, IsEmpty());
  deliver();
  EXPECT_THAT(moves, ElementsAre(Pair(Uuid::ofTrack(7), 5)));
  EXPECT_FALSE(*session);
}

TEST_F(TrackDrops, AreRefusedWithoutADrag) {
  EXPECT_FALSE(row(0).performDrop(at(0, "x")));
  beginDrag();
  (*session)->phase = PlaylistDragPhase::committing;
  EXPECT_FALSE(row(0).performDrop(at(0, "x")));
  EXPECT_TRUE(*session) << "the drop under way goes on";
}

TEST_F(TrackDrops, AreRefusedWithoutAGapOrAText) {
  beginDrag();
  EXPECT_FALSE(row(0).performDrop(at(0, payload()))) << "no row was entered";
  EXPECT_FALSE(*session);
  beginDrag();
  row(0).dropEntered(at(0));
  EXPECT_FALSE(row(0).performDrop({true, 0, nullptr}));
  EXPECT_FALSE(*session);
}

class ForeignPayload : public TrackDrops, public testing::WithParamInterface<int> {};

TEST_P(ForeignPayload, MovesNothingAndEndsTheDrag) {
  beginDrag();
  const Uuid session1 = (*session)->id;
  const Uuid track = (*session)->trackID;
  const std::optional<std::string> texts[] = {
      std::nullopt,
      "Prelude",
      PlaylistTrackDragPayload{"tolvane-playlist-track", Uuid::random(), track}.encoded(),
      PlaylistTrackDragPayload{"tolvane-playlist-track", session1, Uuid::ofTrack(8)}.encoded(),
      PlaylistTrackDragPayload{"another-kind", session1, track}.encoded(),
  };
  row(2).dropEntered(at(0));
  EXPECT_TRUE(row(2).performDrop(at(0, texts[GetParam()])));
  deliver();
  EXPECT_THAT(moves, IsEmpty());
  EXPECT_FALSE(*session);
}

INSTANTIATE_TEST_SUITE_P(Texts, ForeignPayload, testing::Range(0, 5));

TEST_F(TrackDrops, OfAnEarlierDragMoveNothingAndDisturbNoLaterOne) {
  beginDrag();
  row(2).dropEntered(at(0));
  EXPECT_TRUE(row(2).performDrop(at(0, payload())));
  beginDrag();
  const auto later = **session;
  deliver();
  EXPECT_EQ(**session, later);
}

TEST_F(TrackDrops, AreHarmlessWhenTheWindowHasGoneBeforeThePayloadCame) {
  beginDrag();
  row(2).dropEntered(at(0));
  EXPECT_TRUE(row(2).performDrop(at(0, payload())));
  session.reset();
  deliver();
  EXPECT_THAT(moves, IsEmpty());
}

}  // namespace
}  // namespace tolvane
