#include "platform/EntryType.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace tolvane {

unsigned char typeOfEntry(int folderDescriptor, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type;
  struct stat status {};
  if (::fstatat(folderDescriptor, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return DT_UNKNOWN;
  return static_cast<unsigned char>(IFTODT(status.st_mode));
}

}  // namespace tolvane
