#include "platform/pipewire/devices/DeviceMerge.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

namespace tolvane {
namespace {

using Names = std::array<std::string, 3>;

/// The names that a card may have on the card path. The place comes before the model: of two units of one model without
/// serial numbers, one is identified by its place, and the other is the remaining one.
Names cardNames(const PipeWireCard& card) { return {card.busPath, card.busId, card.alsaCardId}; }

std::string sinkUid(const PipeWireSink& sink, const PipeWireCard* card) {
  if (card != nullptr && !card->bluetoothAddress.empty()) return "bluetooth:" + card->bluetoothAddress;
  return "sink:" + sink.nodeName;
}

/// Two sinks may have one node name, or one address.
std::string distinctUid(const std::string& plain, const std::vector<MergedDevice>& devices) {
  std::string uid = plain;
  for (int number = 2; std::ranges::find(devices, uid, &MergedDevice::uid) != devices.end(); ++number)
    uid = plain + " #" + std::to_string(number);
  return uid;
}

/// The card device behind each sink.
std::map<std::uint32_t, const CardDevice*> matchSinks(std::span<const CardDevice> cards, const PipeWireFacts& facts) {
  std::map<std::uint32_t, const CardDevice*> matches;
  std::set<const CardDevice*> taken;
  for (std::size_t kind = 0; kind < Names().size(); ++kind) {
    for (const auto& [id, sink] : facts.sinks) {
      const PipeWireCard* card = cardOf(facts, sink);
      if (card == nullptr || !sink.alsaDevice || matches.contains(id)) continue;
      const std::string name = cardNames(*card)[kind];
      const auto found = std::ranges::find(cards, name + ":" + std::to_string(*sink.alsaDevice), &CardDevice::uid);
      if (name.empty() || found == cards.end() || !taken.insert(&*found).second) continue;
      matches[id] = &*found;
    }
  }
  return matches;
}

/// The cards, by every name they may have, that have a sink now.
std::set<std::string> cardsInUse(const PipeWireFacts& facts) {
  std::set<std::string> names;
  for (const auto& [id, sink] : facts.sinks) {
    const PipeWireCard* card = cardOf(facts, sink);
    if (card == nullptr || card->isOff()) continue;
    for (const std::string& name : cardNames(*card))
      if (!name.empty()) names.insert(name);
  }
  return names;
}

}  // namespace

std::string cardPart(const std::string& uid) { return uid.substr(0, uid.rfind(':')); }

std::vector<MergedDevice> mergeDevices(std::span<const CardDevice> cards, const PipeWireFacts& facts,
                                       const std::set<std::string>& kept) {
  const auto matches = matchSinks(cards, facts);
  const auto inUse = cardsInUse(facts);
  std::vector<MergedDevice> devices;
  for (const CardDevice& device : cards) {
    const auto match = std::ranges::find(matches, &device, [](const auto& entry) { return entry.second; });
    MergedDevice merged{device.uid, device.name, device.transport, std::nullopt, device.id};
    if (match != matches.end()) {
      const PipeWireSink& sink = facts.sinks.at(match->first);
      if (!sink.description.empty()) merged.name = sink.description;
      merged.sink = match->first;
    } else if (inUse.contains(cardPart(device.uid)) && !kept.contains(cardPart(device.uid))) {
      continue;
    }
    devices.push_back(std::move(merged));
  }
  for (const auto& [id, sink] : facts.sinks) {
    const PipeWireCard* card = cardOf(facts, sink);
    // A sink whose own properties, or whose card's, have not arrived yet is listed later.
    const bool isKnown = !sink.nodeName.empty() && (!sink.card || (card != nullptr && !card->api.empty()));
    if (matches.contains(id) || !isKnown) continue;
    const std::string& name = sink.description.empty() ? sink.nodeName : sink.description;
    devices.push_back(
        {distinctUid(sinkUid(sink, card), devices), name, transportOf(sink, card), id, kAudioObjectUnknown});
  }
  return devices;
}

std::vector<MergedDevice> withoutComingsAndGoings(std::vector<MergedDevice> merged,
                                                  std::span<const ListedDevice> before,
                                                  const std::set<std::string>& kept) {
  const auto wasListed = [before](const std::string& uid) {
    return std::ranges::any_of(before, [&uid](const ListedDevice& listed) { return listed.device.uid == uid; });
  };
  std::erase_if(merged, [&](const MergedDevice& device) {
    return !device.sink && kept.contains(cardPart(device.uid)) && !wasListed(device.uid);
  });
  for (const auto& [device, isSinkExpected] : before) {
    if (device.cardDevice == kAudioObjectUnknown && isSinkExpected &&
        std::ranges::find(merged, device.uid, &MergedDevice::uid) == merged.end())
      merged.push_back(device);
  }
  return merged;
}

}  // namespace tolvane
