#pragma once
// Finds out about a file that could not be read as audio. Any thread; blocks on the disk. Reads a file's beginning,
// and not more of it than recogniseFile() does.

#include "platform/FileFinding.h"
#include "platform/FileURL.h"
#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane {

[[nodiscard]] FileFinding examineFile(const FileURL& url);

[[nodiscard]] FileContent contentOf(const ByteSource& source);

}  // namespace tolvane
