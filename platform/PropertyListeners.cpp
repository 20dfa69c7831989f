#include "platform/PropertyListeners.h"

#include <utility>
#include <vector>

namespace tolvane {

PropertyListeners::PropertyListeners(RunLoop& runLoop) : runLoop_(runLoop), entries_(std::make_shared<Entries>()) {}

AudioHardware::ListenerID PropertyListeners::add(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                                 AudioHardware::Listener listener) {
  const AudioHardware::ListenerID id = next_++;
  entries_->emplace(id, Entry{object, address, std::make_shared<const AudioHardware::Listener>(std::move(listener))});
  return id;
}

OSStatus PropertyListeners::remove(AudioHardware::ListenerID id) {
  return entries_->erase(id) == 1 ? noErr : kAudio_ParamError;
}

void PropertyListeners::deliver(AudioHardware::ListenerID id, const AudioObjectPropertyAddress& address) {
  const auto found = entries_->find(id);
  if (found == entries_->end()) return;
  const auto listener = found->second.listener;  // it may remove itself
  (*listener)(address);
}

void PropertyListeners::notify(AudioObjectID object, const AudioObjectPropertyAddress& address) {
  std::vector<AudioHardware::ListenerID> ids;
  for (const auto& [id, entry] : *entries_) {
    if (entry.object == object && entry.address == address) ids.push_back(id);
  }
  if (ids.empty()) return;
  runLoop_.post([weakEntries = std::weak_ptr(entries_), ids = std::move(ids), address] {
    for (const AudioHardware::ListenerID id : ids) {
      // Looked up anew each time: a listener may remove another one, or end the whole device layer.
      const auto entries = weakEntries.lock();
      if (!entries) return;
      const auto found = entries->find(id);
      if (found == entries->end()) continue;
      const auto listener = found->second.listener;
      (*listener)(address);
    }
  });
}

}  // namespace tolvane
