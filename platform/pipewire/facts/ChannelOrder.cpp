#include "platform/pipewire/facts/ChannelOrder.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "platform/conversion/ChannelPlacement.h"
#include "platform/pipewire/facts/AlsaPath.h"
#include "platform/pipewire/facts/ChannelNumbers.h"

namespace tolvane {
namespace {

using enum SampleAlteration::Kind;

/// How an order of channels compares with another one.
enum class Order : std::uint8_t { same, other, unknown };

/// Where only one pair is beside or behind the listener, both names mean it.
std::vector<std::string> rearForSide(std::vector<std::string> channels) {
  if (std::ranges::any_of(channels, [](const auto& name) { return name == "RL" || name == "RR"; })) return channels;
  std::ranges::replace(channels, std::string("SL"), std::string("RL"));
  std::ranges::replace(channels, std::string("SR"), std::string("RR"));
  return channels;
}

/// The sink's order beside the one that the name of its PCM stands for.
Order orderByName(const PipeWireSink& sink) {
  if (!sink.format) return Order::unknown;
  const auto usual = channelOrderOf(sink.alsaPath, sink.format->positions.size());
  if (usual.empty()) return Order::unknown;
  const auto stated = rearForSide(channelNames(sink.format->positions));
  if (std::ranges::equal(stated, usual)) return Order::same;
  return std::ranges::is_permutation(stated, usual) ? Order::other : Order::unknown;
}

bool isUsb(const PipeWireFacts& facts, const PipeWireSink& sink) {
  const PipeWireCard* card = cardOf(facts, sink);
  return card != nullptr && card->bus == "usb";
}

/// These may be a route of the system's sound library to channels of the card in another order: it is one on all USB
/// devices and on some old cards.
bool mayBeRoute(const PipeWireSink& sink) { return sink.alsaPath.starts_with("surround"); }

/// The order that the server has, first channel first, beside the one that the card's driver states for its PCM.
Order orderByDriver(const PipeWireFacts& facts, const PipeWireSink& sink, const PipeWireStreamFacts& stream,
                    const std::vector<std::uint32_t>& positions) {
  const bool isComparable = positions.size() > 1 && positions.size() == stream.cardChannels.positions.size() &&
                            alsaPathOf(sink.alsaPath) == AlsaPath::direct && !(mayBeRoute(sink) && isUsb(facts, sink));
  if (!isComparable) return Order::unknown;
  const ChannelLayout server = layoutOf(positions);
  const ChannelLayout& card = stream.cardChannels;
  const ChannelPlacement placement = placeChannels(server, card);
  if (!placement.unplaced.empty()) return Order::other;
  for (std::size_t channel = 0; channel < placement.sourceOf.size(); ++channel) {
    const auto source = placement.sourceOf[channel];
    const bool isByPosition = source && server.positions[*source] != ChannelPosition::unknown &&
                              card.positions[channel] != ChannelPosition::unknown;
    if (isByPosition && *source != channel) return Order::other;
  }
  return placement.isCertain ? Order::same : Order::unknown;
}

/// Beyond stereo: the server's profiles and rules name the channels of any card that is opened as "hw", also by a
/// configuration for the device (UCM); and the system's sound library behind "surround51" has one order for all USB
/// devices, whatever theirs is.
bool isOrderAssumed(const PipeWireFacts& facts, const PipeWireSink& sink, std::size_t channels) {
  return channels > 2 && (withoutUcmPrefix(sink.alsaPath).starts_with("hw:") || isUsb(facts, sink));
}

/// A configuration for one device (UCM) knows its order, and the server may ask the driver.
bool mayKnowItsOrder(const PipeWireSink& sink) {
  return withoutUcmPrefix(sink.alsaPath) != sink.alsaPath ||
         std::ranges::any_of(sink.props.settings, [](const auto& setting) {
           return setting.first == "api.alsa.use-chmap" && setting.second == "true";
         });
}

SampleAlteration refuted(const PipeWireSink& sink, const PipeWireStreamFacts& stream,
                         const std::vector<std::string>& names) {
  // What a route makes of the order, the names do not show.
  return {mayBeRoute(sink) ? unknown : converted,
          bilingual("The sound server takes this device's channels for {}, but its driver states {}.",
                    listOfChannels(names), listOfChannels(channelNames(positionsOf(stream.cardChannels)))),
          "Turn on Exclusive Access to use the order that the device's driver reports."_cure};
}

/// The server moves no channel on its way to the card: a rule or a profile with another order changes only their names.
SampleAlteration otherOrder(const PipeWireSink& sink, const std::vector<std::string>& names) {
  const BilingualText order = listOfChannels(names);
  if (mayKnowItsOrder(sink))
    return {unknown, bilingual("The sound server puts this device's channels in an unusual order ({}).", order),
            "Turn on Exclusive Access to use the order that the device's driver reports."_cure};
  return {converted, bilingual("The sound server's settings put this device's channels in another order ({}).", order),
          "Remove audio.position from its settings."_cure};
}

}  // namespace

std::vector<std::string> channelNames(const std::vector<std::uint32_t>& positions) {
  std::vector<std::string> names;
  for (const std::uint32_t position : positions) names.push_back(channelName(position));
  return names;
}

BilingualText listOfChannels(const std::vector<std::string>& names) {
  if (names.empty()) return bilingual("without names");
  std::string list;
  for (const std::string& name : names) list += fmt::format("{}{}", list.empty() ? "" : ", ", name);
  return list;
}

std::vector<SampleAlteration> orderAlterations(const PipeWireFacts& facts, const PipeWireSink& sink,
                                               const PipeWireStreamFacts& stream) {
  const auto names = sink.format ? channelNames(sink.format->positions) : std::vector<std::string>();
  const bool isNumbered = areNumbered(names);
  const Order byName = orderByName(sink);
  const Order byDriver =
      names.empty() || isNumbered ? Order::unknown : orderByDriver(facts, sink, stream, sink.format->positions);
  if (byDriver == Order::same && !mayBeRoute(sink)) return {};
  const std::size_t channels = stream.positions.size();
  const bool isAssumed = isOrderAssumed(facts, sink, channels);
  const bool isOther = byName == Order::other && !isOrderAssumed(facts, sink, names.size());
  if (byDriver == Order::other && (!isOther || mayKnowItsOrder(sink))) return {refuted(sink, stream, names)};
  if (isOther) return {otherOrder(sink, names)};
  if (channels <= 2 || isNumbered || alsaPathOf(sink.alsaPath) != AlsaPath::direct) return {};
  if (!isAssumed && (!sink.format || byName != Order::unknown)) return {};
  return {{unknown,
           bilingual("The sound server assumes which loudspeakers the device's {} channels are for.", channels),
           "Turn on Exclusive Access to use the order that the device's driver reports."_cure}};
}

std::vector<SampleAlteration> numberedAlterations(const PipeWireFacts& facts, const PipeWireSink& sink,
                                                  const PipeWireStreamFacts& stream) {
  const Order byDriver = orderByDriver(facts, sink, stream, stream.positions);
  if (byDriver == Order::other) return {refuted(sink, stream, channelNames(stream.positions))};
  // A track that does not state its channels is an alteration of its own.
  const bool isOfTheTrack =
      !stream.cardChannels.positions.empty() && !stream.cardChannels.has(ChannelPosition::unknown);
  if (byDriver == Order::same || isOfTheTrack || stream.positions.size() <= 2) return {};
  return {{unknown,
           bilingual("The device does not state which loudspeakers its {} channels are for.", stream.positions.size()),
           "Turn on Exclusive Access to use the order that the device's driver reports."_cure}};
}

}  // namespace tolvane
