#pragma once
// The user at the window: draws what they do through the proxy, and knows from that alone what the window must show at
// once, what it must never show, and where both sides must be once everything has arrived. The test's thread.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/session/campaign/SeamWorld.h"

namespace tolvane {

class SeamUser {
 public:
  explicit SeamUser(SeamWorld& world);

  /// One thing that a user does.
  void act();
  /// Everything arrives: window, player and what was asked for must agree.
  void expectAgreement();
  /// The program was started anew.
  void beginAnew();

  [[nodiscard]] std::int64_t agreements() const { return agreements_; }
  [[nodiscard]] std::int64_t bitPerfectShown() const { return bitPerfectShown_; }
  [[nodiscard]] std::int64_t waitsShown() const { return waitsShown_; }
  [[nodiscard]] std::int64_t positionsShown() const { return positionsShown_; }
  [[nodiscard]] std::int64_t diagnosticsShown() const { return diagnosticsShown_; }
  [[nodiscard]] std::int64_t unplayableShown() const { return unplayableShown_; }

 private:
  using Origin = SeamWorld::Origin;
  struct Choice {
    unsigned weight;
    void (SeamUser::*action)();
  };

  void playRow();
  void playNext();
  void playPrevious();
  void pauseOrGoOn();
  void stop();
  void seek();
  void setVolume();
  void setBalance();
  void selectDevice();
  void switchExclusiveAccess();
  void load();
  void move();
  void insert();
  void remove();
  void undo();
  void learnDuration();
  void storeSetting();
  void save();
  void watchPath();
  void minimiseOrRestore();
  void comeToTheFront();

  void play(std::int64_t row, const std::function<void(SessionProxy&)>& send);
  /// Until the player answers, what is shown must be so.
  void promise(std::string what, std::function<bool(const SessionState&)> holds);
  void forgetPromise() { promise_.reset(); }
  void shown(const SessionState& before, const SessionState& now);
  void checkWaiting();
  void checkLists();
  void checkUnplayableFiles();
  void adoptOrder();
  [[nodiscard]] std::vector<FileURL> drawFiles();
  void require(bool holds, const std::string& what) {
    if (!holds) world_.world.fail(what);
  }

  SeamWorld& world_;
  CampaignRandom& random_;

  // What was asked for.
  double volume_ = 1;
  double balance_ = 0;
  bool exclusive_ = false;
  bool watchesPath_ = false;
  bool watchesTime_ = true;
  std::vector<Origin> order_;
  bool isOrderKnown_ = true;  ///< not between an undo and the next agreement
  std::map<Origin, FileURL> urls_;
  std::uint64_t lastLoad_ = 0;
  std::map<std::string, std::int64_t> settings_;
  std::int64_t lastSetting_ = 0;
  struct Promise {
    std::uint64_t number;  ///< of the command
    std::string what;
    std::function<bool(const SessionState&)> holds;
  };
  std::optional<Promise> promise_;

  std::int64_t agreements_ = 0;
  std::int64_t bitPerfectShown_ = 0;
  std::int64_t waitsShown_ = 0;
  std::int64_t positionsShown_ = 0;
  std::int64_t diagnosticsShown_ = 0;
  std::int64_t unplayableShown_ = 0;
};

}  // namespace tolvane
