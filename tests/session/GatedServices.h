#pragma once
// The player's services: each call passes a gate first, and then goes to a simulated service.

#include <map>
#include <memory>
#include <utility>

#include "platform/AudioFileServices.h"
#include "platform/AudioHardware.h"
#include "platform/DeviceReservation.h"
#include "platform/FileBookmarks.h"
#include "platform/UserDefaults.h"
#include "tests/session/Gate.h"

namespace tolvane::test {

class GatedUnit final : public AudioOutputUnit {
 public:
  GatedUnit(std::unique_ptr<AudioOutputUnit> unit, Gate& gate) : unit_(std::move(unit)), gate_(gate) {}

  OSStatus setProperty(AudioUnitProperty property, AudioUnitScope scope, std::uint32_t element,
                       const AudioUnitPropertyValue& value) override {
    gate_.pass("unit.setProperty");
    return unit_->setProperty(property, scope, element, value);
  }
  std::expected<AudioUnitPropertyValue, OSStatus> property(AudioUnitProperty property, AudioUnitScope scope,
                                                           std::uint32_t element) const override {
    gate_.pass("unit.property");
    return unit_->property(property, scope, element);
  }
  OSStatus initialize() override { return passed("unit.initialize")->initialize(); }
  OSStatus uninitialize() override { return passed("unit.uninitialize")->uninitialize(); }
  OSStatus start() override { return passed("unit.start")->start(); }
  OSStatus stop() override { return passed("unit.stop")->stop(); }
  std::int64_t framesPlayed() const override { return unit_->framesPlayed(); }
  std::uint64_t underrunCount() const override { return unit_->underrunCount(); }
  void setDeliveryRecord(std::shared_ptr<DeliveryRecord> record) override { unit_->setDeliveryRecord(std::move(record)); }

 private:
  AudioOutputUnit* passed(std::string_view call) {
    gate_.pass(call);
    return unit_.get();
  }

  std::unique_ptr<AudioOutputUnit> unit_;
  Gate& gate_;
};

/// A session in which no other program reserves anything.
class GatedReservation final : public DeviceReservation {
 public:
  explicit GatedReservation(Gate& gate) : gate_(gate) {}

  void setHandlers(Handlers) override {}
  std::optional<Owner> owner(int) override {
    gate_.pass("reservation.owner");
    return std::nullopt;
  }
  std::expected<Hold, Refusal> acquire(int card, const std::string&) override {
    gate_.pass("reservation.acquire");
    return Hold(new int(card), [&gate = gate_](const int* held) {
      gate.pass("reservation.giveBack");
      delete held;
    });
  }

 private:
  Gate& gate_;
};

/// Reserves a device before it is taken, and gives the reservation back after the device, as the adapters do.
class GatedHardware final : public AudioHardware, private AudioOutputComponent {
 public:
  GatedHardware(AudioHardware& hardware, Gate& gate) : hardware_(hardware), gate_(gate), reservation_(gate) {}

