#pragma once
// A desktop in memory: simulated cards, a scripted sound server over them, and the device layer over both.
// The test's thread.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "platform/PropertyReading.h"
#include "platform/pipewire/PipeWireAudioHardware.h"
#include "platform/simulated/MemoryLog.h"
#include "tests/platform/pipewire/scripted/ScriptedServer.h"

namespace tolvane::test {

class ScriptedDesktop {
 public:
  static constexpr const char* dacUid = "usb-Maker_DAC-00:0";

  enum class Server { isThere, isAbsent };

  /// With one USB DAC.
  explicit ScriptedDesktop(SimulatedDeviceConfig dac = {}, Server presence = Server::isThere) {
    dac.uid = dacUid;
    cardDevice_ = cards.addDevice(std::move(dac));
    hardware_ = std::make_unique<PipeWireAudioHardware>(runLoop, log, cards, [&](SoundServer::Events events) {
      auto made = std::make_unique<ScriptedServer>(runLoop, log, cards, std::move(events));
      server_ = made.get();
      if (presence == Server::isThere)
        card_ = made->addCard(cardDevice_);
      else
        made->die();
      return made;
    });
  }

  /// No device went through a change that its condition does not allow.
  ~ScriptedDesktop() {
    hardware_.reset();
    for (const std::string& message : log.messages())
      EXPECT_EQ(message.find("is refused"), std::string::npos) << message;
  }
  ScriptedDesktop(const ScriptedDesktop&) = delete;
  ScriptedDesktop& operator=(const ScriptedDesktop&) = delete;

  [[nodiscard]] PipeWireAudioHardware& hardware() { return *hardware_; }
  [[nodiscard]] ScriptedServer& server() { return *server_; }
  [[nodiscard]] SimulatedDevice& dac() { return cards.device(cardDevice_); }
  [[nodiscard]] AudioObjectID cardDevice() const { return cardDevice_; }
  [[nodiscard]] std::uint32_t card() const { return card_; }

  [[nodiscard]] std::vector<AudioObjectID> listed() const {
    return readProperty<std::vector<std::uint32_t>>(*hardware_, kAudioObjectSystemObject,
                                                    globalAddress(kAudioHardwarePropertyDevices))
        .value_or(std::vector<std::uint32_t>());
  }
  /// The device with this identity. Throws where there is none.
  [[nodiscard]] AudioObjectID device(const std::string& uid = dacUid) const {
    for (const AudioObjectID id : listed())
      if (readProperty<std::string>(*hardware_, id, globalAddress(kAudioDevicePropertyDeviceUID)) == uid) return id;
    throw std::runtime_error("there is no device " + uid);
  }

  ManualRunLoop runLoop;
  MemoryLog log;
  SimulatedAudioHardware cards{runLoop};

 private:
  AudioObjectID cardDevice_ = kAudioObjectUnknown;
  std::uint32_t card_ = 0;
  ScriptedServer* server_ = nullptr;
  std::unique_ptr<PipeWireAudioHardware> hardware_;
};

}  // namespace tolvane::test
