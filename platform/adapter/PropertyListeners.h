#pragma once
// Who wants to know about which property. Player's thread. A notification reaches, each in a later turn of the run loop
// of its own, those who listened when the property changed and still do: one who begins to listen afterwards has read
// the new value.

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
  /// At once, for news that come in a turn of their own. Nothing happens when the listener has been removed.
  void deliver(AudioHardware::ListenerID id, const AudioObjectPropertyAddress& address);

  [[nodiscard]] std::size_t size() const { return entries_->size(); }
  /// What the listener listens to; nothing when it has been removed.
  [[nodiscard]] std::optional<AudioObjectPropertyAddress> addressOf(AudioHardware::ListenerID id) const;
  /// On: a notification that is under way when its listener is removed still arrives, as hardware may do it.
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
