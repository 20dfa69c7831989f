#pragma once
// Notifies when sound devices come, go, are opened and closed: inotify on /dev/snd, and the control descriptor of each
// card. Player's thread, through the run loop; makes no callback after destruction.

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
#include "platform/alsa/pcm/AlsaDeviceCalls.h"

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

  /// Calls devicesMayHaveCome after the devices' nodes have had time to settle.
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
  RunLoop::Watch watch_;
  RunLoop::Timer settle_;
  std::map<std::pair<int, unsigned>, RunLoop::Timer> usageChecks_;
};

/// Keeps a card's control open to detect at once when the card goes.
class AlsaControlWatch {
 public:
  /// Nothing if the control cannot be opened or watched; inotify then has to suffice. `calls` are the card's.
  static std::optional<AlsaControlWatch> open(RunLoop& runLoop, const std::shared_ptr<AlsaDeviceCalls>& calls, int card,
                                              std::function<void()> gone);

 private:
  /// Closing waits for other reads of the card.
  struct Close {
    std::shared_ptr<AlsaDeviceCalls> calls;
    void operator()(snd_ctl_t* control) const {
      calls->close([control] { snd_ctl_close(control); });
    }
  };
  using Control = std::unique_ptr<snd_ctl_t, Close>;
  AlsaControlWatch(Control control, RunLoop::Watch watch) : control_(std::move(control)), watch_(std::move(watch)) {}

  Control control_;  ///< destroyed after the watch on its descriptor
  RunLoop::Watch watch_;
};

}  // namespace tolvane
