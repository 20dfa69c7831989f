#pragma once
// The superuser may read and write everything; while this lives, this process is an ordinary one, owner of the test's
// folder. Throws std::system_error when it cannot be.

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace tolvane::test {

class WithoutPrivileges {
 public:
  explicit WithoutPrivileges(const std::filesystem::path& folder) : wasRoot_(::geteuid() == 0) {
    if (!wasRoot_) return;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) give(entry.path());
    give(folder);
    check(::seteuid(nobody));
  }
  ~WithoutPrivileges() noexcept(false) {
    if (wasRoot_) check(::seteuid(0));
  }
  WithoutPrivileges(const WithoutPrivileges&) = delete;
  WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;

 private:
  static constexpr uid_t nobody = 65534;

  static void check(int result) {
    if (result != 0) throw std::system_error(errno, std::generic_category(), "privileges");
  }
  static void give(const std::filesystem::path& path) { check(::lchown(path.c_str(), nobody, static_cast<gid_t>(-1))); }

  bool wasRoot_;
};

}  // namespace tolvane::test
