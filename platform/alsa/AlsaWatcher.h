#pragma once
// Tells when sound devices come, go, are opened and closed: inotify on /dev/snd, and the control descriptor of each
// card. Main thread, through the run loop; after destruction no callback comes.

#include <alsa/asoundlib.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Log.h"
#include "platform/RunLoop.h"

namespace tolvane {

/// A node of /dev/snd: "controlC1", "pcmC1D0p". Nothing for other names.
struct AlsaNode {
  int card = 0;
  std::optional<unsigned> playbackDevice;  ///< of a playback PCM; none for the control node

  bool operator==(const AlsaNode&) const = default;
};
[[nodiscard]] std::optional<AlsaNode> parseAlsaNode(std::string_view name);

class AlsaWatcher {
 public:
  struct Handlers {
    std::function<void()> devicesMayHaveCome;
    std::function<void(int card)> cardHasGone;
    std::function<void(int card, unsigned device)> usageMayHaveChanged;
  };

  AlsaWatcher(RunLoop& runLoop, Log& log, std::string folder, Handlers handlers);
  ~AlsaWatcher();
  AlsaWatcher(const AlsaWatcher&) = delete;
  AlsaWatcher& operator=(const AlsaWatcher&) = delete;

  /// Lets devicesMayHaveCome run once the devices' nodes have had the time to settle.
  void lookSoon();

 private:
  void watchFolder();
  void readEvents();
  void handleNode(std::uint32_t mask, std::string_view name);
  void lookAtUsageSoon(int card, unsigned device);

  RunLoop& runLoop_;
  const std::string folder_;
  const Handlers handlers_;
  const int descriptor_;
  int folderWatch_ = -1;
  int parentWatch_ = -1;
  RunLoop::Timer watch_;
  RunLoop::Timer settle_;
  std::map<std::pair<int, unsigned>, RunLoop::Timer> usageChecks_;
};

/// Holds a card's control open to learn at once when the card goes.
class AlsaControlWatch {
 public:
  /// Nothing where the control cannot be opened or watched; inotify then has to do.
  static std::optional<AlsaControlWatch> open(RunLoop& runLoop, int card, std::function<void()> gone);

 private:
  using Control = std::unique_ptr<snd_ctl_t, decltype(&snd_ctl_close)>;
  AlsaControlWatch(Control control, RunLoop::Timer watch) : control_(std::move(control)), watch_(std::move(watch)) {}

  Control control_;  ///< goes after the watch on its descriptor
  RunLoop::Timer watch_;
};

}  // namespace tolvane
