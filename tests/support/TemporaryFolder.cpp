#include "tests/support/TemporaryFolder.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace tolvane::test {

TemporaryFolder::TemporaryFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "tolvane-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "temporary folder " + pattern);
  }
  around_ = pattern;
  path_ = around_ / "files";
  std::filesystem::create_directory(path_);
  // A test may give up its privileges, and still has to come through.
  using std::filesystem::perms;
  std::filesystem::permissions(around_, perms::group_exec | perms::others_exec, std::filesystem::perm_options::add);
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;  // a test that took the folder's permissions away has itself to blame
  std::filesystem::remove_all(around_, ignored);
}

FileURL TemporaryFolder::write(std::string_view name, std::span<const std::byte> bytes) const {
  const auto file = path_ / name;
  std::filesystem::create_directories(file.parent_path());
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  stream.close();
  if (!stream) throw std::runtime_error("could not write " + file.string());
  return FileURL(file.string());
}

FileURL TemporaryFolder::write(std::string_view name, std::string_view text) const {
  return write(name, std::as_bytes(std::span(text)));
}

}  // namespace tolvane::test
