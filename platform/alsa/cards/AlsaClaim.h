#pragma once
// The exclusive use of one playback PCM: the card's reservation among programs, if there is one, and every substream
// open in this process. Player's thread; taking it waits for a yielding program, two seconds at most, without the run
// loop. Never takes the device from a program that keeps it.

#include <sys/types.h>

#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/AudioStatus.h"
#include "platform/DeviceReservation.h"
#include "platform/RunLoop.h"
#include "platform/alsa/facts/AlsaProc.h"
#include "platform/alsa/pcm/AlsaDeviceCalls.h"
#include "platform/alsa/pcm/AlsaPcm.h"

namespace tolvane {

/// The users of a PCM, as far as the kernel and the reservation report them.
struct AlsaUsage {
  pid_t holder = -1;                                ///< another process that has a substream open
  bool allTaken = false;                            ///< no substream is free
  bool holderIsServer = false;                      ///< it is known to be a process of a sound server
  bool holderStayed = false;                        ///< the wait for it to close the PCM timed out
  std::optional<DeviceReservation::Owner> owner{};  ///< of the reservation
};

/// The other process that owns the PCM and keeps this one from owning it; -1: none; 0: one that is unknown. A sound
/// server that releases its cards on request does not count as an owner.
[[nodiscard]] pid_t foreignOwner(const AlsaUsage& usage);
/// Whether the holder would close the PCM if the reservation's owner is asked for the card.
[[nodiscard]] bool holderYields(const AlsaUsage& usage);

class AlsaClaim {
 public:
  struct Pcm {
    int card = 0;
    unsigned device = 0;
    std::string name;  ///< for the user
  };

  /// Run loop and reservation outlive the claim; `reservation` is null where there are none. `calls` are the device's.
  AlsaClaim(Pcm pcm, AlsaPaths paths, RunLoop& runLoop, DeviceReservation* reservation,
            std::shared_ptr<AlsaDeviceCalls> calls);

  [[nodiscard]] bool isHeld() const { return !pcms_.empty(); }
  /// The first of the substreams; null while not held.
  [[nodiscard]] std::shared_ptr<AlsaPcm> pcm() const { return isHeld() ? pcms_.front() : nullptr; }
  /// The process that owns the PCM; -1: none. kAudioHardwareNotReadyError: the device is blocked, and the owner
  /// unknown.
  [[nodiscard]] std::expected<pid_t, OSStatus> owner() const;
  /// Whether another program owns the card and keeps it: the PCM is then not opened, even if the kernel would allow it.
  [[nodiscard]] bool isReservedByAnother() const;

  /// `inUse`: a substream that is open in this process already, or null.
  [[nodiscard]] OSStatus take(std::shared_ptr<AlsaPcm> inUse);
  /// Closes every substream except one that is still in use here, possibly by an abandoned call. The card's reservation
  /// ends when the last substream is closed.
  void release() { pcms_.clear(); }

 private:
  using Substreams = std::vector<std::shared_ptr<AlsaPcm>>;

  [[nodiscard]] std::expected<AlsaUsage, OSStatus> usage() const;
  [[nodiscard]] std::expected<Substreams, OSStatus> openAll(const std::shared_ptr<AlsaPcm>& inUse) const;

  const Pcm pcm_;
  const AlsaPaths paths_;
  RunLoop& runLoop_;
  DeviceReservation* const reservation_;
  const std::shared_ptr<AlsaDeviceCalls> calls_;
  Substreams pcms_;
  pid_t stayed_ = -1;  ///< the process that did not release the PCM within the wait
};

}  // namespace tolvane
