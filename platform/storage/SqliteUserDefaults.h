#pragma once
// The defaults of the installed player: read from memory, and written to disk by their own thread, so that the player's
// thread waits for a disk only briefly at construction. Player's thread, except for that writer. A database that cannot
// be used is never overwritten: a damaged one is set aside, one that another process has locked is retried, any other
// is left alone and memory is used; each is logged once.

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "platform/Log.h"
#include "platform/UserDefaults.h"
#include "platform/WaitingTime.h"
#include "platform/storage/DefaultsDatabase.h"

namespace tolvane {

class SqliteUserDefaults final : public UserDefaults {
 public:
  struct Patience {
    std::chrono::milliseconds withOthers{2000};   ///< each wait for another process
    std::chrono::milliseconds atStart{250};       ///< the construction's wait for the stored values
    std::chrono::milliseconds beforeRetry{1000};  ///< between two attempts to open what is locked
  };
  struct Waiting {
    Patience patience{};
    /// Runs on the writer's thread when the stored values have been read, if the construction had to continue without
    /// them.
    std::function<void()> onLoadedLate{};
    std::shared_ptr<const WaitingTime> time = std::make_shared<const SteadyWaitingTime>();
  };

  /// Reads what is stored in `folder`, which is made when there is none. The log outlives this object.
  SqliteUserDefaults(std::filesystem::path folder, Log& log) : SqliteUserDefaults(std::move(folder), log, Waiting()) {}
  SqliteUserDefaults(std::filesystem::path folder, Log& log, Waiting waiting);
  /// Stores what is not yet stored.
  ~SqliteUserDefaults() override;
  SqliteUserDefaults(const SqliteUserDefaults&) = delete;
  SqliteUserDefaults& operator=(const SqliteUserDefaults&) = delete;

  [[nodiscard]] std::optional<Value> object(std::string_view key) const override;
  void setObject(std::string_view key, Value value) override;
  void removeObject(std::string_view key) override;
  [[nodiscard]] bool isLoaded() const override;

  /// Waits until everything that was set has been stored; false if it could not be. REQUIRES: no group is open.
  bool synchronize();

 private:
  using Values = DefaultsDatabase::Values;

  void beginGroup() override;
  void endGroup() override;
  void change(std::string_view key, DefaultsDatabase::Value value);

  enum class State : std::uint8_t {
    opening,
    locked,  ///< by another process: it is tried again
    loaded,
    unusable
  };

  [[nodiscard]] bool load();
  [[nodiscard]] bool adopt(std::expected<Values, DatabaseError> stored);
  [[nodiscard]] std::expected<Values, DatabaseError> openAndRead();
  [[nodiscard]] std::expected<Values, DatabaseError> setAsideAndBegin(const DatabaseError& damage);
  void runWriter();
  [[nodiscard]] bool store(const Values& changes, const Values& everything);
  [[nodiscard]] std::expected<void, DatabaseError> beginAgain(const DatabaseError& cause, const Values& everything);
  void report(const std::string& message);

  const std::filesystem::path folder_;
  const std::filesystem::path file_;
  Log& log_;
  const Waiting waiting_;

  // The writer's.
  std::optional<DefaultsDatabase> database_;
  bool hasReportedFailure_ = false;

  mutable std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  std::condition_variable idle_;
  std::condition_variable opened_;  ///< the state has changed
  State state_ = State::opening;
  bool isLate_ = false;  ///< the construction went on before it was loaded
  Values values_;        ///< as the program sees them; null for what it has removed
  Values pending_;       ///< what the disk does not have yet
  int openGroups_ = 0;
  bool hasChanges_ = false;
  bool isWriting_ = false;
  bool isEnding_ = false;

  std::thread writer_;
};

}  // namespace tolvane
