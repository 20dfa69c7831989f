#include "platform/pipewire/server/PipeWireConnection.h"

#include <fmt/format.h>
#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>
#include <spa/utils/result.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "platform/PrintableText.h"
#include "platform/pipewire/server/PipeWireObjects.h"
#include "platform/pipewire/server/PipeWireStream.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

constexpr auto startLimit = 2s;
constexpr auto retryInterval = 1s;  // while there is a socket that no server answers

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

}  // namespace

struct PipeWireConnection::Session {
  pw_registry* registry = nullptr;
  spa_hook coreHook{};
  spa_hook registryHook{};
};

/// What the library calls. Its tables of functions must outlive every object.
struct PipeWireCallbacks {
  static void done(void* data, std::uint32_t id, int sequence) {
    if (id == PW_ID_CORE) static_cast<PipeWireConnection*>(data)->answered(sequence);
  }
  static void identified(void* data, const pw_core_info* info) {
    auto& connection = *static_cast<PipeWireConnection*>(data);
    if (info == nullptr || info->version == nullptr) return;
    constexpr std::size_t longest = 40;  // of a text from the server, which may be any server
    connection.serverName_ = "PipeWire " + printableText(std::string_view(info->version).substr(0, longest));
  }
  static void failed(void* data, std::uint32_t id, int, int result, const char*) {
    // Errors about single objects come for those that vanish while they are asked; the core's own is the end.
    if (id == PW_ID_CORE && result == -EPIPE) static_cast<PipeWireConnection*>(data)->isBroken_ = true;
  }
  static void added(void* data, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t,
                    const spa_dict* props) {
    static_cast<PipeWireConnection*>(data)->globalAdded(id, type, props);
  }
  static void removed(void* data, std::uint32_t id) { static_cast<PipeWireConnection*>(data)->globalRemoved(id); }

  static const pw_core_events core;
  static const pw_registry_events registry;
};

const pw_core_events PipeWireCallbacks::core = [] {
  pw_core_events events{};
  events.version = PW_VERSION_CORE_EVENTS;
  events.info = &PipeWireCallbacks::identified;
  events.done = &PipeWireCallbacks::done;
  events.error = &PipeWireCallbacks::failed;
  return events;
}();

const pw_registry_events PipeWireCallbacks::registry = [] {
  pw_registry_events events{};
  events.version = PW_VERSION_REGISTRY_EVENTS;
  events.global = &PipeWireCallbacks::added;
  events.global_remove = &PipeWireCallbacks::removed;
  return events;
}();

PipeWireConnection::PipeWireConnection(RunLoop& runLoop, Log& log, DeviceCalls* calls, Events events)
    : runLoop_(runLoop),
      log_(log),
      ownCalls_(calls == nullptr ? std::make_unique<DeviceCalls>(runLoop, log) : nullptr),
      calls_(calls == nullptr ? *ownCalls_ : *calls),
      events_(std::move(events)),
      watch_(runLoop, pipeWireSocketPath(environment), [this] { tryToConnect(); }) {
  pw_init(nullptr, nullptr);
}

PipeWireConnection::~PipeWireConnection() {
  disconnect();
  loopWatch_.reset();
  if (context_ != nullptr) pw_context_destroy(context_);
  if (loop_ != nullptr) pw_loop_destroy(loop_);
  pw_deinit();
}

void PipeWireConnection::open() {
  tryToConnect();
  waitUntil([this] { return isReady_; }, startLimit);
}

void PipeWireConnection::answered(int sequence) {
  answered_ = sequence;
  if (isReady_) return;
  // The first answer follows the list of objects, the second their properties.
  if (--answersToReady_ > 0) {
    pw_core_sync(core_, PW_ID_CORE, 0);
  } else {
    isReady_ = isChanged_ = true;
  }
}

