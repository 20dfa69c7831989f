#include "platform/storage/FileIdentity.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>

namespace tolvane {

bool FileIdentity::isSameFile(const FileIdentity& other) const {
  if (inode != other.inode) return false;
  if (bornSeconds != 0) return bornSeconds == other.bornSeconds && bornNanoseconds == other.bornNanoseconds;
  return device == other.device && size == other.size;
}

std::expected<FileFacts, int> factsOfFile(const std::string& path) {
  struct statx found {};
  if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT,
              STATX_TYPE | STATX_INO | STATX_SIZE | STATX_BTIME, &found) != 0)
    return std::unexpected(errno);
  FileFacts facts;
  facts.identity.device = makedev(found.stx_dev_major, found.stx_dev_minor);
  facts.identity.inode = found.stx_ino;
  facts.identity.size = found.stx_size;
  if ((found.stx_mask & STATX_BTIME) != 0) {
    facts.identity.bornSeconds = found.stx_btime.tv_sec;
    facts.identity.bornNanoseconds = found.stx_btime.tv_nsec;
  }
  facts.isFolder = S_ISDIR(found.stx_mode);
  return facts;
}

}  // namespace tolvane
