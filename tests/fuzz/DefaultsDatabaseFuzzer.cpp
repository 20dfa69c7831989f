// Feeds made-up files to the store of the defaults: whatever the database holds, it is read, left alone or found
// damaged; what is stored in one that could be read is there afterwards. An input that begins with "--" is statements
// of another program instead, run on a database of the player's own.

#include <sqlite3.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "platform/storage/DefaultsDatabase.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

using Values = DefaultsDatabase::Values;
constexpr std::chrono::milliseconds patience{0};

/// What must hold of every file. Ends the program where it does not.
void require(bool condition) {
  if (!condition) std::abort();
}

DefaultsDatabase::Value value(UserDefaults::Value of) { return std::make_shared<const UserDefaults::Value>(of); }

void begin(const std::filesystem::path& file) {
  auto database = DefaultsDatabase::open(file, patience);
  require(database.has_value());
  const Values values{{"volume", value(0.25)}, {"exclusive", value(true)}, {"list", value(UserDefaults::Data("[1]"))}};
  require(database->readAll() && database->write(values, values));
}

/// Statements that do not end are no matter of the file that they would leave.
void runStatements(const std::filesystem::path& file, const std::string& statements) {
  sqlite3* connection = nullptr;
  require(sqlite3_open(file.c_str(), &connection) == SQLITE_OK);
  sqlite3_limit(connection, SQLITE_LIMIT_LENGTH, 1 << 20);
  sqlite3_limit(connection, SQLITE_LIMIT_ATTACHED, 0);
  sqlite3_progress_handler(
      connection, 100'000, [](void*) { return 1; }, nullptr);
  sqlite3_exec(connection, statements.c_str(), nullptr, nullptr, nullptr);
  sqlite3_close(connection);
}

/// Nothing unless the file can be used.
std::optional<Values> stored(const std::filesystem::path& file) {
  auto database = DefaultsDatabase::open(file, patience);
  if (!database) return std::nullopt;
  auto values = database->readAll();
  require(values || !values.error().message.empty());
  return values ? std::optional(*std::move(values)) : std::nullopt;
}

void use(const std::filesystem::path& file) {
  const auto before = stored(file);
  if (!before) return;
  auto database = DefaultsDatabase::open(file, patience);
  require(database.has_value());
  (void)database->readAll();
  const Values change{{"volume", value(0.5)}, {"exclusive", nullptr}};
  if (!database->write(change, change)) return;
  const auto after = stored(file);
  // A file whose damage shows only once it is written to is found damaged, and never read as something else.
  if (!after) return;
  Values expected = *before;
  expected["volume"] = change.at("volume");
  expected.erase("exclusive");
  require(after->size() == expected.size());
  for (const auto& [key, wanted] : expected) {
    const auto found = after->find(key);
    require(found != after->end() && found->second && *found->second == *wanted);
  }
}

}  // namespace
}  // namespace tolvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const tolvane::test::TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "defaults.sqlite";
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  if (input.starts_with("--")) {
    tolvane::begin(file);
    tolvane::runStatements(file, std::string(input));
  } else {
    std::ofstream(file, std::ios::binary).write(input.data(), static_cast<std::streamsize>(size));
  }
  tolvane::use(file);
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) std::filesystem::remove(entry.path());
  return 0;
}