void PipeWireConnection::tryToConnect() {
  if (core_ != nullptr || !watch_.isThere()) return;
  if (context_ == nullptr) {
    loop_ = pw_loop_new(nullptr);
    // With this configuration the thread that renders asks for real-time scheduling.
    pw_properties* settings = pw_properties_new(PW_KEY_CONFIG_NAME, "client-rt.conf", nullptr);
    if (loop_ != nullptr) context_ = pw_context_new(loop_, settings, 0);
    if (context_ == nullptr) {
      if (loop_ != nullptr) pw_loop_destroy(std::exchange(loop_, nullptr));
      log_.write(LogLevel::standard, audioHardwareCategory,
                 "PipeWire's library does not start; its server is not used");
      return;
    }
    loopWatch_ = runLoop_.watchDescriptor(pw_loop_get_fd(loop_), [this] { iterate(0); });
  }
  core_ = pw_context_connect(context_, nullptr, 0);
  if (core_ == nullptr) return scheduleRetry();
  retry_.reset();
  isBroken_ = false;
  answered_ = 0;
  isReady_ = false;
  answersToReady_ = 2;
  session_ = std::make_unique<Session>();
  pw_core_add_listener(core_, &session_->coreHook, &PipeWireCallbacks::core, this);
  session_->registry = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
  if (session_->registry == nullptr) return disconnect();
  pw_registry_add_listener(session_->registry, &session_->registryHook, &PipeWireCallbacks::registry, this);
  pw_core_sync(core_, PW_ID_CORE, 0);
  log_.write(LogLevel::info, audioHardwareCategory, "Connected to PipeWire");
}

void PipeWireConnection::scheduleRetry() {
  retry_ = runLoop_.scheduleTimer(retryInterval, false, [this] { tryToConnect(); });
}

void PipeWireConnection::disconnect() {
  if (core_ == nullptr) return;
  objects_.clear();
  if (session_->registry != nullptr) {
    spa_hook_remove(&session_->registryHook);
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(session_->registry));
  }
  spa_hook_remove(&session_->coreHook);
  pw_core_disconnect(std::exchange(core_, nullptr));
  session_.reset();
  facts_ = {};
  isReady_ = false;
}

// The loop.

void PipeWireConnection::iterate(int milliseconds) {
  pw_loop_enter(loop_);
  pw_loop_iterate(loop_, milliseconds);
  pw_loop_leave(loop_);
  settle();
}

/// Notifies of the changes of the loop's last turn, now that no call of the library is in progress.
void PipeWireConnection::settle() {
  if (std::exchange(isBroken_, false) && core_ != nullptr) {
    log_.write(LogLevel::standard, audioHardwareCategory, "The PipeWire server has gone");
    events_.lost();
    disconnect();
    scheduleRetry();
    isChanged_ = false;
    events_.changed();
  }
  if (isReady_ && std::exchange(isChanged_, false)) events_.changed();
}

DeviceCalls::Wait PipeWireConnection::beginWait() { return {calls_, "the sound server"}; }

bool PipeWireConnection::waitUntil(const std::function<bool()>& condition, RunLoop::Duration limit) {
  const auto wait = beginWait();
  const auto end = runLoop_.now() + limit;
  while (!condition()) {
    const auto left = end - runLoop_.now();
    if (core_ == nullptr || left <= RunLoop::Duration::zero() || wait.isInterrupted()) return false;
    iterate(static_cast<int>(std::clamp<std::int64_t>(left / 1ms, 1, 20)));
  }
  return true;
}

bool PipeWireConnection::roundTrip(RunLoop::Duration limit) {
  if (core_ == nullptr) return false;
  const int asked = pw_core_sync(core_, PW_ID_CORE, 0);
  return waitUntil([this, asked] { return answered_ == asked; }, limit);
}

// Objects.

void PipeWireConnection::globalAdded(std::uint32_t id, const char* type, const spa_dict* props) {
  auto object = PipeWireObject::bind(session_->registry, id, type, props, facts_, isChanged_);
  if (object) objects_[id] = std::move(object);
}

void PipeWireConnection::globalRemoved(std::uint32_t id) {
  objects_.erase(id);
  isChanged_ = true;
}

bool PipeWireConnection::setProfile(std::uint32_t card, std::uint32_t profile) {
  const auto found = objects_.find(card);
  return found != objects_.end() && found->second->setProfile(profile);
}

void PipeWireConnection::suspend(std::uint32_t sink) {
  if (const auto found = objects_.find(sink); found != objects_.end()) found->second->suspend();
}

std::unique_ptr<SoundServerStream> PipeWireConnection::makeStream(SoundServerStream::Setup setup,
                                                                  std::unique_ptr<RenderPipeline> pipeline,
                                                                  std::function<void()> changed) {
  return std::make_unique<PipeWireStream>(*this, runLoop_, std::move(setup), std::move(pipeline), std::move(changed));
}

}  // namespace tolvane
