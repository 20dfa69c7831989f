#pragma once
// One open playback PCM of the kernel: the handle, its capabilities, and its set-up. Opened and configured in calls of
// its device (AlsaDeviceCalls), because each may hang in the driver; between start and stop the handle belongs to the
// render thread. Never resamples, and never sets a rate that is only near.

#include <alsa/asoundlib.h>

#include <array>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/AudioHardware.h"
#include "platform/ChannelLayout.h"
#include "platform/alsa/pcm/AlsaDeviceCalls.h"
#include "platform/conversion/PcmLayout.h"

namespace tolvane {

/// Hertz, ascending: the usual rates of music and hardware.
inline constexpr std::array<std::uint32_t, 19> usualPcmRates{8000,   11025,  12000,  16000,  22050, 24000,  32000,
                                                             44100,  48000,  64000,  88200,  96000, 128000, 176400,
                                                             192000, 352800, 384000, 705600, 768000};

/// What hw_params allows for a PCM that is not configured.
struct AlsaCapabilities {
  std::vector<AudioValueRange> rates;  ///< ascending; single rates if the hardware has only some
  std::uint32_t maximumChannels = 0;
};

/// What a client requests from a PCM.
struct AlsaPcmRequest {
  PcmLayout client;
  ChannelLayout channels;   ///< of the client
  std::uint32_t rate = 0;   ///< hertz
  unsigned sourceBits = 0;  ///< integer bits of the client's source; 0: not known, or floating point
  /// The proven bits of a container with this number of channels and these bits reported by the driver (ProvenBits.h).
  /// Null: no format is proven.
  std::function<std::optional<int>(const PcmLayout& container, std::uint32_t channels, int driverBits)> provenBits{};
};

/// The set-up of a PCM.
struct AlsaPcmSetup {
  PcmLayout layout;
  int driverBits = 0;  ///< significant bits as the driver reports them; 0 when it does not
  std::uint32_t rate = 0;
  std::uint32_t channels = 0;
  ChannelLayout positions{};  ///< of the channels
  snd_pcm_uframes_t periodFrames = 0;
  snd_pcm_uframes_t bufferFrames = 0;
  bool usesMmap = false;
  bool canPause = false;
};

/// The ring that configure() asks for at this rate.
[[nodiscard]] snd_pcm_uframes_t desiredRingFrames(double rate);

/// Half of what the drain margin at an end must cover: the ring, and the silence after it. Counted in the client's
/// frames where those are shorter than the device's, since the margin is waited for at the client's rate.
[[nodiscard]] std::uint32_t halfDrainFrames(snd_pcm_uframes_t ringFrames, snd_pcm_uframes_t periodFrames,
                                            double deviceRate, double clientRate);

class AlsaPcm {
 public:
  /// Opens the first free substream, without waiting for one. The error is alsa-lib's. `calls` closes it.
  static std::expected<std::shared_ptr<AlsaPcm>, int> open(std::shared_ptr<AlsaDeviceCalls> calls, int card,
                                                           unsigned device);
  /// Player's thread, or the thread of an abandoned call that is the last owner.
  ~AlsaPcm();
  AlsaPcm(const AlsaPcm&) = delete;
  AlsaPcm& operator=(const AlsaPcm&) = delete;

  /// Works in every state of the PCM.
  [[nodiscard]] AlsaCapabilities capabilities() const;

  /// Sets exactly this rate, the client's channels or what they can be mapped to, the best format for the client, a
  /// ring of about a sixth of a second. Drops what was set up before. The error is alsa-lib's; -EINVAL: not possible.
  [[nodiscard]] std::expected<AlsaPcmSetup, int> configure(const AlsaPcmRequest& request);
  /// Releases the hardware's resources and keeps the PCM open.
  void unconfigure();

  [[nodiscard]] snd_pcm_t* handle() const { return handle_; }
  [[nodiscard]] unsigned subdevice() const { return subdevice_; }
  /// The total number of substreams of the PCM.
  [[nodiscard]] unsigned subdeviceCount() const { return subdeviceCount_; }

  /// Keeps an object alive until the PCM is closed, and destroys it on the player's thread. One object at a time.
  void keepUntilClosed(std::shared_ptr<void> kept) { kept_ = calls_->bindToMainThread(std::move(kept)); }

 private:
  AlsaPcm(snd_pcm_t* handle, std::shared_ptr<AlsaDeviceCalls> calls);

  snd_pcm_t* const handle_;
  const std::shared_ptr<AlsaDeviceCalls> calls_;
  unsigned subdevice_ = 0;
  unsigned subdeviceCount_ = 1;
  std::shared_ptr<void> kept_;  ///< a member, so that it is destroyed after the destructor has closed the handle
};

/// AlsaPcm::open() as a call of the device. Player's thread.
[[nodiscard]] std::expected<std::shared_ptr<AlsaPcm>, OSStatus> openAlsaPcm(
    const std::shared_ptr<AlsaDeviceCalls>& calls, int card, unsigned device);

}  // namespace tolvane
