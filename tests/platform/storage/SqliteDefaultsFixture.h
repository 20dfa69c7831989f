#pragma once
// A folder for the store on disk, a store in it that can be started again and again, and another program at its file.

#include <gmock/gmock.h>
#include <sqlite3.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/simulated/MemoryLog.h"
#include "platform/storage/SqliteUserDefaults.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {

/// Another program at the same file.
class OtherProgram {
 public:
  explicit OtherProgram(const std::filesystem::path& file) { sqlite3_open(file.c_str(), &connection_); }
  ~OtherProgram() { sqlite3_close(connection_); }
  OtherProgram(const OtherProgram&) = delete;
  OtherProgram& operator=(const OtherProgram&) = delete;

  void run(const char* statement) {
    ASSERT_EQ(sqlite3_exec(connection_, statement, nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(connection_);
  }

 private:
  sqlite3* connection_ = nullptr;
};

/// No machine is too slow to open a file.
inline SqliteUserDefaults::Waiting patient(std::chrono::milliseconds withOthers = std::chrono::seconds(2)) {
  return {.patience = {.withOthers = withOthers, .atStart = std::chrono::hours(1)}};
}

class SqliteDefaults : public testing::Test {
 protected:
  SqliteUserDefaults& start() { return start(folder.path()); }
  SqliteUserDefaults& start(const std::filesystem::path& where) {
    defaults.reset();
    return defaults.emplace(where, log, patient(std::chrono::milliseconds(20)));
  }
  /// Ends the program, and returns what the next one finds.
  [[nodiscard]] std::optional<double> numberAfterRestart(std::string_view key) { return start().value<double>(key); }

  [[nodiscard]] std::filesystem::path file() const { return folder.path() / "defaults.sqlite"; }
  [[nodiscard]] std::vector<std::string> filesInFolder() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
      names.push_back(entry.path().filename());
    return names;
  }
  void overwrite(std::streamoff offset, std::string_view bytes) const {
    std::fstream stream(file(), std::ios::in | std::ios::out | std::ios::binary);
    stream.seekp(offset);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(stream.flush());
  }
  [[nodiscard]] static std::string contentOf(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  test::TemporaryFolder folder;
  MemoryLog log;
  std::optional<SqliteUserDefaults> defaults;
};

}  // namespace tolvane
