#include "platform/pipewire/PipeWireFacts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>

namespace tolvane {
namespace {

constexpr double mixerTolerance = 0.05;  // decibels: mixers tell hundredths, and round

bool isFull(float volume) { return volume == 1.0F; }

/// Rates are whole numbers on both sides: nothing is nearly equal.
bool sameRate(double a, double b) { return a > 0 && std::fabs(a - b) < 0.5; }

}  // namespace

const PipeWireCard* cardOf(const PipeWireFacts& facts, const PipeWireSink& sink) {
  const auto found = sink.card ? facts.cards.find(*sink.card) : facts.cards.end();
  return found == facts.cards.end() ? nullptr : &found->second;
}

bool othersPlayOn(const PipeWireFacts& facts, std::uint32_t sink, std::uint32_t ownNode) {
  return std::ranges::any_of(facts.links, [&](const auto& entry) {
    const PipeWireLink& link = entry.second;
    return link.inputNode == sink && link.outputNode != ownNode && link.isActive;
  });
}

bool playsOn(const PipeWireFacts& facts, std::uint32_t sink, std::uint32_t node) {
  return std::ranges::any_of(facts.links, [&](const auto& entry) {
    return entry.second.inputNode == sink && entry.second.outputNode == node && entry.second.isActive;
  });
}

bool isSetUp(const PipeWireFacts& facts, std::uint32_t sink) {
  return std::ranges::any_of(facts.ports, [sink](const auto& entry) { return entry.second.node == sink; });
}

bool isLinkedStraight(const PipeWireFacts& facts, std::uint32_t sink, std::uint32_t node, std::size_t channels) {
  std::set<std::string> linked;
  for (const auto& [id, link] : facts.links) {
    if (link.inputNode != sink || link.outputNode != node || !link.isActive) continue;
    const auto from = facts.ports.find(link.outputPort);
    const auto to = facts.ports.find(link.inputPort);
    if (from == facts.ports.end() || to == facts.ports.end() || from->second.channel != to->second.channel)
      return false;
    if (!linked.insert(from->second.channel).second) return false;
  }
  return linked.size() == channels;
}

namespace {

/// What the sink itself, and what the server does for it, makes of the samples.
std::string alterationInSink(const PipeWireSink& sink, const PipeWireStreamFacts& stream) {
  if (sink.isMuted) return "the sink is muted";
  if (sink.volumes.empty()) return "the sink's volume is not known";
  if (!isFull(sink.volume) || !std::ranges::all_of(sink.volumes, isFull)) {
    const float lowest = std::min(sink.volume, std::ranges::min(sink.volumes));
    return fmt::format("the sink's volume is {:.3f} of its samples", lowest);
  }
  if (sink.isSoftMuted) return "the server mutes the sink";
  if (!std::ranges::all_of(sink.softVolumes, isFull))
    return fmt::format("the server gives the sink {:.3f} of its samples", std::ranges::min(sink.softVolumes));
  if (sink.isDithered) return "the server dithers what it gives to the sink";
  // One of its stages may be no hardware: a volume that the system's sound library puts before the card.
  if (std::fabs(stream.mixerDecibels.value_or(0)) > mixerTolerance)
    return fmt::format("the sink's volume is full, and the card's mixer is at {:.1f} dB", *stream.mixerDecibels);
  return {};
}

}  // namespace

std::string alterationOf(const PipeWireFacts& facts, std::uint32_t sinkId, const PipeWireStreamFacts& stream) {
  const auto found = facts.sinks.find(sinkId);
  if (found == facts.sinks.end()) return "the sink has gone";
  const PipeWireSink& sink = found->second;
  if (sink.state == PipeWireSink::State::error) return "the sink has failed: " + sink.error;
  if (!sink.format) return "the sink's format is not known";
  if (!sameRate(sink.format->rate, stream.clientRate))
    return fmt::format("the sink runs at {} Hz, the source at {} Hz", sink.format->rate, stream.clientRate);
  if (!sameRate(stream.graphRate, stream.clientRate))
    return fmt::format("the graph runs at {} Hz, the source at {} Hz", stream.graphRate, stream.clientRate);
  if (sink.format->channels != stream.positions.size() || sink.format->positions != stream.positions)
    return "the channels are mapped";
  if (!playsOn(facts, sinkId, stream.node)) return "the stream is not linked to the sink";
  if (!isLinkedStraight(facts, sinkId, stream.node, stream.positions.size()))
    return "the channels are linked crosswise";
  // A sink that keeps another one's time is given more or fewer samples than were played.
  if (stream.clock != sinkId) return "the sink follows another clock";
  if (std::string reason = alterationInSink(sink, stream); !reason.empty()) return reason;
  if (stream.isMuted) return "the stream is muted";
  if (stream.volumes.empty()) return "the stream's volume is not known";
  if (!std::ranges::all_of(stream.volumes, isFull)) return "the stream's volume is not full";
  if (othersPlayOn(facts, sinkId, stream.node)) return "another program plays on the sink";
  return {};
}

std::uint32_t transportOf(const PipeWireSink& sink, const PipeWireCard* card) {
  const std::string_view api = card != nullptr && !card->api.empty() ? card->api : sink.api;
  const std::string_view bus = card != nullptr ? card->bus : std::string_view();
  if (api == "bluez5" || bus == "bluetooth") return kAudioDeviceTransportTypeBluetooth;
  if (sink.profileName.find("hdmi") != std::string::npos) return kAudioDeviceTransportTypeHDMI;
  if (bus == "usb") return kAudioDeviceTransportTypeUSB;
  if (bus == "firewire") return kAudioDeviceTransportTypeFireWire;
  if (bus == "pci") {
    return card->formFactor == "internal" ? kAudioDeviceTransportTypeBuiltIn : kAudioDeviceTransportTypePCI;
  }
  if (sink.alsaCard) return bus.empty() ? kAudioDeviceTransportTypeVirtual : kAudioDeviceTransportTypeBuiltIn;
  return kAudioDeviceTransportTypeVirtual;
}

std::string nameInJson(std::string_view json) {
  constexpr std::string_view key = "\"name\"";
  auto at = json.find(key);
  if (json.find('{') > at || at == std::string_view::npos) return {};
  at = json.find_first_not_of(" \t\r\n", at + key.size());
  if (at == std::string_view::npos || json[at] != ':') return {};
  at = json.find_first_not_of(" \t\r\n", at + 1);
  if (at == std::string_view::npos || json[at] != '"') return {};
  std::string name;
  for (++at; at < json.size() && json[at] != '"'; ++at) {
    if (json[at] == '\\' && ++at == json.size()) break;
    name += json[at];
  }
  return at < json.size() ? name : std::string();
}

}  // namespace tolvane
