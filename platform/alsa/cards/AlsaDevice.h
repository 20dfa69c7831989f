#pragma once
// One playback device while it is plugged in: its rate, its owner, and its state in the kernel. Player's thread; reads
// the kernel's state on request, and opens the PCM only to probe, to claim, or for a unit. Never guesses a format.
// Calls that may hang in the driver are the device's: while an abandoned one has not returned, every operation that
// needs another call fails at once with kAudioHardwareNotReadyError.

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

/// Hog mode here is a claim (AlsaClaim.h): every substream of the PCM is open in this process, so that no other process
/// can open one, and the card is reserved if programs reserve cards. A claim that cannot be complete is not made. A
/// unit plays on the first of the claimed substreams. Releasing the claim closes all of them at once, except the one
/// that a unit is using: that one closes with the unit.
class AlsaDevice {
 public:
  using Notify = std::function<void(AudioObjectID object, FourCharCode selector)>;
  /// Shared by all devices; outlives them.
  struct System {
    AlsaPaths paths;
    RunLoop& runLoop;
    DeviceCalls& calls;
    DeviceReservation* reservation = nullptr;
    Notify notify;
    /// Abandoned calls into a card's driver have returned. May be called after the end of the hardware.
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
  /// Empty if no process owns it, or its name is unknown.
  [[nodiscard]] std::string hogOwnerName() const;
  [[nodiscard]] OSStatus toggleHog();
  [[nodiscard]] std::uint32_t channelCount() const;
  [[nodiscard]] std::uint32_t bufferFrameSize();
  [[nodiscard]] std::optional<double> volumeDecibels() const;
  /// "snd-usb-audio"; empty if the kernel names none.
  [[nodiscard]] std::string driver() const;
  /// ChannelPositions of the one substream that is open, in any process.
  [[nodiscard]] std::expected<std::vector<std::uint32_t>, OSStatus> channelPositions() const;

  // Properties of its stream.
  [[nodiscard]] std::expected<AudioStreamBasicDescription, OSStatus> physicalFormat() const;
  [[nodiscard]] std::expected<AudioStreamBasicDescription, OSStatus> virtualFormat() const;
  /// Where the last physicalFormat() was read, and what proves its bits; empty if it failed.
  [[nodiscard]] const std::string& physicalFormatSource() const { return physicalFormatSource_; }
  [[nodiscard]] bool isStreamActive() const;

  /// For a unit: the PCM, set up for its client at the nominal rate. If there is none, or the hardware refuses it: at
  /// the client's own rate, else a multiple, a higher one, a lower one. One unit at a time. `surrender` makes the unit
  /// release the PCM at once, permanently, and call closeForUnit().
  struct OpenPcm {
    std::shared_ptr<AlsaPcm> pcm;
    AlsaPcmSetup setup;
  };
  [[nodiscard]] std::expected<OpenPcm, OSStatus> openForUnit(const OutputUnitSettings& settings,
                                                             std::function<void()> surrender);
  /// What happens to the samples of the unit on their way to the hardware; empty while there is no unit.
  [[nodiscard]] const std::vector<SampleAlteration>& alterations() const { return alterations_; }
  /// The unit has released its PCM, or is about to.
  void closeForUnit();

  /// A process has opened or closed the PCM, or reserved the card: notifies the listeners of hog mode if the owner has
  /// changed.
  void checkOwner();
  /// Another program will get the card: on return, everything that is claimed here is closed.
  void yield();
  /// The hardware is gone: releases what is open.
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

  std::optional<AlsaCapabilities> capabilities_;  ///< as the hardware reported when it could first be opened
  OSStatus probeStatus_ = noErr;                  ///< why there are none
  std::optional<double> chosenRate_;
  std::set<std::uint32_t> provenRates_;   ///< hertz; the hardware was set up to them
  std::set<std::uint32_t> refusedRates_;  ///< hertz; refused at set-up, although possibly announced
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
