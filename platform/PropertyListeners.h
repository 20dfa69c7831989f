#pragma once
// Who wants to know about which property. Main thread. A notification reaches, in a later turn of the run loop, those
// who listened when the property changed and still do: one who begins to listen afterwards has read the new value.

#include <map>
#include <memory>

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
};

}  // namespace tolvane
