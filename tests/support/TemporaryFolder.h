#pragma once
// A folder of its own for a test, gone with everything in it when the test ends. The folder around it is the test's own
// too: a search for a moved file looks there, and must not find what another test made. Throws when it cannot be made.

#include <filesystem>
#include <span>
#include <string>
#include <string_view>

#include "platform/FileURL.h"

namespace tolvane::test {

class TemporaryFolder {
 public:
  TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder();

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  [[nodiscard]] FileURL url(std::string_view name) const { return FileURL((path_ / name).string()); }
  /// Writes a file, with the folders on the way to it.
  FileURL write(std::string_view name, std::span<const std::byte> bytes) const;
  FileURL write(std::string_view name, std::string_view text) const;

 private:
  std::filesystem::path around_;
  std::filesystem::path path_;
};

}  // namespace tolvane::test
