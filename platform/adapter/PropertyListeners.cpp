#include "platform/adapter/PropertyListeners.h"

#include <utility>

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

std::optional<AudioObjectPropertyAddress> PropertyListeners::addressOf(AudioHardware::ListenerID id) const {
  const auto found = entries_->find(id);
  if (found == entries_->end()) return std::nullopt;
  return found->second.address;
}

void PropertyListeners::deliver(AudioHardware::ListenerID id, const AudioObjectPropertyAddress& address) {
  const auto found = entries_->find(id);
  if (found == entries_->end()) return;
  const auto listener = found->second.listener;  // it may remove itself
  (*listener)(address);
}

void PropertyListeners::notify(AudioObjectID object, const AudioObjectPropertyAddress& address) {
  for (const auto& [id, entry] : *entries_) {
    if (entry.object != object || entry.address != address) continue;
    runLoop_.post(
        [alive = std::weak_ptr(entries_), id = id, address, listener = entry.listener, comesLate = deliversLate_] {
          const auto entries = alive.lock();
          if (entries && (comesLate || entries->contains(id))) (*listener)(address);
        });
  }
}

}  // namespace tolvane
