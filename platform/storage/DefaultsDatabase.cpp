#include "platform/storage/DefaultsDatabase.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <array>
#include <bit>
#include <optional>

namespace tolvane {

namespace {

constexpr std::int64_t layoutVersion = 1;
// No primary key: its index would be a second copy of the keys, which no seal guards. A table without row numbers would
// read the longest value for each change of another. Scanning a few dozen rows costs nothing.
constexpr std::string_view tableText = "CREATE TABLE defaults (key TEXT NOT NULL, value, seal INTEGER NOT NULL)";

struct Finalize {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

Statement prepare(sqlite3* connection, const char* text) {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(connection, text, -1, &statement, nullptr);
  return Statement(statement);
}

/// The same on every machine, as the database file is.
std::uint64_t littleEndian(std::string_view bytes) {
  std::uint64_t word = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) word |= std::uint64_t{static_cast<unsigned char>(bytes[i])} << 8U * i;
  return word;
}

/// The database itself notices broken structure, but not changed content; each row is sealed with this.
std::int64_t sealOf(std::string_view key, std::string_view kind, std::string_view bytes) {
  std::uint64_t seal = 0xCBF29CE484222325U;
  const auto mix = [&seal](std::uint64_t word) {
    seal = (seal ^ word) * 0x9E3779B97F4A7C15U;
    seal ^= seal >> 32U;
  };
  for (const auto part : {key, kind, bytes}) {
    mix(part.size());
    std::size_t at = 0;
    for (; at + 8 <= part.size(); at += 8) mix(littleEndian(part.substr(at, 8)));
    for (; at < part.size(); ++at) mix(static_cast<unsigned char>(part[at]));
  }
  return std::bit_cast<std::int64_t>(seal);
}

std::int64_t sealOf(std::string_view key, const UserDefaults::Value& value) {
  if (const bool* truth = std::get_if<bool>(&value)) return sealOf(key, "bool", *truth ? "1" : "0");
  if (const double* number = std::get_if<double>(&value)) {
    auto bits = std::bit_cast<std::uint64_t>(*number);
    std::array<char, sizeof(bits)> bytes{};
    for (char& byte : bytes) {
      byte = static_cast<char>(bits & 0xFFU);
      bits >>= 8U;
    }
    return sealOf(key, "double", std::string_view(bytes.data(), bytes.size()));
  }
  return sealOf(key, "data", std::get<UserDefaults::Data>(value));
}

std::string_view bytesOfColumn(sqlite3_stmt* row, int column) {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(row, column));
  const int size = sqlite3_column_bytes(row, column);
  return bytes != nullptr ? std::string_view(bytes, static_cast<std::size_t>(size)) : std::string_view();
}

std::optional<UserDefaults::Value> valueOfColumn(sqlite3_stmt* row, int column) {
  switch (sqlite3_column_type(row, column)) {
    case SQLITE_INTEGER:
      return sqlite3_column_int(row, column) != 0;
    case SQLITE_FLOAT:
      return sqlite3_column_double(row, column);
    case SQLITE_BLOB:
      return UserDefaults::Data(bytesOfColumn(row, column));
    default:
      return std::nullopt;
  }
}

void bindText(sqlite3_stmt* statement, int position, std::string_view text) {
  sqlite3_bind_text64(statement, position, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

/// A file with our version has contained our table alone. Without the version it may be another program's.
DatabaseError strangeSchema(std::int64_t version) {
  if (version == 0) return {DatabaseError::Kind::unavailable, "it is another program's"};
  return {DatabaseError::Kind::damaged, "its tables are not those that were made"};
}

DatabaseError damagedRow(std::string_view key) {
  return {DatabaseError::Kind::damaged, fmt::format("the value of {} is not what was stored", key)};
}

}  // namespace

void DefaultsDatabase::Close::operator()(sqlite3* connection) const { sqlite3_close(connection); }

std::expected<DefaultsDatabase, DatabaseError> DefaultsDatabase::open(const std::filesystem::path& file,
                                                                      std::chrono::milliseconds patience) {
  sqlite3* connection = nullptr;
  const int status = sqlite3_open_v2(file.c_str(), &connection,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  DefaultsDatabase database(connection);
  if (status != SQLITE_OK) return std::unexpected(database.lastError());
  sqlite3_busy_timeout(connection, static_cast<int>(patience.count()));
  // A rollback journal keeps everything in one file, which can be read even in a folder without write permission, and
  // needs no shared memory in a home folder on the network. It syncs more often than a write-ahead log, but only on the
  // writer's own thread. Truncated, not deleted: deletion would be another write to a folder.
  for (const char* setting : {"PRAGMA journal_mode = TRUNCATE", "PRAGMA synchronous = FULL",
                              "PRAGMA cell_size_check = ON", "PRAGMA trusted_schema = OFF"}) {
    if (auto done = database.execute(setting); !done) return std::unexpected(done.error());
  }
  return database;
}

DatabaseError DefaultsDatabase::lastError() const {
  if (!connection_) return {DatabaseError::Kind::unavailable, "out of memory"};
  const int status = sqlite3_extended_errcode(connection_.get());
  auto kind = DatabaseError::Kind::unavailable;
  if ((status & 0xFF) == SQLITE_CORRUPT || (status & 0xFF) == SQLITE_NOTADB) kind = DatabaseError::Kind::damaged;
  if ((status & 0xFF) == SQLITE_BUSY || (status & 0xFF) == SQLITE_LOCKED) kind = DatabaseError::Kind::held;
  if (status == SQLITE_READONLY_DBMOVED) kind = DatabaseError::Kind::moved;
  return {kind, sqlite3_errmsg(connection_.get())};
}

std::expected<void, DatabaseError> DefaultsDatabase::execute(const char* statement) {
  if (sqlite3_exec(connection_.get(), statement, nullptr, nullptr, nullptr) != SQLITE_OK)
    return std::unexpected(lastError());
  return {};
}

std::expected<std::int64_t, DatabaseError> DefaultsDatabase::number(const char* query) {
  const Statement statement = prepare(connection_.get(), query);
  if (!statement || sqlite3_step(statement.get()) != SQLITE_ROW) return std::unexpected(lastError());
  return sqlite3_column_int64(statement.get(), 0);
}

std::expected<DefaultsDatabase::Values, DatabaseError> DefaultsDatabase::readAll() {
  // One transaction: no other process writes between the version of the data and the data.
  if (auto begun = execute("BEGIN"); !begun) return std::unexpected(begun.error());
  auto values = readWithin();
  rollBack();
  return values;
}

std::expected<DefaultsDatabase::Values, DatabaseError> DefaultsDatabase::readWithin() {
  const auto dataVersion = number("PRAGMA data_version");
  if (!dataVersion) return std::unexpected(dataVersion.error());
  dataVersion_ = *dataVersion;
  const auto version = number("PRAGMA user_version");
  if (!version) return std::unexpected(version.error());
  if (*version > layoutVersion)
    return std::unexpected(DatabaseError{DatabaseError::Kind::unavailable, "it was written by a newer version"});
  const auto schema = readSchema();
  if (!schema) return std::unexpected(schema.error());
  if (*schema == Schema::none && *version == 0) return Values();
  if (*schema != Schema::ours) return std::unexpected(strangeSchema(*version));
  return readRows();
}

std::expected<DefaultsDatabase::Schema, DatabaseError> DefaultsDatabase::readSchema() {
  const auto schema = number(fmt::format("SELECT CASE WHEN count(*) = 0 THEN 0 WHEN count(*) = 1 AND max(sql) = '{}' "
                                         "THEN 1 ELSE 2 END FROM sqlite_schema",
                                         tableText)
                                 .c_str());
  if (!schema) return std::unexpected(schema.error());
  return *schema == 0 ? Schema::none : *schema == 1 ? Schema::ours : Schema::strange;
}

/// The seals do not reveal missing rows: a page that has lost some of them still looks like a page.
std::expected<void, DatabaseError> DefaultsDatabase::check() {
  const Statement statement = prepare(connection_.get(), "PRAGMA quick_check(1)");
  if (!statement || sqlite3_step(statement.get()) != SQLITE_ROW) return std::unexpected(lastError());
  const auto verdict = bytesOfColumn(statement.get(), 0);
  if (verdict == "ok") return {};
  return std::unexpected(DatabaseError{DatabaseError::Kind::damaged, std::string(verdict)});
}

std::expected<DefaultsDatabase::Values, DatabaseError> DefaultsDatabase::readRows() {
  if (auto sound = check(); !sound) return std::unexpected(sound.error());
  const Statement rows = prepare(connection_.get(), "SELECT key, value, seal FROM defaults");
  if (!rows) return std::unexpected(lastError());
  Values values;
  int status = SQLITE_OK;
  while ((status = sqlite3_step(rows.get())) == SQLITE_ROW) {
    const std::string key(bytesOfColumn(rows.get(), 0));
    auto value = valueOfColumn(rows.get(), 1);
    if (!value || sealOf(key, *value) != sqlite3_column_int64(rows.get(), 2)) return std::unexpected(damagedRow(key));
    values.insert_or_assign(key, std::make_shared<const UserDefaults::Value>(std::move(*value)));
  }
  if (status != SQLITE_DONE) return std::unexpected(lastError());
  return values;
}

/// Some failures have ended the transaction already.
void DefaultsDatabase::rollBack() {
  if (sqlite3_get_autocommit(connection_.get()) == 0)
    sqlite3_exec(connection_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

std::expected<void, DatabaseError> DefaultsDatabase::write(const Values& changes, const Values& everything) {
  // Immediate: a transaction that began by reading could not wait for another process's.
  if (auto begun = execute("BEGIN IMMEDIATE"); !begun) return begun;
  const auto dataVersion = number("PRAGMA data_version");
  auto done = dataVersion ? writeWithin(*dataVersion == dataVersion_ ? changes : everything)
                          : std::unexpected(dataVersion.error());
  if (done) done = execute("COMMIT");
  if (done) dataVersion_ = *dataVersion;
  rollBack();
  return done;
}

std::expected<void, DatabaseError> DefaultsDatabase::writeWithin(const Values& changes) {
  const auto version = number("PRAGMA user_version");
  if (!version) return std::unexpected(version.error());
  if (*version > layoutVersion)
    return std::unexpected(DatabaseError{DatabaseError::Kind::unavailable, "a newer version has taken it over"});
  const auto schema = readSchema();
  if (!schema) return std::unexpected(schema.error());
  if (*schema == Schema::none && *version == 0) {
    if (auto made = execute(fmt::format("{}; PRAGMA user_version = {}", tableText, layoutVersion).c_str()); !made)
      return made;
  } else if (*schema != Schema::ours) {
    return std::unexpected(strangeSchema(*version));
  }
  for (const auto& [key, value] : changes) {
    if (auto done = value ? writeRow(key, *value) : removeRow(key); !done) return done;
  }
  return {};
}

std::expected<void, DatabaseError> DefaultsDatabase::writeRow(const std::string& key,
                                                              const UserDefaults::Value& value) {
  if (auto done = runRow("UPDATE defaults SET value = ?2, seal = ?3 WHERE key = ?1", key, value); !done) return done;
  if (sqlite3_changes(connection_.get()) != 0) return {};
  return runRow("INSERT INTO defaults (key, value, seal) VALUES (?1, ?2, ?3)", key, value);
}

std::expected<void, DatabaseError> DefaultsDatabase::runRow(const char* text, const std::string& key,
                                                            const UserDefaults::Value& value) {
  const Statement row = prepare(connection_.get(), text);
  if (!row) return std::unexpected(lastError());
  bindText(row.get(), 1, key);
  if (const bool* truth = std::get_if<bool>(&value)) {
    sqlite3_bind_int(row.get(), 2, *truth ? 1 : 0);
  } else if (const double* number = std::get_if<double>(&value)) {
    sqlite3_bind_double(row.get(), 2, *number);
  } else {
    const auto& data = std::get<UserDefaults::Data>(value);
    // An empty string's null pointer would store no value.
    sqlite3_bind_blob64(row.get(), 2, data.empty() ? "" : data.data(), data.size(), SQLITE_STATIC);
  }
  sqlite3_bind_int64(row.get(), 3, sealOf(key, value));
  if (sqlite3_step(row.get()) != SQLITE_DONE) return std::unexpected(lastError());
  return {};
}

std::expected<void, DatabaseError> DefaultsDatabase::removeRow(const std::string& key) {
  const Statement row = prepare(connection_.get(), "DELETE FROM defaults WHERE key = ?1");
  if (!row) return std::unexpected(lastError());
  bindText(row.get(), 1, key);
  if (sqlite3_step(row.get()) != SQLITE_DONE) return std::unexpected(lastError());
  return {};
}

}  // namespace tolvane
