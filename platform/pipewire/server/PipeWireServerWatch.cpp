#include "platform/pipewire/server/PipeWireServerWatch.h"

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <utility>

namespace tolvane {

std::string pipeWireSocketPath(const std::function<std::string(const char*)>& variable) {
  std::string name = variable("PIPEWIRE_REMOTE");
  if (name.empty()) name = "pipewire-0";
  if (name.starts_with('/')) return name;
  for (const char* folder : {"PIPEWIRE_RUNTIME_DIR", "XDG_RUNTIME_DIR", "USERPROFILE"}) {
    if (const std::string path = variable(folder); !path.empty()) return path + '/' + name;
  }
  return {};
}

PipeWireServerWatch::PipeWireServerWatch(RunLoop& runLoop, std::string socketPath, std::function<void()> appeared)
    : path_(std::move(socketPath)), name_(path_.substr(path_.rfind('/') + 1)), appeared_(std::move(appeared)) {
  if (path_.empty()) return;
  const std::string folder = path_.substr(0, path_.size() - name_.size());
  inotify_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (inotify_ < 0) return;
  // ATTRIB: a server may change its socket's permissions only after creating it.
  if (inotify_add_watch(inotify_, folder.c_str(), IN_CREATE | IN_MOVED_TO | IN_ATTRIB) < 0) return;
  watch_ = runLoop.watchDescriptor(inotify_, [this] { read(); });
}

PipeWireServerWatch::~PipeWireServerWatch() {
  watch_.reset();
  if (inotify_ >= 0) close(inotify_);
}

bool PipeWireServerWatch::isThere() const {
  struct stat status {};
  return !path_.empty() && stat(path_.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

void PipeWireServerWatch::read() {
  alignas(inotify_event) std::array<char, 4096> buffer{};
  bool isOurs = false;
  ssize_t got = 0;
  while ((got = ::read(inotify_, buffer.data(), buffer.size())) > 0) {
    for (ssize_t at = 0; at < got;) {
      inotify_event event{};
      std::memcpy(&event, buffer.data() + at, sizeof event);
      const char* name = buffer.data() + at + sizeof event;
      if (event.len > 0 && name_ == name) isOurs = true;
      at += static_cast<ssize_t>(sizeof event + event.len);
    }
  }
  if (isOurs && isThere()) appeared_();
}

}  // namespace tolvane
