#include "platform/alsa/cards/AlsaWatcher.h"

#include <fmt/format.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "platform/alsa/facts/AlsaStatus.h"

namespace tolvane {
namespace {

using std::chrono::milliseconds;

/// udev sets the nodes' permissions, and then the names that identify a card, about this long after they appear.
constexpr milliseconds settleTime{200};
/// inotify reports a close before the driver has closed the substream.
constexpr milliseconds closingTime{60};

constexpr std::uint32_t folderEvents =
    IN_CREATE | IN_DELETE | IN_ATTRIB | IN_OPEN | IN_CLOSE_WRITE | IN_CLOSE_NOWRITE | IN_DELETE_SELF | IN_ONLYDIR;

std::optional<unsigned> takeNumber(std::string_view& text) {
  unsigned value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return value;
}

bool take(std::string_view& text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

}  // namespace

std::optional<AlsaNode> parseAlsaNode(std::string_view name) {
  if (take(name, "controlC")) {
    const auto card = takeNumber(name);
    if (!card || !name.empty()) return std::nullopt;
    return AlsaNode{static_cast<int>(*card), std::nullopt};
  }
  if (!take(name, "pcmC")) return std::nullopt;
  const auto card = takeNumber(name);
  if (!card || !take(name, "D")) return std::nullopt;
  const auto device = takeNumber(name);
  if (!device || name != "p") return std::nullopt;
  return AlsaNode{static_cast<int>(*card), device};
}

AlsaWatcher::AlsaWatcher(RunLoop& runLoop, Log& log, std::string folder, Handlers handlers)
    : runLoop_(runLoop),
      folder_(std::move(folder)),
      handlers_(std::move(handlers)),
      descriptor_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  if (descriptor_ < 0) {
    log.write(LogLevel::error, audioHardwareCategory,
              fmt::format("Changes of the sound devices will not be noticed: {}", std::strerror(errno)));
    return;
  }
  watchFolder();
  watch_ = runLoop_.watchDescriptor(descriptor_, [this] { readEvents(); });
}

AlsaWatcher::~AlsaWatcher() {
  watch_.reset();
  if (descriptor_ >= 0) close(descriptor_);
}

/// The folder exists only while there is at least one card.
void AlsaWatcher::watchFolder() {
  if (parentWatch_ < 0) {
    const std::string parent = folder_.substr(0, folder_.rfind('/'));
    parentWatch_ = inotify_add_watch(descriptor_, parent.empty() ? "/" : parent.c_str(), IN_CREATE | IN_ONLYDIR);
  }
  folderWatch_ = inotify_add_watch(descriptor_, folder_.c_str(), folderEvents);
}

void AlsaWatcher::lookSoon() {
  settle_ = runLoop_.scheduleTimer(settleTime, false, [this] { handlers_.devicesMayHaveCome(); });
}

void AlsaWatcher::lookAtUsageSoon(int card, unsigned device) {
  usageChecks_[{card, device}] =
      runLoop_.scheduleTimer(closingTime, false, [this, card, device] { handlers_.usageMayHaveChanged(card, device); });
}

void AlsaWatcher::readEvents() {
  alignas(inotify_event) std::array<char, 16384> buffer{};
  std::vector<std::pair<std::uint32_t, std::string>> events;
  ssize_t got = 0;
  while ((got = read(descriptor_, buffer.data(), buffer.size())) > 0) {
    for (ssize_t at = 0; at < got;) {
      const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
      std::string name = event->len > 0 ? event->name : "";
      if (event->wd == parentWatch_) {
        if (folder_.ends_with("/" + name)) {
          watchFolder();
          lookSoon();
        }
      } else if ((event->mask & IN_Q_OVERFLOW) != 0) {
        lookSoon();
      } else if ((event->mask & IN_IGNORED) != 0) {
        if (event->wd == folderWatch_) folderWatch_ = -1;
      } else {
        events.emplace_back(event->mask, std::move(name));
      }
    }
  }
  for (const auto& [mask, name] : events) handleNode(mask, name);
}

void AlsaWatcher::handleNode(std::uint32_t mask, std::string_view name) {
  const auto node = parseAlsaNode(name);
  if (!node) {
    // by-id and by-path: the names that identify cards have been created.
    if ((mask & (IN_CREATE | IN_ATTRIB)) != 0 && name.starts_with("by-")) lookSoon();
    return;
  }
  if ((mask & IN_DELETE) != 0) {
    if (!node->playbackDevice) handlers_.cardHasGone(node->card);
    lookSoon();
  } else if ((mask & (IN_CREATE | IN_ATTRIB)) != 0) {
    lookSoon();
  } else if (node->playbackDevice) {
    if ((mask & IN_OPEN) != 0) handlers_.usageMayHaveChanged(node->card, *node->playbackDevice);
    lookAtUsageSoon(node->card, *node->playbackDevice);
  }
}

std::optional<AlsaControlWatch> AlsaControlWatch::open(RunLoop& runLoop, const std::shared_ptr<AlsaDeviceCalls>& calls,
                                                       int card, std::function<void()> gone) {
  auto made = calls->run([calls, card] {
    snd_ctl_t* fresh = nullptr;
    const std::string name = "hw:" + std::to_string(card);
    if (snd_ctl_open(&fresh, name.c_str(), SND_CTL_NONBLOCK) < 0) fresh = nullptr;
    Control subscribed(fresh, Close{calls});
    if (subscribed && snd_ctl_subscribe_events(fresh, 1) < 0) subscribed.reset();
    return subscribed;
  });
  if (!made || !*made) return std::nullopt;
  Control control = *std::move(made);
  snd_ctl_t* opened = control.get();
  pollfd descriptor{};
  if (snd_ctl_poll_descriptors(opened, &descriptor, 1) != 1) return std::nullopt;
  snd_ctl_event_t* event = nullptr;
  if (snd_ctl_event_malloc(&event) < 0) return std::nullopt;
  const std::shared_ptr<snd_ctl_event_t> owned(event, &snd_ctl_event_free);
  auto watch = runLoop.watchDescriptor(descriptor.fd, [opened, owned, gone = std::move(gone)] {
    // Mixer events are read and discarded: a card's own volume does not matter here.
    for (int got = 1; got > 0;) {
      got = snd_ctl_read(opened, owned.get());
      if (got < 0 && got != -EAGAIN) {
        const auto report = gone;  // it may destroy this watch, and with it this action
        report();
        return;
      }
    }
  });
  return AlsaControlWatch(std::move(control), std::move(watch));
}

}  // namespace tolvane
