#pragma once
// The device layer on the kernel's sound devices: every playback PCM is a device with one stream. Player's thread.
// Detects changes with inotify and the cards' control descriptors through the run loop; never polls. Calls that may
// hang in a driver are made on another thread (AlsaDeviceCalls) and are abandoned when they take too long.

#include <sys/types.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/Log.h"
#include "platform/RunLoop.h"
#include "platform/WeakSelf.h"
#include "platform/adapter/AdapterHardware.h"
#include "platform/alsa/AlsaOutputUnit.h"
#include "platform/alsa/cards/AlsaDevice.h"
#include "platform/alsa/cards/AlsaDeviceList.h"
#include "platform/alsa/cards/AlsaWatcher.h"

namespace tolvane {

class AlsaAudioHardware : public AdapterHardware, private AudioOutputComponent, private AlsaOutputUnit::Host {
 public:
  /// `makeRealtime` is called on each render thread at its start with the thread's id; it may be empty. `reservation`
  /// may be null: then only the kernel's exclusivity applies. `calls` makes the calls into drivers, so that waits for
  /// them can be named and interrupted; null: the hardware has its own. All outlive the hardware.
  AlsaAudioHardware(RunLoop& runLoop, Log& log, std::function<bool(pid_t tid)> makeRealtime,
                    DeviceReservation* reservation = nullptr, const AlsaPaths& paths = {},
                    DeviceCalls* calls = nullptr);
  ~AlsaAudioHardware() override;

  AudioOutputComponent* outputComponent() override { return this; }

 private:
  struct Ids {
    AudioObjectID device = kAudioObjectUnknown;
    AudioObjectID stream = kAudioObjectUnknown;
  };

  // AdapterHardware
  std::optional<Kind> kindOf(AudioObjectID object) const override;
  bool lacks(AudioObjectID object, FourCharCode selector) const override;
  std::expected<AudioPropertyValue, OSStatus> value(Kind kind, AudioObjectID object,
                                                    FourCharCode selector) const override;
  OSStatus setNominalRate(AudioObjectID device, double hertz) override;
  OSStatus toggleHog(AudioObjectID device) override;
  // AudioOutputComponent
  std::expected<std::unique_ptr<AudioOutputUnit>, OSStatus> newInstance() override;
  // AlsaOutputUnit::Host
  std::shared_ptr<AlsaDevice> deviceWithId(AudioObjectID id) override;
  void deviceFailed(AudioObjectID id) override;
  RunLoop& runLoop() override { return runLoop_; }
  Log& log() override { return log_; }
  const std::function<bool(pid_t)>& makeRealtime() override { return makeRealtime_; }

  [[nodiscard]] std::shared_ptr<AlsaDevice> deviceOf(AudioObjectID deviceOrStream) const;
  [[nodiscard]] AudioPropertyValue systemProperty(FourCharCode selector) const;
  [[nodiscard]] static std::expected<AudioPropertyValue, OSStatus> deviceProperty(AlsaDevice& device,
                                                                                  FourCharCode selector);
  [[nodiscard]] static std::expected<AudioPropertyValue, OSStatus> streamProperty(AlsaDevice& device,
                                                                                  FourCharCode selector);
  [[nodiscard]] AudioObjectID defaultDeviceId() const;
  void refresh();
  void removeDevicesOf(int card);
  void usageChanged(int card, unsigned device);
  void reservationChanged(int card);
  void yield(int card);
  void watchCards();
  [[nodiscard]] std::optional<AlsaCardFacts> readCard(int card);
  [[nodiscard]] std::shared_ptr<AlsaDeviceCalls> callsOfCard(int card);
  void callsSettled(int card);
  void announceListChange(AudioObjectID defaultBefore);
  [[nodiscard]] Ids idsFor(const std::string& uid);

  RunLoop& runLoop_;
  Log& log_;
  const std::function<bool(pid_t)> makeRealtime_;
  const WeakSelf<AlsaAudioHardware> self_;          ///< for callbacks that may arrive after destruction
  const std::unique_ptr<DeviceCalls> ownCalls_;     ///< null if they were passed in
  const AlsaDevice::System system_;
  std::map<std::string, Ids> ids_;  ///< by uid, including devices that were unplugged
  AudioObjectID nextId_ = kAudioObjectSystemObject + 1;
  std::vector<std::shared_ptr<AlsaDevice>> devices_;
  std::map<int, std::shared_ptr<AlsaDeviceCalls>> cardCalls_;  ///< for each card's control, by card
  std::map<int, AlsaControlWatch> controls_;                   ///< by card
  AlsaWatcher watcher_;
};

}  // namespace tolvane
