#pragma once
// One object of the server that the player watches: a card, a sink, its own stream, a link, a port, a table of
// settings. Writes what the server reports into the facts, and takes it out of them when it ends. Player's thread;
// called by the library's loop.

#include <spa/utils/dict.h>
#include <spa/utils/hook.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/pipewire/facts/PipeWireFacts.h"

struct pw_proxy;
struct pw_registry;

namespace tolvane {

class PipeWireObject {
 public:
  /// The node that a stream of this program is known by.
  static constexpr const char* ownStreamName = "tolvane-player";

  /// Null for what the player has no interest in. `facts` and `changed` outlive the object; `changed` is set with every
  /// change of the facts.
  static std::unique_ptr<PipeWireObject> bind(pw_registry* registry, std::uint32_t id, const char* type,
                                              const spa_dict* props, PipeWireFacts& facts, bool& changed);
  virtual ~PipeWireObject();
  PipeWireObject(const PipeWireObject&) = delete;
  PipeWireObject& operator=(const PipeWireObject&) = delete;

  /// False for what is no card.
  virtual bool setProfile(std::uint32_t) { return false; }
  /// Makes a sink close its hardware; does nothing with other objects.
  virtual void suspend() {}

 protected:
  PipeWireObject(std::uint32_t id, pw_proxy* proxy, PipeWireFacts& facts, bool& changed)
      : id_(id), facts_(facts), changed_(changed), proxy_(proxy) {}

  [[nodiscard]] pw_proxy* proxy() const { return proxy_; }

  const std::uint32_t id_;
  PipeWireFacts& facts_;
  bool& changed_;
  spa_hook hook_{};

 private:
  pw_proxy* const proxy_;  ///< null for a port, which is reported in full when it appears
};

}  // namespace tolvane
