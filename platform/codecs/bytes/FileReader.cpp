#include "platform/codecs/bytes/FileReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

#include "platform/codecs/bytes/FileStatus.h"

namespace tolvane {

namespace {

OSStatus refusal(const struct stat& info) { return S_ISREG(info.st_mode) ? noErr : kAudioFileUnsupportedFileTypeError; }

}  // namespace

std::expected<std::shared_ptr<FileReader>, OSStatus> FileReader::open(const FileURL& url) {
  const std::string& path = url.path();
  // The system would read such a path only up to the zero, and so open some other file.
  if (path.find('\0') != std::string::npos) return std::unexpected(kAudioFileFileNotFoundError);

  // Checked before it is opened, because opening alone wakes up some devices and waits at a pipe; and again afterwards,
  // because the name may refer to something else by then.
  struct stat info = {};
  if (::stat(path.c_str(), &info) != 0) return std::unexpected(statusFromErrno(errno));
  if (const OSStatus status = refusal(info); status != noErr) return std::unexpected(status);
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (descriptor < 0) return std::unexpected(statusFromErrno(errno));
  if (::fstat(descriptor, &info) != 0) {
    const OSStatus status = statusFromErrno(errno);
    ::close(descriptor);
    return std::unexpected(status);
  }
  std::shared_ptr<FileReader> reader(new FileReader(descriptor, static_cast<std::uint64_t>(info.st_size)));
  if (const OSStatus status = refusal(info); status != noErr) return std::unexpected(status);
  return reader;
}

FileReader::~FileReader() { ::close(descriptor_); }

std::expected<std::size_t, OSStatus> FileReader::readAt(std::uint64_t offset, std::span<std::byte> destination) const {
  constexpr auto kLargestOffset = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
  std::size_t done = 0;
  while (done < destination.size()) {
    const std::uint64_t position = offset + done;
    if (position < offset || position > kLargestOffset) break;
    const ssize_t count =
        ::pread(descriptor_, destination.data() + done, destination.size() - done, static_cast<off_t>(position));
    if (count < 0) {
      if (errno == EINTR) continue;
      return std::unexpected(statusFromErrno(errno));
    }
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  return done;
}

}  // namespace tolvane
