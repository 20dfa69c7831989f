#include "platform/desktop/SessionBusReservation.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <limits>

#include "platform/desktop/HeadlessRunLoop.h"
#include "platform/desktop/ReservationBus.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "tests/platform/desktop/ReservationBench.h"

namespace tolvane::test {
namespace {

using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

constexpr int card = 3;
constexpr int ourPriority = 30;
using Owner = DeviceReservation::Owner;
using Manners = OtherProgram::Manners;

/// The reservation of this program, on a clock of its own: what it waits for while it asks takes no time.
class Reservation : public testing::Test {
 protected:
  Reservation() {
    reservation.setHandlers({.ownerMayHaveChanged = [this](int which) { changes.push_back(which); },
                             .mustYield =
                                 [this](int which) {
                                   yields.push_back(which);
                                   if (letsGo) hold.reset();
                                 }});
  }

  bool acquire() {
    auto taken = reservation.acquire(card, "Test DAC");
    if (!taken) return false;
    hold = *std::move(taken);
    return true;
  }
  /// The owner of the name answers as this program does; the others of the test have no such property.
  bool isOurs(OtherProgram& witness) {
    return hold != nullptr &&
           witness.property(card, "ApplicationName") == QVariant(QStringLiteral("Player under test"));
  }
  bool isOurs() { return isOurs(observer); }
  bool changed() {
    clock.runUntilIdle();
    return !changes.empty();
  }

