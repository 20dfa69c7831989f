#include "tests/platform/pipewire/scripted/ScriptedServer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/PropertyReading.h"
#include "platform/pipewire/devices/DeviceMerge.h"
#include "tests/platform/pipewire/facts/NeutralSettings.h"

namespace tolvane::test {
namespace {

using std::chrono_literals::operator""ms;

constexpr std::uint32_t portsOfSink = 1000, portsOfStream = 2000;

}  // namespace

ScriptedServer::ScriptedServer(ManualRunLoop& runLoop, Log& log, SimulatedAudioHardware& cardHardware, Events events)
    : runLoop_(runLoop), cardHardware_(cardHardware), events_(std::move(events)), calls_(runLoop, log) {
  facts_.hasSessionManager = true;
}

void ScriptedServer::open() { isConnected_ = isThere_; }

void ScriptedServer::reconnect() {
  if (isConnected_ || !isThere_) return;
  isConnected_ = true;
  announce();
}

// Waits.

void ScriptedServer::settle() {
  if (std::exchange(isLost_, false)) {
    events_.lost();
    isConnected_ = false;
    isChanged_ = true;
  }
  if (std::exchange(isChanged_, false)) events_.changed();
}

void ScriptedServer::announce() {
  isChanged_ = true;
  runLoop_.post([this] { settle(); });
}

bool ScriptedServer::waitUntil(const std::function<bool()>& condition, RunLoop::Duration limit) {
  const auto wait = beginWait();
  const auto end = runLoop_.now() + limit;
  settle();
  while (!condition()) {
    const auto left = end - runLoop_.now();
    if (!isConnected_ || left <= RunLoop::Duration::zero() || wait.isInterrupted()) return false;
    runLoop_.sleepFor(std::min<RunLoop::Duration>(left, 5ms));
    settle();
  }
  return true;
}

bool ScriptedServer::roundTrip(RunLoop::Duration limit) {
  const auto answered = runLoop_.now() + 1ms;
  return waitUntil([&] { return runLoop_.now() >= answered; }, limit);
}

// Cards and sinks.

std::uint32_t ScriptedServer::addCard(AudioObjectID device) {
  const std::uint32_t id = nextId_++;
  cards_[id] = device;
  PipeWireCard& card = facts_.cards[id];
  card.serial = std::to_string(nextSerial_++);
  card.api = "alsa";
  card.bus = "usb";
  card.busPath = cardPart(cardHardware_.device(device).config().uid);
  card.alsaCard = static_cast<int>(id);
  card.profile = profileStereo;
  card.profileOff = profileOff;
  addSink(id);
  return id;
}

std::uint32_t ScriptedServer::addSink(std::uint32_t card) {
  const std::uint32_t id = nextId_++;
  const auto& config = cardHardware_.device(cards_.at(card)).config();
  PipeWireSink& sink = facts_.sinks[id];
  sink.nodeName = "alsa_output." + facts_.cards.at(card).busPath;
  sink.description = config.name + " Analog Stereo";
  sink.serial = std::to_string(nextSerial_++);
  sink.api = "alsa";
  sink.card = card;
  sink.alsaCard = facts_.cards.at(card).alsaCard;
  sink.alsaDevice = 0;
  sink.alsaPath = fmt::format("front:{}", *sink.alsaCard);
  sink.rates = config.rates;
  sink.maximumChannels = 2;
  sink.positions = positions;
  sink.state = PipeWireSink::State::idle;
  sink.props.volumes = {1, 1};
  sink.props.settings = settingsOf14();
  facts_.ports[portsOfSink + 2 * id] = {id, "FL"};
  facts_.ports[portsOfSink + 2 * id + 1] = {id, "FR"};
  hold(card, true);
  announce();
  return id;
}

void ScriptedServer::removeSink(std::uint32_t sink) {
  const auto found = facts_.sinks.find(sink);
  if (found == facts_.sinks.end()) return;
  if (found->second.card) hold(*found->second.card, keepsCardsOpen_);
  facts_.sinks.erase(found);
  std::erase_if(facts_.ports, [sink](const auto& port) { return port.second.node == sink; });
  std::erase_if(facts_.links, [sink](const auto& link) { return link.second.inputNode == sink; });
  announce();
}

void ScriptedServer::unplug(std::uint32_t card) {
  if (const auto sink = sinkOfCard(card)) removeSink(*sink);
  hold(card, false);
  facts_.cards.erase(card);
  announce();
}

std::optional<std::uint32_t> ScriptedServer::sinkOfCard(std::uint32_t card) const {
  const auto found =
      std::ranges::find(facts_.sinks, std::optional(card), [](const auto& sink) { return sink.second.card; });
  return found == facts_.sinks.end() ? std::nullopt : std::optional(found->first);
}

void ScriptedServer::hold(std::uint32_t card, bool isHeld) {
  auto& failures = cardHardware_.device(cards_.at(card)).script().properties.writeFailures;
  if (isHeld)
    failures[kAudioDevicePropertyHogMode] = {kAudioDevicePermissionsError};
  else
    failures.erase(kAudioDevicePropertyHogMode);
}

void ScriptedServer::keepCardsOpen(bool keeps) {
  keepsCardsOpen_ = keeps;
  for (const auto& [card, device] : cards_)
    if (!keeps && !sinkOfCard(card)) hold(card, false);
}

bool ScriptedServer::setProfile(std::uint32_t card, std::uint32_t profile) {
  trace_.push_back(fmt::format("profile {} of card {}", profile, card));
  if (!isConnected_ || !facts_.cards.contains(card)) return false;
  if (take(profile == profileOff ? ServerStage::switchOff : ServerStage::switchOn) != noErr) return true;
  runLoop_.scheduleHardwareAfter(profileDelay, [this, card, profile] {
    if (!isConnected_ || !facts_.cards.contains(card)) return;
    facts_.cards.at(card).profile = profile;
    announce();
    if (const auto sink = sinkOfCard(card); sink && profile == profileOff) removeSink(*sink);
    if (profile == profileOff) return;
    runLoop_.scheduleHardwareAfter(sinkDelay, [this, card] {
      const bool isWanted = facts_.cards.contains(card) && facts_.cards.at(card).profile != profileOff;
      if (isConnected_ && isWanted && !sinkOfCard(card)) addSink(card);
    });
  });
  return true;
}

void ScriptedServer::suspend(std::uint32_t sink) {
  trace_.push_back(fmt::format("suspend {}", sink));
  const auto found = facts_.sinks.find(sink);
  if (found == facts_.sinks.end()) return;
  found->second.state = PipeWireSink::State::suspended;
  found->second.format.reset();
  if (found->second.card) hold(*found->second.card, false);
  announce();
}

void ScriptedServer::die() {
  isThere_ = false;
  if (!isConnected_) return;
  isLost_ = true;
  for (const auto& [card, device] : cards_) hold(card, false);
  runLoop_.post([this] { settle(); });
}

/// With new objects, as a server that was started anew.
void ScriptedServer::comeBack() {
  isThere_ = isConnected_ = true;
  const auto cards = std::exchange(cards_, {});
  facts_ = {};
  facts_.hasSessionManager = true;
  for (const auto& [card, device] : cards) addCard(device);
}

void ScriptedServer::change(const std::function<void(PipeWireFacts&)>& what) {
  what(facts_);
  announce();
}

void ScriptedServer::yieldCard(std::uint32_t card, std::int32_t owner) {
  const AudioObjectID device = cards_.at(card);
  unplug(card);
  cardHardware_.device(device).setHogOwner(owner);
}

std::uint32_t ScriptedServer::returnCard(std::uint32_t card) {
  const AudioObjectID device = cards_.extract(card).mapped();
  cardHardware_.device(device).setHogOwner(-1);
  return addCard(device);
}

// Streams.

OSStatus ScriptedServer::take(ServerStage stage) {
  const auto fault = faults_.find(stage);
  if (fault == faults_.end() || fault->second.times <= 0) return noErr;
  --fault->second.times;
  return fault->second.status;
}

std::unique_ptr<SoundServerStream> ScriptedServer::makeStream(SoundServerStream::Setup setup,
                                                              std::unique_ptr<RenderPipeline> pipeline,
                                                              std::function<void()> changed) {
  return std::make_unique<ScriptedStream>(*this, nextId_++, std::move(setup), std::move(pipeline), std::move(changed));
}

const PipeWireSink* ScriptedServer::sinkOf(const ScriptedStream& stream) const {
  const auto found = facts_.sinks.find(stream.setup().sink);
  const bool isThere = isConnected_ && found != facts_.sinks.end() && found->second.serial == stream.setup().serial;
  return isThere ? &found->second : nullptr;
}

void ScriptedServer::add(ScriptedStream& stream) {
  streams_.insert(&stream);
  NodeProps own;
  own.settings = settingsOf0365();
  facts_.ownStreams[stream.node()].props = own;
  const std::uint32_t sink = stream.setup().sink;
  for (std::uint32_t channel = 0; channel < 2; ++channel) {
    const std::uint32_t port = portsOfStream + 2 * stream.node() + channel;
    facts_.ports[port] = {stream.node(), channel == 0 ? "FL" : "FR"};
    facts_.links[port] = {stream.node(), sink, true, port, portsOfSink + 2 * sink + channel};
  }
  announce();
}

void ScriptedServer::remove(ScriptedStream& stream) {
  if (streams_.erase(&stream) == 0) return;
  const std::uint32_t node = stream.node();
  facts_.ownStreams.erase(node);
  std::erase_if(facts_.ports, [node](const auto& port) { return port.second.node == node; });
  std::erase_if(facts_.links, [node](const auto& link) { return link.second.outputNode == node; });
  announce();
}

void ScriptedServer::play(ScriptedStream& stream) {
  PipeWireSink& sink = facts_.sinks.at(stream.setup().sink);
  sink.state = PipeWireSink::State::running;
  const double rate = stream.setup().leadsRate ? stream.setup().rate : facts_.graphRate;
  sink.format = PipeWireFormat{rate, 2, positions};
  if (sink.card) {
    hold(*sink.card, true);
    cardHardware_.device(cards_.at(*sink.card)).setNominalRateFromOutside(rate);
  }
  announce();
}

void ScriptedServer::hear(std::span<const std::byte> samples) {
  if (!heard_) return;
  const std::size_t before = heard_->size();
  heard_->resize(before + samples.size() / sizeof(float));
  std::memcpy(heard_->data() + before, samples.data(), (heard_->size() - before) * sizeof(float));
}

std::vector<float> ScriptedServer::endListening() {
  return std::exchange(heard_, std::nullopt).value_or(std::vector<float>());
}

void ScriptedServer::rest(ScriptedStream& stream) {
  const auto found = facts_.sinks.find(stream.setup().sink);
  if (found == facts_.sinks.end() || sinkOf(stream) == nullptr) return;
  found->second.state = PipeWireSink::State::idle;
  announce();
}

}  // namespace tolvane::test
