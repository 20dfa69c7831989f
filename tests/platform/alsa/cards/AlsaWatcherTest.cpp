#include "platform/alsa/cards/AlsaWatcher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(AlsaNode, IsReadFromItsName) {
  EXPECT_EQ(parseAlsaNode("controlC0"), (AlsaNode{0, std::nullopt}));
  EXPECT_EQ(parseAlsaNode("controlC31"), (AlsaNode{31, std::nullopt}));
  EXPECT_EQ(parseAlsaNode("pcmC1D0p"), (AlsaNode{1, 0}));
  EXPECT_EQ(parseAlsaNode("pcmC12D34p"), (AlsaNode{12, 34}));
  for (const char* name : {"pcmC1D0c", "hwC2D0", "timer", "seq", "midiC0D0", "controlC", "controlCx", "controlC1x",
                           "pcmC1Dp", "pcmC1D0", "pcmC1", "by-id", ""}) {
    EXPECT_EQ(parseAlsaNode(name), std::nullopt) << name;
  }
}

/// A manual run loop on which a test decides when the watched descriptor has been looked at.
class WatchedRunLoop : public RunLoop {
 public:
  TimePoint now() const override { return time.now(); }
  Timer scheduleTimer(Duration interval, bool repeats, Action action) override {
    return time.scheduleTimer(interval, repeats, std::move(action));
  }
  void post(Action action) override { time.post(std::move(action)); }
  void sleepFor(Duration duration) override { time.sleepFor(duration); }
  Watch watchDescriptor(int descriptor, Action action) override {
    descriptorIsReadable = action;
    return time.watchDescriptor(descriptor, std::move(action));
  }

  ManualRunLoop time;
  Action descriptorIsReadable;
};

class AlsaWatcherTest : public testing::Test {
 protected:
  void startWatching() {
    watcher_ = std::make_unique<AlsaWatcher>(
        loop_, log_, root_ + "/snd",
        AlsaWatcher::Handlers{
            .devicesMayHaveCome = [this] { notified_.emplace_back("look"); },
            .cardHasGone = [this](int card) { notified_.push_back("card " + std::to_string(card) + " has gone"); },
            .usageMayHaveChanged =
                [this](int card, unsigned device) {
                  notified_.push_back("usage of " + std::to_string(card) + "," + std::to_string(device));
                }});
  }
  void makeFolder() { fs::create_directory(root_ + "/snd"); }
  void makeNode(const std::string& name) { std::ofstream(root_ + "/snd/" + name) << ""; }
  void giveItsPermissions(const std::string& name) {
    fs::permissions(root_ + "/snd/" + name, fs::perms::owner_all, fs::perm_options::replace);
  }
  void removeNode(const std::string& name) { fs::remove(root_ + "/snd/" + name); }

  std::vector<std::string> notified(RunLoop::Duration after = 0ms) {
    loop_.descriptorIsReadable();
    loop_.time.advance(after);
    return std::exchange(notified_, {});
  }

  test::TemporaryFolder folder_;
  const std::string root_ = folder_.path().string();
  WatchedRunLoop loop_;
  MemoryLog log_;
  std::unique_ptr<AlsaWatcher> watcher_;
  std::vector<std::string> notified_;
};

TEST_F(AlsaWatcherTest, LooksOnceWhenTheNodesOfANewCardHaveSettled) {
  makeFolder();
  startWatching();
  fs::create_directory(root_ + "/snd/by-id");
  makeNode("controlC1");
  EXPECT_THAT(notified(100ms), IsEmpty());
  giveItsPermissions("controlC1");
  EXPECT_THAT(notified(150ms), IsEmpty()) << "the wait begins anew with each sign of life";
  EXPECT_THAT(notified(100ms), ElementsAre("look"));
  EXPECT_THAT(notified(5s), IsEmpty());
}

TEST_F(AlsaWatcherTest, ReportsAtOnceThatACardHasGone) {
  makeFolder();
  makeNode("controlC3");
  makeNode("pcmC3D0p");
  startWatching();
  removeNode("pcmC3D0p");
  removeNode("controlC3");
  EXPECT_THAT(notified(), ElementsAre("card 3 has gone"));
  EXPECT_THAT(notified(1s), ElementsAre("look"));
}

TEST_F(AlsaWatcherTest, ReportsAnOpenAtOnceAndACloseWhenTheDriverHasDoneIt) {
  makeFolder();
  makeNode("pcmC2D1p");
  startWatching();
  {
    const std::ifstream opened(root_ + "/snd/pcmC2D1p");
    EXPECT_THAT(notified(), ElementsAre("usage of 2,1"));
    EXPECT_THAT(notified(1s), ElementsAre("usage of 2,1"));
  }
  EXPECT_THAT(notified(), IsEmpty());
  EXPECT_THAT(notified(1s), ElementsAre("usage of 2,1"));
}

TEST_F(AlsaWatcherTest, CaresNeitherForCaptureNorForOtherNodes) {
  makeFolder();
  for (const char* name : {"pcmC0D0c", "seq", "timer"}) makeNode(name);
  startWatching();
  for (const char* name : {"pcmC0D0c", "seq", "timer"}) const std::ifstream opened(root_ + "/snd/" + name);
  removeNode("timer");
  EXPECT_THAT(notified(1s), IsEmpty());
}

TEST_F(AlsaWatcherTest, NoticesTheFirstCardOfAMachineThatHadNone) {
  startWatching();
  makeFolder();
  EXPECT_THAT(notified(1s), ElementsAre("look"));
  makeNode("controlC0");
  EXPECT_THAT(notified(1s), ElementsAre("look"));
}

TEST_F(AlsaWatcherTest, NoticesACardAgainAfterTheLastOneHadGone) {
  makeFolder();
  makeNode("controlC0");
  startWatching();
  fs::remove_all(root_ + "/snd");
  EXPECT_THAT(notified(1s), ElementsAre("card 0 has gone", "look"));
  makeFolder();
  EXPECT_THAT(notified(1s), ElementsAre("look"));
  makeNode("controlC0");
  EXPECT_THAT(notified(1s), ElementsAre("look"));
}

TEST_F(AlsaWatcherTest, ReportsNothingOnceItIsDestroyed) {
  makeFolder();
  startWatching();
  makeNode("controlC0");
  loop_.descriptorIsReadable();
  watcher_.reset();
  loop_.time.advance(1s);
  EXPECT_THAT(notified_, IsEmpty());
  EXPECT_EQ(loop_.time.pendingTimerCount(), 0U);
  EXPECT_EQ(loop_.time.watchedDescriptorCount(), 0U);
}

}  // namespace
}  // namespace tolvane
