#include "platform/pipewire/facts/PipeWireFacts.h"

#include <algorithm>
#include <set>

namespace tolvane {

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

std::set<std::uint32_t> othersOn(const PipeWireFacts& facts, std::uint32_t sink, std::uint32_t ownNode) {
  std::set<std::uint32_t> nodes;
  for (const auto& [id, link] : facts.links)
    if (link.inputNode == sink && link.outputNode != ownNode) nodes.insert(link.outputNode);
  return nodes;
}

std::set<std::uint32_t> nodesIn(const PipeWireFacts& facts) {
  std::set<std::uint32_t> nodes;
  for (const auto& [id, port] : facts.ports) nodes.insert(port.node);
  return nodes;
}

bool playsOn(const PipeWireFacts& facts, std::uint32_t sink, std::uint32_t node) {
  return std::ranges::any_of(facts.links, [&](const auto& entry) {
    return entry.second.inputNode == sink && entry.second.outputNode == node && entry.second.isActive;
  });
}

bool isSetUp(const PipeWireFacts& facts, std::uint32_t sink) {
  return std::ranges::any_of(facts.ports, [sink](const auto& entry) { return entry.second.node == sink; });
}

bool areNumbered(const std::vector<std::string>& channels) {
  for (std::size_t i = 0; i < channels.size(); ++i)
    if (channels[i] != "AUX" + std::to_string(i)) return false;
  return !channels.empty();
}

bool isLinkedStraight(const PipeWireFacts& facts, std::uint32_t sink, std::uint32_t node,
                      const std::vector<std::string>& ownChannels, const std::vector<std::string>& sinkChannels) {
  const bool byIndex = areNumbered(sinkChannels);
  const auto isSame = [&](const std::string& from, const std::string& to) {
    if (from == to) return true;
    const auto own = std::ranges::find(ownChannels, from);
    return byIndex && own != ownChannels.end() && to == "AUX" + std::to_string(own - ownChannels.begin());
  };
  std::set<std::string> linked;
  for (const auto& [id, link] : facts.links) {
    if (link.inputNode != sink || link.outputNode != node || !link.isActive) continue;
    const auto from = facts.ports.find(link.outputPort);
    const auto to = facts.ports.find(link.inputPort);
    if (from == facts.ports.end() || to == facts.ports.end() || !isSame(from->second.channel, to->second.channel))
      return false;
    if (!linked.insert(to->second.channel).second) return false;
  }
  return linked.size() == ownChannels.size();
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
