#pragma once
// The list of devices: the server's sinks and the machine's cards, each once, with a permanent identity and name.
// Player's thread.

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/adapter/PropertyListeners.h"
#include "platform/pipewire/devices/DeviceMerge.h"
#include "platform/pipewire/devices/DeviceView.h"
#include "platform/pipewire/devices/Newcomers.h"

namespace tolvane {

class DeviceCatalogue {
 public:
  struct Events {
    std::function<void()> listed;                     ///< after each update, before the devices
    std::function<void(PipeWireDevice&)> lookedAt{};  ///< for each listed device, after each update
  };

  /// Notifies of devices that come and go, and of the default one. Reads nothing until refresh().
  DeviceCatalogue(const DeviceServices& services, const DeviceView& view, PropertyListeners& listeners, Events events);
  ~DeviceCatalogue();
  DeviceCatalogue(const DeviceCatalogue&) = delete;
  DeviceCatalogue& operator=(const DeviceCatalogue&) = delete;

  /// Reads the present devices of the server and of the machine.
  void refresh();
  /// From the first call on, a device that the kernel announces before the server waits for its sink.
  void beginWaitingForSinks() { isWaitingForSinks_ = true; }
  /// The server is gone, and every sink with it.
  void serverLost();
  /// A sink is about to be made for the device: notes that, and refreshes when the time for it is over. Does not block.
  void expectSink(PipeWireDevice& device);

  /// The listed device; null: there is none.
  [[nodiscard]] const PipeWireDevice* deviceOf(AudioObjectID deviceOrStream) const;
  [[nodiscard]] PipeWireDevice* deviceOf(AudioObjectID deviceOrStream);
  [[nodiscard]] const std::vector<PipeWireDevice*>& listed() const { return listed_; }
  /// Also finds one that is gone. REQUIRES: it has been listed.
  [[nodiscard]] PipeWireDevice& known(const std::string& uid) const { return *devices_.at(uid); }
  /// Runs `visit` for every device that has ever been listed.
  void forEachKnown(const std::function<void(PipeWireDevice&)>& visit) const;
  [[nodiscard]] AudioObjectID defaultDevice() const;

 private:
  [[nodiscard]] std::vector<CardDevice> cardDevices() const;
  [[nodiscard]] std::set<std::string> keptCards() const;
  [[nodiscard]] std::vector<ListedDevice> listedBefore() const;
  [[nodiscard]] bool mayStillGetSink(const MergedDevice& device);
  void list(const std::vector<MergedDevice>& merged);
  void unlist(PipeWireDevice& device);
  /// A sink that goes while its card stays is likely to come back in a moment.
  void loseSink(PipeWireDevice& device, OSStatus status, bool isLikelyBack);
  [[nodiscard]] PipeWireDevice& findOrCreate(const MergedDevice& merged);
  [[nodiscard]] std::string distinctName(const std::string& plain) const;
  void logMalformed();

  const DeviceServices services_;
  const DeviceView& view_;
  PropertyListeners& listeners_;
  const Events events_;
  std::map<std::string, std::unique_ptr<PipeWireDevice>> devices_;  ///< by uid, including devices that are gone
  std::vector<PipeWireDevice*> listed_;
  AudioObjectID nextId_ = kAudioObjectSystemObject + 1;
  AudioObjectID reportedDefault_ = kAudioObjectUnknown;
  bool isWaitingForSinks_ = false;
  Newcomers newcomers_;
  std::set<std::pair<std::uint32_t, std::string_view>> loggedMalformed_;  ///< the server's objects, by parameter
  RunLoop::Timer newcomerCheck_;
  RunLoop::Timer expectationCheck_;  ///< when an expected sink has not come
};

}  // namespace tolvane