  HeadlessRunLoop application;
  PrivateBus bus;
  ManualRunLoop clock;
  MemoryLog log;
  OtherProgram observer{bus};
  SessionBusReservation reservation{clock, log, {"Player under test", ourPriority, bus.address()}};
  DeviceReservation::Hold hold;
  bool letsGo = true;
  std::vector<int> changes;
  std::vector<int> yields;
};

TEST_F(Reservation, OfAFreeCardSucceedsAndShowsOthersItsOwner) {
  EXPECT_EQ(reservation.owner(card), std::nullopt);
  ASSERT_TRUE(acquire());
  EXPECT_TRUE(isOurs());
  EXPECT_EQ(reservation.owner(card), std::nullopt);
  EXPECT_EQ(observer.property(card, "Priority"), QVariant(ourPriority));
  EXPECT_EQ(observer.property(card, "ApplicationName"), QVariant(QStringLiteral("Player under test")));
  EXPECT_EQ(observer.property(card, "ApplicationDeviceName"), QVariant(QStringLiteral("Test DAC")));
  EXPECT_EQ(observer.property(card, "NoSuchThing"), std::nullopt);
  EXPECT_EQ(observer.property(card + 1, "Priority"), std::nullopt);
}

TEST_F(Reservation, IsGivenBackWithTheLastCopyOfTheHoldAndNotBefore) {
  ASSERT_TRUE(acquire());
  auto copy = reservation.acquire(card, "Test DAC");
  ASSERT_TRUE(copy.has_value());
  EXPECT_EQ(*copy, hold);
  hold.reset();
  EXPECT_FALSE(observer.ownerOf(card).isEmpty());
  copy->reset();
  EXPECT_TRUE(eventually([&] { return observer.ownerOf(card).isEmpty(); }));
  EXPECT_EQ(observer.property(card, "Priority"), std::nullopt);
}

TEST_F(Reservation, OfEachCardIsItsOwn) {
  OtherProgram player(bus, {.priority = ourPriority});
  ASSERT_TRUE(player.take(card + 1));
  EXPECT_TRUE(acquire());
  EXPECT_FALSE(reservation.acquire(card + 1, "Another DAC").has_value());
}

TEST_F(Reservation, IsTakenInOrderFromAProgramOfLowerPriority) {
  for (const bool releasesName : {false, true}) {
    OtherProgram server(bus, {.releasesName = releasesName, .allowsReplacement = !releasesName});
    ASSERT_TRUE(server.take(card));
    EXPECT_TRUE(acquire());
    EXPECT_THAT(server.requests(), ElementsAre(ourPriority));
    EXPECT_TRUE(isOurs());
    EXPECT_FALSE(server.take(card)) << "it must not come back without asking";
    hold.reset();
    EXPECT_TRUE(eventually([&] { return observer.ownerOf(card).isEmpty(); }));
  }
}

TEST_F(Reservation, IsNeverAskedOfAProgramOfEqualOrHigherPriorityOrOfUnknownOne) {
  for (const std::optional<QVariant>& priority :
       {std::optional<QVariant>(ourPriority), std::optional<QVariant>(std::numeric_limits<int>::max()),
        std::optional<QVariant>(QStringLiteral("low")), std::optional<QVariant>(-20.0), std::optional<QVariant>()}) {
    OtherProgram player(bus, {.priority = priority});
    ASSERT_TRUE(player.take(card));
    EXPECT_FALSE(acquire());
    EXPECT_THAT(player.requests(), IsEmpty());
    EXPECT_FALSE(player.ownerOf(card).isEmpty());
    EXPECT_THAT(reservation.owner(card), Optional(Owner{getpid(), false}));
    player.drop(card);
  }
}

TEST_F(Reservation, IsNotTakenFromAProgramThatRefusesTalksNonsenseOrSaysNothing) {
  for (const std::optional<QVariant>& answer :
       {std::optional<QVariant>(false), std::optional<QVariant>(1), std::optional<QVariant>(QStringLiteral("yes")),
        std::optional<QVariant>()}) {
    OtherProgram server(bus, {.release = answer});
    ASSERT_TRUE(server.take(card));
    EXPECT_FALSE(acquire());
    EXPECT_THAT(server.requests(), ElementsAre(ourPriority));
    // It is left alone for a while, like any other owner.
    EXPECT_THAT(reservation.owner(card), Optional(Owner{getpid(), false}));
    clock.advance(seconds(10));
    EXPECT_THAT(reservation.owner(card), Optional(Owner{getpid(), true}));
    server.drop(card);
    ASSERT_TRUE(eventually([&] { return !reservation.owner(card); }));
  }
}

TEST_F(Reservation, IsNotTakenFromAProgramThatAgreesAndKeepsTheNameAllTheSame) {
  OtherProgram server(bus, {.allowsReplacement = false});
  ASSERT_TRUE(server.take(card));
  EXPECT_FALSE(acquire());
  EXPECT_FALSE(server.ownerOf(card).isEmpty());
  server.drop(card);
  EXPECT_TRUE(acquire());
}

TEST_F(Reservation, ReportsTheOwnerOfACardAndWhetherItYields) {
  OtherProgram server(bus);
  OtherProgram player(bus, {.priority = ourPriority});
  ASSERT_TRUE(server.take(card));
  ASSERT_TRUE(player.take(card + 1));
  EXPECT_THAT(reservation.owner(card), Optional(Owner{getpid(), true}));
  EXPECT_THAT(reservation.owner(card + 1), Optional(Owner{getpid(), false}));
  EXPECT_EQ(reservation.owner(card + 2), std::nullopt);
}

TEST_F(Reservation, NotifiesWhenAnotherProgramComesAndGoes) {
  ASSERT_EQ(reservation.owner(card), std::nullopt);
  OtherProgram player(bus, {.priority = ourPriority});
  ASSERT_TRUE(player.take(card));
  ASSERT_TRUE(eventually([&] { return changed(); }));
  EXPECT_THAT(changes, ElementsAre(card));
  EXPECT_THAT(reservation.owner(card), Optional(Owner{getpid(), false}));
  changes.clear();
  player.drop(card);
  ASSERT_TRUE(eventually([&] { return changed(); }));
  EXPECT_EQ(reservation.owner(card), std::nullopt);
}

TEST_F(Reservation, IsKeptAgainstRequestsOfEqualOrLowerPriority) {
  ASSERT_TRUE(acquire());
  for (const int priority : {std::numeric_limits<int>::min(), -20, ourPriority}) {
    EXPECT_EQ(observer.requestRelease(card, priority), false);
  }
  EXPECT_EQ(observer.requestRelease(card, QStringLiteral("please")), std::nullopt);
  EXPECT_THAT(yields, IsEmpty());
  EXPECT_TRUE(isOurs());
}

TEST_F(Reservation, YieldsToAHigherPriorityOnceTheDeviceIsClosed) {
  ASSERT_TRUE(acquire());
  EXPECT_EQ(observer.requestRelease(card, ourPriority + 1), true);
  EXPECT_THAT(yields, ElementsAre(card));
  EXPECT_TRUE(eventually([&] { return observer.ownerOf(card).isEmpty(); }));
  ASSERT_TRUE(acquire());
  EXPECT_TRUE(isOurs());
}

TEST_F(Reservation, IsKeptAndSaidToBeWhileTheDeviceCannotBeClosed) {
  ASSERT_TRUE(acquire());
  letsGo = false;
  EXPECT_EQ(observer.requestRelease(card, ourPriority + 1), false);
  EXPECT_THAT(yields, ElementsAre(card));
  EXPECT_TRUE(isOurs());
  hold.reset();
  EXPECT_TRUE(eventually([&] { return observer.ownerOf(card).isEmpty(); }));
}

TEST_F(Reservation, ThatIsTakenAwayWithoutAskingIsNoticedAtOnce) {
  ASSERT_TRUE(acquire());
  OtherProgram rude(bus, {.priority = ourPriority});
  ASSERT_TRUE(rude.take(card, true));
  ASSERT_TRUE(eventually([&] { return !yields.empty(); }));
  ASSERT_TRUE(eventually([&] { return changed(); }));
  EXPECT_THAT(reservation.owner(card), Optional(Owner{getpid(), false}));
  EXPECT_FALSE(acquire());
}

TEST_F(Reservation, IsNotLostToAnOlderNotification) {
  ASSERT_EQ(reservation.owner(card), std::nullopt);
  OtherProgram server(bus);
  for (int turn = 0; turn < 5; ++turn) {
    ASSERT_TRUE(server.take(card));  // its notification waits until this thread runs its events
    ASSERT_TRUE(acquire());
    EXPECT_EQ(observer.property(card, "Priority"), QVariant(ourPriority));
    clock.runUntilIdle();
    EXPECT_EQ(reservation.owner(card), std::nullopt);
    hold.reset();
    ASSERT_TRUE(eventually([&] { return observer.ownerOf(card).isEmpty(); }));
  }
  EXPECT_THAT(yields, IsEmpty());
}

TEST_F(Reservation, GoesOnWithoutTheBusThatDies) {
  ASSERT_TRUE(acquire());
  bus.kill();
  ASSERT_TRUE(eventually([&] {
    (void)reservation.owner(card);
    return !log.lines().empty();
  }));
  EXPECT_NE(hold, nullptr);
  EXPECT_TRUE(acquire()) << "the kernel's exclusivity must do";
  EXPECT_EQ(reservation.owner(card), std::nullopt);
  hold.reset();
  EXPECT_TRUE(acquire());
  EXPECT_EQ(hold, nullptr);
  clock.advance(seconds(60));
  EXPECT_TRUE(acquire());
  EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(Reservation, GivesUpOnABusThatStandsStill) {
  ASSERT_EQ(reservation.owner(card), std::nullopt);
  bus.stop();
  EXPECT_TRUE(acquire());
  EXPECT_EQ(hold, nullptr);
  clock.advance(seconds(60));
  EXPECT_TRUE(acquire());
  EXPECT_EQ(reservation.owner(card + 1), std::nullopt);
  EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(Reservation, ThatIsTakenAwayOnABusThatThenStandsStillIsNoticed) {
  ASSERT_TRUE(acquire());
  OtherProgram rude(bus, {.priority = ourPriority});
  ASSERT_TRUE(rude.take(card, true));
  ASSERT_FALSE(observer.ownerOf(card).isEmpty());  // the notification is on its way to every program
  bus.stop();
  EXPECT_TRUE(eventually([&] { return !yields.empty(); }));
}

TEST_F(Reservation, ThatWasTakenAwayAndLeftIsTakenAgain) {
  ASSERT_TRUE(acquire());
  {
    OtherProgram rude(bus, {.priority = ourPriority});
    ASSERT_TRUE(rude.take(card, true));
    rude.drop(card);
  }
  EXPECT_TRUE(eventually([&] { return !observer.ownerOf(card).isEmpty(); }));
  EXPECT_TRUE(isOurs());
  EXPECT_THAT(yields, IsEmpty());
}

TEST_F(Reservation, OutlastsABusThatStandsStillForAWhile) {
  ASSERT_TRUE(acquire());
  bus.stop();
  EXPECT_EQ(reservation.owner(card + 1), std::nullopt);
  EXPECT_EQ(log.lines().size(), 1U);
  bus.goOn();
  EXPECT_TRUE(isOurs());
  EXPECT_FALSE(observer.take(card));
  OtherProgram player(bus, {.priority = ourPriority});
  ASSERT_TRUE(player.take(card + 1));
  clock.advance(seconds(60));
  EXPECT_THAT(reservation.owner(card + 1), Optional(Owner{getpid(), false}));
  EXPECT_EQ(observer.requestRelease(card, ourPriority + 1), true);
  EXPECT_TRUE(eventually([&] { return observer.ownerOf(card).isEmpty(); }));
}

TEST_F(Reservation, ThatABusWouldGrantTooLateIsNotKept) {
  ASSERT_EQ(reservation.owner(card), std::nullopt);
  bus.stop();
  EXPECT_TRUE(acquire());
  EXPECT_EQ(hold, nullptr);
  bus.goOn();
  (void)observer.ownerOf(card);  // by its answer the bus has read what came before
  EXPECT_TRUE(eventually([&] { return observer.ownerOf(card).isEmpty(); }));
  clock.advance(seconds(60));
  EXPECT_TRUE(acquire());
  EXPECT_TRUE(isOurs());
}

TEST_F(Reservation, OfWhatIsHeldIsThereAgainWithTheNextBus) {
  ASSERT_TRUE(acquire());
  bus.kill();
  ASSERT_TRUE(eventually([&] {
    (void)reservation.owner(card);
    return !log.lines().empty();
  }));
  bus.comeBack();
  OtherProgram witness(bus);
  EXPECT_TRUE(witness.ownerOf(card).isEmpty());
  clock.advance(seconds(60));
  EXPECT_TRUE(isOurs(witness));
  EXPECT_THAT(yields, IsEmpty());
  hold.reset();
  EXPECT_TRUE(eventually([&] { return witness.ownerOf(card).isEmpty(); }));
}

TEST_F(Reservation, OfWhatIsHeldYieldsToAProgramThatWasFasterOnTheNextBus) {
  ASSERT_TRUE(acquire());
  bus.kill();
  ASSERT_TRUE(eventually([&] {
    (void)reservation.owner(card);
    return !log.lines().empty();
  }));
  bus.comeBack();
  OtherProgram player(bus, {.priority = ourPriority});
  ASSERT_TRUE(player.take(card));
  clock.advance(seconds(60));
  EXPECT_THAT(yields, ElementsAre(card));
  EXPECT_FALSE(player.ownerOf(card).isEmpty());
}

TEST(ReservationDeadline, PassedMeansThatNothingIsAskedAnyMore) {
  struct NoEvents final : ReservationBus::Events {
    void nameMoved(int /*card*/, const ReservationBus::NameOwner& /*owner*/) override {}
    bool releaseRequested(int /*card*/, std::int32_t /*priority*/) override { return false; }
    void releaseAnswered(int /*card*/) override {}
  } events;
  HeadlessRunLoop application;
  const PrivateBus bus;
  OtherProgram observer(bus);
  const auto connection = ReservationBus::connect(bus.address(), events);
  ASSERT_TRUE(connection.has_value());
  EXPECT_EQ((*connection)->requestName(card, false), true);
  (*connection)->answerBy({});
  EXPECT_TRUE((*connection)->isLate());
  EXPECT_FALSE((*connection)->requestName(card + 1, false).has_value());
  EXPECT_FALSE((*connection)->nameOwner(card).has_value());
  EXPECT_TRUE(observer.ownerOf(card + 1).isEmpty());
}

TEST(ReservationWithoutABus, IsNoneAndSaysSoOnce) {
  HeadlessRunLoop application;
  const TemporaryFolder folder;
  for (const std::string& address : {"unix:path=" + (folder.path() / "nobody").string(), std::string("nonsense:"),
                                     std::string("autolaunch:"), std::string("unix:path="), std::string("unix:")}) {
    SCOPED_TRACE(address);
    ManualRunLoop clock;
    MemoryLog log;
    SessionBusReservation reservation(clock, log, {"Player", ourPriority, address});
    EXPECT_EQ(reservation.owner(card), std::nullopt);
    const auto hold = reservation.acquire(card, "Test DAC");
    ASSERT_TRUE(hold.has_value());
    EXPECT_EQ(*hold, nullptr);
    clock.advance(seconds(60));
    EXPECT_EQ(reservation.owner(card), std::nullopt);
    EXPECT_EQ(log.lines().size(), 1U);
  }
}

TEST(ReservationLifetime, AHoldMayOutliveItAndTheCardIsFree) {
  HeadlessRunLoop application;
  const PrivateBus bus;
  ManualRunLoop clock;
  MemoryLog log;
  OtherProgram observer(bus);
  DeviceReservation::Hold hold;
  {
    SessionBusReservation reservation(clock, log, {"Player", ourPriority, bus.address()});
    hold = reservation.acquire(card, "Test DAC").value_or(nullptr);
    ASSERT_NE(hold, nullptr);
  }
  EXPECT_TRUE(eventually([&] { return observer.ownerOf(card).isEmpty(); }));
  hold.reset();
}

}  // namespace
}  // namespace tolvane::test
