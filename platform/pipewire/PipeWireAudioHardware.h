#pragma once
// The device layer on a desktop with PipeWire: sinks as people know them, and the cards behind them as the direct side
// has them, each card once. Player's thread. Without a server it is the direct side; the only waits are bounded ones.

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/DeviceCalls.h"
#include "platform/Log.h"
#include "platform/RunLoop.h"
#include "platform/TabledAudioHardware.h"
#include "platform/pipewire/devices/DeviceMerge.h"
#include "platform/pipewire/devices/Newcomers.h"
#include "platform/pipewire/record/PipeWireDevice.h"
#include "platform/pipewire/server/SoundServer.h"
#include "platform/pipewire/units/PipeWireOutputUnit.h"

namespace tolvane {

class PipeWireAudioHardware : public TabledAudioHardware,
                              private AudioOutputComponent,
                              private PipeWireOutputUnit::Host {
 public:
  /// `direct` has the machine's own devices, and takes hog mode of them. `calls` names and interrupts the waits for the
  /// server; null: nobody does. All outlive the hardware.
  PipeWireAudioHardware(RunLoop& runLoop, Log& log, AudioHardware& direct, DeviceCalls* calls = nullptr);
  /// With the server that `makeServer` makes, which calls the events that it is given.
  using MakeServer = std::function<std::unique_ptr<SoundServer>(SoundServer::Events)>;
  PipeWireAudioHardware(RunLoop& runLoop, Log& log, AudioHardware& direct, const MakeServer& makeServer);
  ~PipeWireAudioHardware() override;

  std::expected<ListenerID, OSStatus> addPropertyListener(AudioObjectID object,
                                                          const AudioObjectPropertyAddress& address,
                                                          Listener listener) override;
  OSStatus removePropertyListener(ListenerID listener) override;
  AudioOutputComponent* outputComponent() override { return this; }

 private:
  using Device = PipeWireDevice;

  // TabledAudioHardware
  std::optional<Kind> kindOf(AudioObjectID object) const override;
  bool lacks(AudioObjectID object, FourCharCode selector) const override;
  std::expected<AudioPropertyValue, OSStatus> value(Kind kind, AudioObjectID object,
                                                    FourCharCode selector) const override;
  OSStatus setNominalRate(AudioObjectID device, double hertz) override {
    return setNominalRate(*deviceOf(device), hertz);
  }
  OSStatus toggleHog(AudioObjectID device) override { return toggleHog(*deviceOf(device)); }
  // AudioOutputComponent (PipeWireUnits.cpp)
  std::expected<std::unique_ptr<AudioOutputUnit>, OSStatus> newInstance() override;
  // PipeWireOutputUnit::Host (PipeWireUnits.cpp)
  bool hasDevice(AudioObjectID id) const override;
  std::expected<PipeWireOutputUnit::Path, OSStatus> openPath(AudioObjectID id, PipeWireOutputUnit& unit) override;
  void closePath(AudioObjectID id, const PipeWireOutputUnit& unit) override;
  void movedToCard(AudioObjectID id, std::optional<double> rate) override;
  void unitChanged(AudioObjectID id) override;
  AudioOutputComponent* directComponent() override { return direct_.outputComponent(); }
  SoundServer& server() override { return *server_; }
  RunLoop& runLoop() override { return runLoop_; }
  Log& log() override { return log_; }

  // Objects.
  [[nodiscard]] const Device* deviceOf(AudioObjectID deviceOrStream) const;
  [[nodiscard]] Device* deviceOf(AudioObjectID deviceOrStream);
  [[nodiscard]] const PipeWireSink* sinkOf(const Device& device) const;
  [[nodiscard]] AudioObjectID defaultDevice() const;

  // Properties (PipeWireProperties.cpp).
  [[nodiscard]] static std::int32_t ownProcess();
  [[nodiscard]] static const SoundServerStream* playingStream(const Device& device);
  [[nodiscard]] bool isReachedDirectly(const Device& device) const;
  [[nodiscard]] bool expectsSink(const Device& device) const;
  [[nodiscard]] std::expected<AudioPropertyValue, OSStatus> deviceProperty(const Device& device,
                                                                           FourCharCode selector) const;
  [[nodiscard]] std::expected<AudioPropertyValue, OSStatus> streamProperty(const Device& device,
                                                                           FourCharCode selector) const;
  [[nodiscard]] std::expected<AudioPropertyValue, OSStatus> sharedProperty(const Device& device,
                                                                           FourCharCode selector) const;
  [[nodiscard]] AudioPropertyValue alterationProperty(const Device& device, FourCharCode selector) const;
  [[nodiscard]] std::vector<SampleAlteration> alterationsNow(const Device& device) const;
  [[nodiscard]] double secondsUntilRetake(const Device& device) const;
  [[nodiscard]] bool isReopeningDue(const Device& device) const;
  [[nodiscard]] AudioObjectID directStream(const Device& device) const;
  [[nodiscard]] std::vector<AudioValueRange> sharedRates(const Device& device) const;
  [[nodiscard]] std::optional<double> sharedNominalRate(const Device& device) const;
  [[nodiscard]] std::expected<AudioStreamBasicDescription, OSStatus> sharedPhysicalFormat(const Device& device) const;
  [[nodiscard]] std::string sharedFormatSource(const Device& device) const;
  [[nodiscard]] std::vector<SampleAlteration> sharedAlterations(const Device& device) const;
  /// The process that has the card open, as the direct side reports it; -1: none, or there is no card.
  [[nodiscard]] std::expected<std::int32_t, OSStatus> directOwner(const Device& device) const;
  [[nodiscard]] bool isOurs(const Device& device) const;
  /// The process that has the device for itself; -1: none.
  [[nodiscard]] std::expected<std::int32_t, OSStatus> hogOwner(const Device& device) const;
  OSStatus setNominalRate(Device& device, double rate);

  // Exclusive access (PipeWireExclusive.cpp).
  OSStatus toggleHog(Device& device);
  OSStatus takeDirectly(Device& device);
  OSStatus toggleDirectHogWithin(RunLoop::Duration limit, Device& device);
  void giveBack(Device& device);
  OSStatus toggleDirectHog(const Device& device);
  void switchCardOff(Device& device);
  void restoreProfile(Device& device);
  void letGoOfCard(Device& device);
  void chooseCardRate(const Device& device, double rate);
  void waitUntilHeard(const Device& device);
  void waitForSink(const Device& device);

  // What comes and goes.
  void refresh();
  void logMalformed();
  void listDevices(const std::vector<MergedDevice>& merged);
  void observeDirect();
  void listenDirectly(ListenerID listener, const Device& device, bool ofStream,
                      const AudioObjectPropertyAddress& address);
  void serverLost();
  void loseSink(Device& device, OSStatus status, bool isExpected);
  void expectSink(Device& device);
  void publish(Device& device);
  void publishAlteration(Device& device);
  void lookForOthers(Device& device);
  [[nodiscard]] bool mayStillGetSink(const MergedDevice& device);
  [[nodiscard]] std::vector<DirectDevice> directDevices() const;
  [[nodiscard]] std::set<std::string> keptCards() const;
  [[nodiscard]] Device& deviceNamed(const MergedDevice& merged);
  [[nodiscard]] std::string distinctName(const std::string& plain) const;

  RunLoop& runLoop_;
  Log& log_;
  AudioHardware& direct_;
  std::map<std::string, std::unique_ptr<Device>> devices_;  ///< by uid, also of what has gone
  std::vector<Device*> listed_;
  AudioObjectID nextId_ = kAudioObjectSystemObject + 1;
  AudioObjectID toldDefault_ = kAudioObjectUnknown;
  std::map<AudioObjectID, ListenerID> ownerListeners_;  ///< of hog mode, by the direct side's device
  std::map<ListenerID, ListenerID> directListeners_;    ///< by the listener here, the one on the direct side
  std::vector<ListenerID> systemListeners_;
  bool isListing_ = false;  ///< the first list has been made
  Newcomers newcomers_;
  std::set<std::pair<std::uint32_t, std::string_view>> loggedMalformed_;  ///< the server's objects, by parameter
  RunLoop::Timer newcomerCheck_;
  RunLoop::Timer expectation_;  ///< looks again when a sink that was expected has not come
  const std::unique_ptr<SoundServer> server_;
};

}  // namespace tolvane
