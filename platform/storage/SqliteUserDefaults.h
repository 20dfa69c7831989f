#pragma once
// The defaults of the installed player: in memory for who reads, on disk by a thread of their own, so that the main
// thread never waits for a disk after construction. Player's thread, but for that writer. A database that cannot be
// used is never overwritten: a damaged one is set aside, anything else is left alone and memory serves; either is
// logged once.

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <optional>
#include <thread>

#include "platform/Log.h"
#include "platform/UserDefaults.h"
#include "platform/storage/DefaultsDatabase.h"

namespace tolvane {

class SqliteUserDefaults final : public UserDefaults {
 public:
  /// Reads what is stored in `folder`, which is made when there is none. `patience` bounds each wait for another copy
  /// of the player. The log outlives this object.
  SqliteUserDefaults(std::filesystem::path folder, Log& log,
                     std::chrono::milliseconds patience = std::chrono::seconds(2));
  /// Stores what is not yet stored.
  ~SqliteUserDefaults() override;
  SqliteUserDefaults(const SqliteUserDefaults&) = delete;
  SqliteUserDefaults& operator=(const SqliteUserDefaults&) = delete;

  [[nodiscard]] std::optional<Value> object(std::string_view key) const override;
  void setObject(std::string_view key, Value value) override;
  void removeObject(std::string_view key) override;

  /// Waits until everything that was set has been stored, or could not be: then false. REQUIRES: no group is open.
  bool synchronize();

 private:
  using Values = DefaultsDatabase::Values;

  void beginGroup() override;
  void endGroup() override;
  void change(std::string_view key, DefaultsDatabase::Value value);

  [[nodiscard]] std::expected<Values, DatabaseError> openAndRead();
  [[nodiscard]] std::expected<Values, DatabaseError> setAsideAndBegin(const DatabaseError& damage);
  void runWriter();
  [[nodiscard]] bool store(const Values& changes, const Values& everything);
  [[nodiscard]] std::expected<void, DatabaseError> beginAgain(const DatabaseError& cause, const Values& everything);
  void report(const std::string& message);

  const std::filesystem::path folder_;
  const std::filesystem::path file_;
  Log& log_;
  const std::chrono::milliseconds patience_;

  // Constructor, then the writer's.
  std::optional<DefaultsDatabase> database_;
  bool hasReportedFailure_ = false;

  mutable std::mutex mutex_;  // guards what follows
  std::condition_variable news_;
  std::condition_variable idle_;
  Values values_;   ///< as the program sees them; null for what it has removed
  Values pending_;  ///< what the disk does not have yet
  int openGroups_ = 0;
  bool hasNews_ = false;
  bool isWriting_ = false;
  bool isEnding_ = false;

  std::thread writer_;
};

}  // namespace tolvane
