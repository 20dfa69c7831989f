#pragma once
// One open playback PCM of the kernel: the handle, what it could do, and how it has been set up. Opened and configured
// in calls of its device (AlsaDeviceCalls), because each may hang in the driver; between start and stop the handle
// belongs to the render thread. Never resamples or "nears".

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

/// Hertz, ascending: what music has, and hardware is built for.
inline constexpr std::array<std::uint32_t, 19> usualPcmRates{8000,   11025,  12000,  16000,  22050, 24000,  32000,
                                                             44100,  48000,  64000,  88200,  96000, 128000, 176400,
                                                             192000, 352800, 384000, 705600, 768000};

/// What hw_params allows of a PCM that nobody has configured.
struct AlsaCapabilities {
  std::vector<AudioValueRange> rates;  ///< ascending; single rates where the hardware has but some
  std::uint32_t maximumChannels = 0;
};

/// What a client wants of a PCM.
struct AlsaPcmRequest {
  PcmLayout client;
  ChannelLayout channels;   ///< of the client
  std::uint32_t rate = 0;   ///< hertz
  unsigned sourceBits = 0;  ///< integer bits of the client's source; 0: not known, or floating point
  /// The bits that are proven of a container with so many channels and so many bits reported by the driver
  /// (ProvenBits.h). Null: nothing is proven of any format.
  std::function<std::optional<int>(const PcmLayout& container, std::uint32_t channels, int driverBits)> provenBits{};
};

/// What a PCM has been set up to.
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
  /// The first free substream, without waiting for one. The error is alsa-lib's. `calls` closes it.
  static std::expected<std::shared_ptr<AlsaPcm>, int> open(std::shared_ptr<AlsaDeviceCalls> calls, int card,
                                                           unsigned device);
  /// Player's thread, or that of a call which was left behind and is the last to have it.
  ~AlsaPcm();
  AlsaPcm(const AlsaPcm&) = delete;
  AlsaPcm& operator=(const AlsaPcm&) = delete;

  /// Works in every state of the PCM.
  [[nodiscard]] AlsaCapabilities capabilities() const;

  /// Sets exactly this rate, the client's channels or what they can be mapped to, the best format for the client, a
  /// ring of about a sixth of a second. Drops what was set up before. The error is alsa-lib's; -EINVAL: not possible.
  [[nodiscard]] std::expected<AlsaPcmSetup, int> configure(const AlsaPcmRequest& request);
  /// Gives the hardware's resources back and keeps the PCM open.
  void unconfigure();

  [[nodiscard]] snd_pcm_t* handle() const { return handle_; }
  [[nodiscard]] unsigned subdevice() const { return subdevice_; }
  /// How many substreams the PCM has in all.
  [[nodiscard]] unsigned subdeviceCount() const { return subdeviceCount_; }

  /// Something that must not go before the PCM is closed, and goes on the player's thread. One thing at a time.
  void keepUntilClosed(std::shared_ptr<void> kept) { kept_ = calls_->bindToMainThread(std::move(kept)); }

 private:
  AlsaPcm(snd_pcm_t* handle, std::shared_ptr<AlsaDeviceCalls> calls);

  snd_pcm_t* const handle_;
  const std::shared_ptr<AlsaDeviceCalls> calls_;
  unsigned subdevice_ = 0;
  unsigned subdeviceCount_ = 1;
  std::shared_ptr<void> kept_;  ///< a member: it goes after the destructor has closed the handle
};

/// AlsaPcm::open() as a call of the device. Player's thread.
[[nodiscard]] std::expected<std::shared_ptr<AlsaPcm>, OSStatus> openAlsaPcm(
    const std::shared_ptr<AlsaDeviceCalls>& calls, int card, unsigned device);

}  // namespace tolvane
