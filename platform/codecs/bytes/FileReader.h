#pragma once
// An open regular file. Any thread, several at once. Refuses everything else (folders, pipes, devices) without
// waiting for it, and never maps the file: a file that shrinks would then kill the program instead of ending early.

#include <memory>

#include "platform/FileURL.h"
#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane {

class FileReader final : public ByteSource {
 public:
  [[nodiscard]] static std::expected<std::shared_ptr<FileReader>, OSStatus> open(const FileURL& url);

  FileReader(const FileReader&) = delete;
  FileReader& operator=(const FileReader&) = delete;
  ~FileReader() override;

  [[nodiscard]] std::uint64_t size() const override { return size_; }
  [[nodiscard]] std::expected<std::size_t, OSStatus> readAt(std::uint64_t offset,
                                                            std::span<std::byte> destination) const override;

 private:
  FileReader(int descriptor, std::uint64_t size) : descriptor_(descriptor), size_(size) {}

  const int descriptor_;
  const std::uint64_t size_;
};

}  // namespace tolvane
