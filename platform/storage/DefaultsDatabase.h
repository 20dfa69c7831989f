#pragma once
// The file behind the defaults: one row a key. One thread at a time. A transaction is stored whole or not at all, also
// if the process or the power fails during it. Never replaces a file that it cannot read.

#include <chrono>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "platform/UserDefaults.h"

struct sqlite3;

namespace tolvane {

struct DatabaseError {
  enum class Kind : std::uint8_t {
    damaged,      ///< the file is no database, or not a whole one
    moved,        ///< another process has set the file aside
    held,         ///< another process has locked it
    unavailable,  ///< anything else: it may work later, or never
  };

  Kind kind = Kind::unavailable;
  std::string message;
};

class DefaultsDatabase {
 public:
  using Value = std::shared_ptr<const UserDefaults::Value>;
  /// Null: the key has no value, or shall have none.
  using Values = std::map<std::string, Value, std::less<>>;

  /// Makes the file when there is none; writes nothing else. `patience` bounds each wait for other processes.
  static std::expected<DefaultsDatabase, DatabaseError> open(const std::filesystem::path& file,
                                                             std::chrono::milliseconds patience);

  [[nodiscard]] std::expected<Values, DatabaseError> readAll();

  /// All changes in one transaction. If another process has written since this one read or wrote, `everything` is
  /// written instead: values that belong together are never those of two processes.
  [[nodiscard]] std::expected<void, DatabaseError> write(const Values& changes, const Values& everything);

 private:
  struct Close {
    void operator()(sqlite3* connection) const;
  };

  explicit DefaultsDatabase(sqlite3* connection) : connection_(connection) {}
  [[nodiscard]] DatabaseError lastError() const;
  [[nodiscard]] std::expected<void, DatabaseError> execute(const char* statement);
  [[nodiscard]] std::expected<std::int64_t, DatabaseError> number(const char* query);
  [[nodiscard]] std::expected<Values, DatabaseError> readWithin();
  /// Checks the declarations in the file. Only our table is ever used: triggers, views, generated columns and
  /// constraints would execute what another program has written there.
  enum class Schema : std::uint8_t { none, ours, strange };
  [[nodiscard]] std::expected<Schema, DatabaseError> readSchema();
  [[nodiscard]] std::expected<Values, DatabaseError> readRows();
  [[nodiscard]] std::expected<void, DatabaseError> check();
  [[nodiscard]] std::expected<void, DatabaseError> writeWithin(const Values& changes);
  void rollBack();
  [[nodiscard]] std::expected<void, DatabaseError> writeRow(const std::string& key, const UserDefaults::Value& value);
  [[nodiscard]] std::expected<void, DatabaseError> runRow(const char* text, const std::string& key,
                                                          const UserDefaults::Value& value);
  [[nodiscard]] std::expected<void, DatabaseError> removeRow(const std::string& key);

  std::unique_ptr<sqlite3, Close> connection_;
  std::int64_t dataVersion_ = 0;  ///< changes when another process writes
};

}  // namespace tolvane
