#pragma once
// The listeners of properties. Player's thread. A notification reaches, each in its own later turn of the run loop, the
// listeners that existed when the property changed and still exist: a listener that is added afterwards has read the
// new value.

#include <map>
#include <memory>
#include <optional>

#include "platform/AudioHardware.h"
#include "platform/RunLoop.h"

namespace tolvane {

class PropertyListeners {
 public:
  explicit PropertyListeners(RunLoop& runLoop);

  AudioHardware::ListenerID add(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                AudioHardware::Listener listener);
  [[nodiscard]] OSStatus remove(AudioHardware::ListenerID id);
  void notify(AudioObjectID object, const AudioObjectPropertyAddress& address);
  /// Calls the listener at once, for notifications that already have their own turn. Does nothing if it was removed.
  void deliver(AudioHardware::ListenerID id, const AudioObjectPropertyAddress& address);

  [[nodiscard]] std::size_t size() const { return entries_->size(); }
  /// The property that the listener observes; nothing if it was removed.
  [[nodiscard]] std::optional<AudioObjectPropertyAddress> addressOf(AudioHardware::ListenerID id) const;
  /// If set, a notification that is pending when its listener is removed still arrives, as with real hardware.
  void setDeliversLate(bool delivers) { deliversLate_ = delivers; }

 private:
  struct Entry {
    AudioObjectID object;
    AudioObjectPropertyAddress address;
    std::shared_ptr<const AudioHardware::Listener> listener;
  };
  using Entries = std::map<AudioHardware::ListenerID, Entry>;

  RunLoop& runLoop_;
  std::shared_ptr<Entries> entries_;  ///< posted notifications hold it weakly: they may outlive this object
  AudioHardware::ListenerID next_ = 1;
  bool deliversLate_ = false;
};

}  // namespace tolvane
