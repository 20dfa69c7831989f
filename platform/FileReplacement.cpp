#include "platform/FileReplacement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>

namespace tolvane {

namespace {

namespace fs = std::filesystem;

std::error_code lastError() { return {errno, std::generic_category()}; }

/// A new file with an unused name. Deleted with this object, unless it has been moved to its place.
class NewFile {
 public:
  explicit NewFile(const fs::path& folder)
      : path_((folder / (".tolvane-" + std::to_string(std::random_device()()) + ".new")).string()),
        descriptor_(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)),
        error_(descriptor_ < 0 ? lastError() : std::error_code()) {}
  ~NewFile() {
    if (descriptor_ < 0) return;
    ::close(descriptor_);
    if (!isMoved_) ::unlink(path_.c_str());
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  [[nodiscard]] std::error_code error() const { return error_; }

  void setMode(mode_t mode) {
    if (!error_ && ::fchmod(descriptor_, mode) != 0) error_ = lastError();
  }
  void write(std::string_view bytes) {
    while (!error_ && !bytes.empty()) {
      const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
      if (count >= 0)
        bytes.remove_prefix(static_cast<std::size_t>(count));
      else if (errno != EINTR)
        error_ = lastError();
    }
    if (!error_ && ::fsync(descriptor_) != 0) error_ = lastError();
  }
  void moveTo(const std::string& place, Replacing replacing) {
    if (error_) return;
    const unsigned flags = replacing == Replacing::refused ? RENAME_NOREPLACE : 0U;
    int result = ::renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, place.c_str(), flags);
    // Some network file systems support no flags.
    if (result != 0 && errno == EINVAL) result = ::rename(path_.c_str(), place.c_str());
    isMoved_ = result == 0;
    if (!isMoved_) error_ = lastError();
  }

 private:
  const std::string path_;
  const int descriptor_;
  std::error_code error_;
  bool isMoved_ = false;
};

std::error_code refusal(const struct stat& there) {
  if (S_ISDIR(there.st_mode)) return make_error_code(std::errc::is_a_directory);
  if (!S_ISREG(there.st_mode)) return make_error_code(std::errc::operation_not_supported);
  return {};
}

}  // namespace

std::error_code writeFile(const FileURL& url, std::string_view bytes, Replacing replacing) {
  std::string place = url.path();
  struct stat there {};
  const bool isThere = ::lstat(place.c_str(), &there) == 0;
  if (isThere && replacing == Replacing::refused) return make_error_code(std::errc::file_exists);
  if (isThere && S_ISLNK(there.st_mode)) {
    std::error_code error;
    place = fs::canonical(place, error).string();
    if (error) return error;
    if (::lstat(place.c_str(), &there) != 0) return lastError();
  }
  if (const auto error = isThere ? refusal(there) : std::error_code()) return error;

  NewFile file(fs::path(place).parent_path());
  if (isThere) file.setMode(there.st_mode & 0777);
  file.write(bytes);
  file.moveTo(place, replacing);
  return file.error();
}

}  // namespace tolvane
