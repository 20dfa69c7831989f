// A session whose defaults cannot be read yet when it begins, because another program has locked them.

#include "tests/session/SessionFixture.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Serves from memory until load() is called; what was set by then takes precedence over what is stored.
class LockedDefaults final : public UserDefaults {
 public:
  explicit LockedDefaults(MemoryUserDefaults& stored) : stored_(stored) {}

  void load() {
    for (const auto& [key, value] : set_) value ? stored_.setObject(key, *value) : stored_.removeObject(key);
    isLoaded_ = true;
  }

  std::optional<Value> object(std::string_view key) const override {
    if (isLoaded_) return stored_.object(key);
    const auto found = set_.find(key);
    return found != set_.end() ? found->second : std::nullopt;
  }
  void setObject(std::string_view key, Value value) override {
    if (isLoaded_) return stored_.setObject(key, std::move(value));
    set_.insert_or_assign(std::string(key), std::move(value));
  }
  void removeObject(std::string_view key) override {
    if (isLoaded_) return stored_.removeObject(key);
    set_.insert_or_assign(std::string(key), std::nullopt);
  }
  bool isLoaded() const override { return isLoaded_; }

 private:
  void beginGroup() override {}
  void endGroup() override {}

  MemoryUserDefaults& stored_;
  std::map<std::string, std::optional<Value>, std::less<>> set_;
  bool isLoaded_ = false;
};

class LateDefaults : public ProxyFixture {
 protected:
  LateDefaults() {
    load(3);
    session.setOutputVolume(0.5);
    proxy.setExclusiveAccessEnabled(true);
    settle();
    host.reset();
    host.emplace(SessionHost::Services{hardware, files, locked, bookmarks, runLoop, log}, link);
    settle();
  }

  void unlock() {
    locked.load();
    host->defaultsAreLoaded();
    settle();
  }
  [[nodiscard]] std::vector<int> shownTracks() const {
    std::vector<int> numbers;
    for (const auto& track : state().tracks) numbers.push_back(std::stoi(std::string(track.title())));
    return numbers;
  }

  LockedDefaults locked{defaults};
};

TEST_F(LateDefaults, ShowThatNothingIsSavedMeanwhile) {
  EXPECT_FALSE(state().isSaved);
  EXPECT_THAT(shownTracks(), IsEmpty());
  unlock();
  EXPECT_TRUE(state().isSaved);
}

TEST_F(LateDefaults, RestoreTheSessionOnceTheyAreThere) {
  unlock();
  EXPECT_THAT(shownTracks(), ElementsAre(1, 2, 3));
  EXPECT_EQ(state().outputVolume, 0.5);
  EXPECT_TRUE(state().isExclusiveAccessEnabled);
  EXPECT_EQ(state().exclusiveAccessStatus.kind, ExclusiveAccessStatus::Kind::requested);
}

TEST_F(LateDefaults, AreNotEmptiedByASessionThatCouldNotReadThem) {
  proxy.save();
  proxy.stopPlayback();
  settle();
  unlock();
  EXPECT_THAT(shownTracks(), ElementsAre(1, 2, 3));
}

TEST_F(LateDefaults, YieldToAPlaylistThatWasLoadedMeanwhile) {
  const auto url = addTrack(4);
  proxy.loadPlaylist({&url, 1}, false);
  proxy.setOutputVolume(0.75);
  settle();
  unlock();
  EXPECT_THAT(shownTracks(), ElementsAre(4));
  EXPECT_EQ(state().outputVolume, 0.75);
  host.reset();
  host.emplace(SessionHost::Services{hardware, files, defaults, bookmarks, runLoop, log}, link);
  settle();
  EXPECT_THAT(shownTracks(), ElementsAre(4)) << "it has been stored";
}

}  // namespace
}  // namespace tolvane