  bool hasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) const override {
    return passed("hardware.hasProperty").hasProperty(object, address);
  }
  std::expected<std::uint32_t, OSStatus> propertyDataSize(AudioObjectID object,
                                                          const AudioObjectPropertyAddress& address) const override {
    return passed("hardware.propertyDataSize").propertyDataSize(object, address);
  }
  std::expected<AudioPropertyValue, OSStatus> propertyData(AudioObjectID object,
                                                           const AudioObjectPropertyAddress& address) const override {
    if (address == hogModeAddress) (void)reservation_.owner(static_cast<int>(object));
    return passed("hardware.propertyData").propertyData(object, address);
  }
  OSStatus setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                           const AudioPropertyValue& value) override {
    if (address != hogModeAddress) return passed("hardware.setRate").setPropertyData(object, address, value);
    const bool isTaken = !holds_.contains(object);  // writing toggles
    if (isTaken) holds_[object] = reservation_.acquire(static_cast<int>(object), "").value_or(nullptr);
    const OSStatus status = passed("hardware.setHogMode").setPropertyData(object, address, value);
    if (!isTaken) holds_.erase(object);
    return status;
  }
  std::expected<bool, OSStatus> isPropertySettable(AudioObjectID object,
                                                   const AudioObjectPropertyAddress& address) const override {
    return passed("hardware.isPropertySettable").isPropertySettable(object, address);
  }
  std::expected<ListenerID, OSStatus> addPropertyListener(AudioObjectID object,
                                                          const AudioObjectPropertyAddress& address,
                                                          Listener listener) override {
    return passed("hardware.addPropertyListener").addPropertyListener(object, address, std::move(listener));
  }
  OSStatus removePropertyListener(ListenerID listener) override {
    return passed("hardware.removePropertyListener").removePropertyListener(listener);
  }
  AudioOutputComponent* outputComponent() override {
    component_ = passed("hardware.outputComponent").outputComponent();
    return component_ != nullptr ? this : nullptr;
  }

 private:
  AudioHardware& passed(std::string_view call) const {
    gate_.pass(call);
    return hardware_;
  }
  std::expected<std::unique_ptr<AudioOutputUnit>, OSStatus> newInstance() override {
    gate_.pass("hardware.newInstance");
    auto unit = component_->newInstance();
    if (!unit) return std::unexpected(unit.error());
    return std::make_unique<GatedUnit>(*std::move(unit), gate_);
  }

  AudioHardware& hardware_;
  Gate& gate_;
  mutable GatedReservation reservation_;
  std::map<AudioObjectID, DeviceReservation::Hold> holds_;
  AudioOutputComponent* component_ = nullptr;
};

class GatedFile final : public AudioFile {
 public:
  GatedFile(std::unique_ptr<AudioFile> file, Gate& gate) : file_(std::move(file)), gate_(gate) {}

  std::expected<AudioStreamBasicDescription, OSStatus> dataFormat() const override { return file_->dataFormat(); }
  std::expected<std::uint64_t, OSStatus> audioDataByteCount() const override { return file_->audioDataByteCount(); }
  std::expected<std::int32_t, OSStatus> sourceBitDepth() const override { return file_->sourceBitDepth(); }
  ChannelLayout channelLayout() const override { return file_->channelLayout(); }
  std::expected<std::uint64_t, OSStatus> readBytes(std::uint64_t offset, std::span<std::byte> destination) override {
    gate_.pass("files.readBytes");
    return file_->readBytes(offset, destination);
  }

 private:
  std::unique_ptr<AudioFile> file_;
  Gate& gate_;
};

class GatedDefaults final : public UserDefaults {
 public:
  GatedDefaults(UserDefaults& defaults, Gate& gate) : defaults_(defaults), gate_(gate) {}

  std::optional<Value> object(std::string_view key) const override {
    gate_.pass("defaults.object");
    return defaults_.object(key);
  }
  void setObject(std::string_view key, Value value) override {
    gate_.pass("defaults.setObject");
    defaults_.setObject(key, std::move(value));
  }
  void removeObject(std::string_view key) override {
    gate_.pass("defaults.removeObject");
    defaults_.removeObject(key);
  }

 private:
  // The simulated defaults store each change by itself.
  void beginGroup() override {}
  void endGroup() override {}

  UserDefaults& defaults_;
  Gate& gate_;
};

class GatedBookmarks final : public FileBookmarks {
 public:
  GatedBookmarks(FileBookmarks& bookmarks, Gate& gate) : bookmarks_(bookmarks), gate_(gate) {}

  std::expected<FileBookmark, std::string> make(const FileURL& url) override {
    gate_.pass("bookmarks.make");
    return bookmarks_.make(url);
  }
  std::optional<FileBookmark> makeOfPath(const FileURL& url) const override { return bookmarks_.makeOfPath(url); }
  std::optional<FileURL> storedURL(const FileBookmark& bookmark) const override {
    return bookmarks_.storedURL(bookmark);
  }
  std::vector<std::optional<ResolvedBookmark>> resolve(std::span<const FileBookmark> bookmarks) override {
    gate_.pass("bookmarks.resolve");
    return bookmarks_.resolve(bookmarks);
  }

 private:
  FileBookmarks& bookmarks_;
  Gate& gate_;
};

}  // namespace tolvane::test
