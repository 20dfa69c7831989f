#pragma once
// One playback device while it is plugged in: its rate, its owner, what the kernel says it does. Player's thread; asks
// the kernel when asked, and opens the PCM only to probe, to claim, or for a unit. Never guesses a format. What may
// hang in the driver is a call of the device: while one is left behind, whatever needs another fails with
// kAudioHardwareNotReadyError at once.

#include <sys/types.h>

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "platform/AudioHardware.h"
#include "platform/DeviceReservation.h"
#include "platform/RunLoop.h"
#include "platform/adapter/OutputUnitSettings.h"
#include "platform/alsa/cards/AlsaClaim.h"
#include "platform/alsa/cards/AlsaDeviceList.h"
#include "platform/alsa/facts/AlsaProc.h"
#include "platform/alsa/pcm/AlsaDeviceCalls.h"
#include "platform/alsa/pcm/AlsaPcm.h"
#include "platform/conversion/ChannelPlacement.h"

namespace tolvane {

/// Hog mode here is a claim (AlsaClaim.h): every substream of the PCM is open in this process, so that nobody else can
/// open one, and the card is reserved where programs do that. A claim that cannot be complete is not made. A unit plays
/// on the first of the claimed substreams. Giving the claim up closes all of them at once, save the one that a unit is
/// using: that one closes with the unit.
class AlsaDevice {
 public:
  using Notify = std::function<void(AudioObjectID object, FourCharCode selector)>;
  /// What all devices share; outlives them.
  struct System {
    AlsaPaths paths;
    RunLoop& runLoop;
    DeviceCalls& calls;
    DeviceReservation* reservation = nullptr;
    Notify notify;
    /// Calls into a card's driver that were left behind have ended. Harmless after the end of the hardware.
    std::function<void(int card)> callsSettled;
  };

  AlsaDevice(AlsaDeviceInfo info, AudioObjectID id, AudioObjectID streamId, const System& system);

  [[nodiscard]] const AlsaDeviceInfo& info() const { return info_; }
  [[nodiscard]] AudioObjectID id() const { return id_; }
  [[nodiscard]] AudioObjectID streamId() const { return streamId_; }
  [[nodiscard]] AlsaDeviceCalls& calls() const { return *calls_; }

  // Properties of the device.
  /// Unreadable (kAudioHardwareNotRunningError) until a rate is chosen or a program sets a substream up.
  [[nodiscard]] std::expected<double, OSStatus> nominalRate() const;
  /// A rate that the hardware has accepted before is recorded only; the next unit that opens the PCM sets it.
  [[nodiscard]] OSStatus setNominalRate(double rate);
  [[nodiscard]] std::expected<std::vector<AudioValueRange>, OSStatus> availableRates();
  [[nodiscard]] std::expected<double, OSStatus> actualRate() const;
  [[nodiscard]] std::expected<pid_t, OSStatus> hogOwner() const;
  /// Empty where no process owns it, or its name is not known.
  [[nodiscard]] std::string hogOwnerName() const;
  [[nodiscard]] OSStatus toggleHog();
  [[nodiscard]] std::uint32_t channelCount() const;
  [[nodiscard]] std::uint32_t bufferFrameSize();
  [[nodiscard]] std::optional<double> volumeDecibels() const;
  /// "snd-usb-audio"; empty where the kernel names none.
  [[nodiscard]] std::string driver() const;
  /// ChannelPositions of the one substream that is open, by any process.
  [[nodiscard]] std::expected<std::vector<std::uint32_t>, OSStatus> channelPositions() const;

  // Properties of its stream.
  [[nodiscard]] std::expected<AudioStreamBasicDescription, OSStatus> physicalFormat() const;
  [[nodiscard]] std::expected<AudioStreamBasicDescription, OSStatus> virtualFormat() const;
  /// Where the last physicalFormat() was read, and what proves its bits; empty where it failed.
  [[nodiscard]] const std::string& physicalFormatSource() const { return physicalFormatSource_; }
  [[nodiscard]] bool isStreamActive() const;

  /// For a unit: the PCM, set up for its client at the nominal rate; where there is none, as near to the client's as
  /// the hardware goes. One unit at a time. `surrender` makes the unit let go of the PCM at once, for good, and call
  /// closeForUnit().
  struct OpenPcm {
    std::shared_ptr<AlsaPcm> pcm;
    AlsaPcmSetup setup;
  };
  [[nodiscard]] std::expected<OpenPcm, OSStatus> openForUnit(const OutputUnitSettings& settings,
                                                             std::function<void()> surrender);
  /// What happens to the samples of the unit on their way to the hardware; empty while there is no unit.
  [[nodiscard]] const std::vector<SampleAlteration>& alterations() const { return alterations_; }
  /// The unit has let go of its PCM, or is about to.
  void closeForUnit();

  /// Somebody opened or closed the PCM, or reserved the card: tells the listeners of hog mode if its owner is another
  /// one now.
  void checkOwner();
  /// Another program is to have the card: what is claimed here is closed when this returns.
  void yield();
  /// The hardware has gone: what is open is let go.
  void markGone();

 private:
  [[nodiscard]] std::expected<std::vector<AlsaSubstream>, OSStatus> substreams() const;
  [[nodiscard]] std::expected<std::shared_ptr<AlsaPcm>, OSStatus> openPcm() const;
  [[nodiscard]] std::shared_ptr<AlsaPcm> heldPcm() const;
  [[nodiscard]] const AlsaCapabilities* capabilities();
  [[nodiscard]] OSStatus learnCapabilities(const std::shared_ptr<AlsaPcm>& pcm);
  [[nodiscard]] std::expected<bool, OSStatus> isProvenRate(std::uint32_t rate) const;
  [[nodiscard]] OSStatus tryRate(std::uint32_t rate);
  void remember(std::uint32_t rate, bool isTaken);
  [[nodiscard]] bool offers(std::uint32_t rate) const;
  [[nodiscard]] std::vector<std::uint32_t> ratesForUnit(double clientRate) const;
  [[nodiscard]] std::expected<AlsaPcmSetup, OSStatus> setUpForUnit(const std::shared_ptr<AlsaPcm>& pcm,
                                                                   const PcmLayout& layout,
                                                                   const OutputUnitSettings& settings);
  [[nodiscard]] std::expected<AlsaSubstream, OSStatus> ownSubstream() const;
  [[nodiscard]] std::expected<AlsaSubstream, OSStatus> playingSubstream() const;
  void setAlterations(std::vector<SampleAlteration> alterations);

  const AlsaDeviceInfo info_;
  const AudioObjectID id_;
  const AudioObjectID streamId_;
  const System& system_;
  const std::shared_ptr<AlsaDeviceCalls> calls_;

  std::optional<AlsaCapabilities> capabilities_;  ///< as the hardware told when it could first be opened
  OSStatus probeStatus_ = noErr;                  ///< why there are none
  std::optional<double> chosenRate_;
  std::set<std::uint32_t> provenRates_;   ///< hertz; the hardware was set up to them
  std::set<std::uint32_t> refusedRates_;  ///< hertz; offered, perhaps, and refused when it was set up
  AlsaClaim claim_;
  std::weak_ptr<AlsaPcm> unitPcm_;
  std::function<void()> surrenderUnit_;  ///< while a unit has the PCM
  std::optional<AlsaPcmSetup> unitSetup_;
  AudioStreamBasicDescription unitClient_;
  std::vector<SampleAlteration> alterations_;  ///< while a unit has the PCM
  pid_t lastOwner_ = -1;
  mutable std::string physicalFormatSource_;  ///< written by each physicalFormat()
};

}  // namespace tolvane
