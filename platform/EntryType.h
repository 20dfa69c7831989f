#pragma once
// Whether an entry of a folder is a file, a folder or something else. Any thread; rarely asks the disk.

#include <dirent.h>

namespace tolvane {

/// DT_REG, DT_DIR or another type. Most file systems report it with the name; otherwise reads the entry itself. Never
/// follows a link.
[[nodiscard]] unsigned char typeOfEntry(int folderDescriptor, const dirent& entry);

}  // namespace tolvane
