#include "platform/storage/StorageFolder.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace tolvane {

namespace {

namespace fs = std::filesystem;

/// Relative paths would depend on where the program was started.
fs::path absoluteFromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  fs::path path = value != nullptr ? value : "";
  return path.is_absolute() ? path : fs::path();
}

fs::path homeFolder() {
  if (auto home = absoluteFromEnvironment("HOME"); !home.empty()) return home;
  std::array<char, 4096> buffer{};
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return "/";
  return entry.pw_dir;
}

fs::path playersFolder(const char* variable, const char* belowHome) {
  auto folder = absoluteFromEnvironment(variable);
  if (folder.empty()) folder = homeFolder() / belowHome;
  return folder / "tolvane-player";
}

}  // namespace

fs::path storageFolder() { return playersFolder("XDG_DATA_HOME", ".local/share"); }

fs::path cacheFolder() { return playersFolder("XDG_CACHE_HOME", ".cache"); }

}  // namespace tolvane
