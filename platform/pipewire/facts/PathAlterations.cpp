#include "platform/pipewire/facts/PathAlterations.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include "platform/pipewire/facts/AlsaPath.h"
#include "platform/pipewire/facts/ChannelOrder.h"

namespace tolvane {
namespace {

using enum SampleAlteration::Kind;
using Alterations = std::vector<SampleAlteration>;

constexpr double mixerTolerance = 0.05;  // decibels: mixers report hundredths, and round

void append(Alterations more, Alterations& found) {
  for (SampleAlteration& alteration : more) found.push_back(std::move(alteration));
}

bool isFull(float volume) { return volume == 1.0F; }

/// The volume that is farthest from full: it names the alteration.
float farthest(std::span<const float> volumes) {
  return *std::ranges::max_element(volumes, {}, [](float volume) { return std::fabs(volume - 1.0F); });
}

/// Rates are whole numbers on both sides: nothing is nearly equal.
bool sameRate(double a, double b) { return a > 0 && std::fabs(a - b) < 0.5; }

/// "44.1 kHz"
BilingualText kilohertz(double rate) {
  return rate > 0 ? BilingualText(fmt::format("{:.6g} kHz", rate / 1000)) : bilingual("an unknown rate");
}

void checkRates(const PipeWireSink& sink, const PipeWireStreamFacts& stream, Alterations& found) {
  if (!sink.format)
    found.push_back({unknown, bilingual("The sound server does not report the format that this device runs at."),
                     "Play the track again."_cure});
  else if (!sameRate(sink.format->rate, stream.clientRate))
    found.push_back({converted,
                     bilingual("The sound server resamples the track from {} to the device's {}.",
                               kilohertz(stream.clientRate), kilohertz(sink.format->rate)),
                     "Turn on Exclusive Access, or choose a device that has the track's rate."_cure});
  if (stream.graphRate == 0)
    found.push_back({unknown, bilingual("The sound server does not report the rate that it mixes at."),
                     "Play the track again."_cure});
  else if (!sameRate(stream.graphRate, stream.clientRate))
    found.push_back({converted,
                     bilingual("The sound server mixes at {} and resamples the {} track.", kilohertz(stream.graphRate),
                               kilohertz(stream.clientRate)),
                     "Turn on Exclusive Access, or close the programs that keep the server at that rate."_cure});
}

/// Each channel of the one is one of the other; the order may differ. A sink may number its channels instead.
bool haveTheSameChannels(std::vector<std::string> own, std::vector<std::string> sink) {
  if (own.size() != sink.size() || own.empty()) return false;
  if (areNumbered(sink)) return true;
  std::ranges::sort(own);
  std::ranges::sort(sink);
  return own == sink && std::ranges::adjacent_find(own) == own.end();
}

/// A sink of the server's own, with more of the server behind it.
bool isVirtual(const PipeWireSink& sink) { return !sink.alsaCard && sink.alsaPath.empty(); }

void checkChannels(const PipeWireFacts& facts, std::uint32_t sinkId, const PipeWireSink& sink,
                   const PipeWireStreamFacts& stream, Alterations& found) {
  const auto own = channelNames(stream.positions);
  // A virtual sink may leave its channels without names: it takes them in their order.
  if (isVirtual(sink) && sink.format && sink.format->positions.empty() && sink.format->channels == own.size()) return;
  const auto sinks = sink.format ? channelNames(sink.format->positions) : own;
  if (!haveTheSameChannels(own, sinks)) {
    found.push_back({converted,
                     bilingual("The sound server mixes the track's channels ({}) into the device's ({}).",
                               listOfChannels(own), listOfChannels(sinks)),
                     "Choose a device or a card's profile that has the track's channels."_cure});
  } else if (!playsOn(facts, sinkId, stream.node)) {
    found.push_back({unknown, bilingual("The sound server has not linked the player to this device."),
                     "Choose this device for the player in the sound server's mixer."_cure});
  } else if (!isLinkedStraight(facts, sinkId, stream.node, own, sinks)) {
    found.push_back({converted,
                     bilingual("A channel of the track is linked to another channel of the device, or to none."),
                     "Play the track again to have its channels linked anew."_cure});
  } else if (areNumbered(sinks)) {
    append(numberedAlterations(facts, sink, stream), found);
  }
}

/// A card that keeps another one's time is given more or fewer samples than were played. A virtual sink has no time
/// of its own.
void checkClock(std::uint32_t sinkId, const PipeWireSink& sink, const PipeWireStreamFacts& stream, Alterations& found) {
  if (stream.clock == sinkId || isVirtual(sink)) return;
  if (stream.clock == 0)
    found.push_back({unknown, bilingual("The sound server does not report whose clock this device follows."),
                     "Play the track again."_cure});
  else
    found.push_back({converted,
                     bilingual("This device follows the clock of another device, so the sound server resamples."),
                     "Unlink the player from the other device."_cure});
}

void checkSinkLevels(const NodeProps& props, const PipeWireStreamFacts& stream, Alterations& found) {
  if (props.isMuted || props.isSoftMuted)
    found.push_back({processed, bilingual("This device is muted in the sound server."), "Unmute it."_cure});
  if (props.volumes.empty()) {
    found.push_back({unknown, bilingual("The sound server does not report the volume of this device."),
                     "Turn on Exclusive Access, or choose another device."_cure});
    return;
  }
  std::vector<float> volumes = props.volumes;
  volumes.push_back(props.volume);
  if (!std::ranges::all_of(volumes, isFull)) {
    found.push_back({processed,
                     bilingual("The sound server plays this device at {} volume, so samples are altered.",
                               volumePercent(farthest(volumes))),
                     "Set its volume to 100 %."_cure});
  } else if (!std::ranges::all_of(props.softVolumes, isFull)) {
    found.push_back({processed,
                     bilingual("The sound server scales the samples to {} although this device's volume is 100 %.",
                               volumePercent(farthest(props.softVolumes))),
                     "Set the volume anew."_cure});
  } else if (std::fabs(stream.mixerDecibels.value_or(0)) > mixerTolerance) {
    // One of its stages may be no hardware: a volume that the system's sound library puts before the card.
    found.push_back(
        {processed,
         bilingual("The card's mixer is at {:.1f} dB although the sound server shows 100 %.", *stream.mixerDecibels),
         "Set the mixer to 0 dB."_cure});
  }
}

/// A filter that a node's properties ask for, and that its settings do not show: the server may not have read it.
void checkFilterProperty(const std::string& property, const NodeProps& props, const BilingualText& whose,
                         Alterations& found) {
  const bool isShown = std::ranges::any_of(props.settings, [](const auto& setting) {
    return isFilterControl(setting.first) || (isFilterSetting(setting.first) && !setting.second.empty());
  });
  if (property.empty() || isShown) return;
  found.push_back({unknown, bilingual("A rule of the sound server asks for a filter on {} ({}).", whose, property),
                   "Remove the rule."_cure});
}

/// What lies between the sink and the hardware.
void checkHardware(const PipeWireFacts& facts, const PipeWireSink& sink, Alterations& found) {
  if (transportOf(sink, cardOf(facts, sink)) == kAudioDeviceTransportTypeBluetooth) return;
  if (isVirtual(sink)) {
    found.push_back(
        {unknown,
         bilingual("It is a virtual device of the sound server, which may process samples before they reach any "
                   "hardware."),
         "Choose the hardware itself."_cure});
    return;
  }
  switch (alsaPathOf(sink.alsaPath)) {
    case AlsaPath::direct:
      // Of which card the rest is read, the sink's own number says.
      if (const auto card = cardInAlsaPath(sink.alsaPath); card && sink.alsaCard && *card != *sink.alsaCard)
        found.push_back(
            {unknown,
             bilingual("The sound server plays to \"{}\", which is another card than it states.", sink.alsaPath),
             "Choose another profile of the card."_cure});
      return;
    case AlsaPath::rerouted:
      found.push_back(
          {converted,
           bilingual("The system's sound library moves channels on the way to the card ({}).", sink.alsaPath),
           "Choose another profile of the card."_cure});
      return;
    case AlsaPath::encoded:
      found.push_back({converted,
                       bilingual("The system's sound library encodes the samples for the card ({}).", sink.alsaPath),
                       "Choose another profile of the card."_cure});
      return;
    case AlsaPath::unknown:
      break;
  }
  if (sink.alsaPath.empty()) {
    found.push_back({unknown, bilingual("The sound server does not report how it opens the card."),
                     "Turn on Exclusive Access to play to the card directly."_cure});
  } else {
    found.push_back(
        {unknown,
         bilingual("The sound server plays to \"{}\" of the system's sound library, which may alter samples.",
                   sink.alsaPath),
         "Choose another profile of the card."_cure});
  }
}

void checkOwnStream(const PipeWireFacts& facts, const PipeWireStreamFacts& stream, Alterations& found) {
  const auto own = facts.ownStreams.find(stream.node);
  if (own == facts.ownStreams.end() || !own->second.props) {
    found.push_back({unknown, bilingual("The sound server does not report the settings of the player's stream."),
                     "Turn on Exclusive Access, or play the track again."_cure});
    return;
  }
  const NodeProps& props = *own->second.props;
  if (props.isSoftMuted)
    found.push_back({processed, bilingual("The sound server mutes the player's stream."),
                     "Unmute the player in the sound server's mixer."_cure});
  if (!std::ranges::all_of(props.softVolumes, isFull))
    found.push_back({processed,
                     bilingual("The sound server scales the samples of the player's stream to {}.",
                               volumePercent(farthest(props.softVolumes))),
                     "Set the player's volume in the sound server's mixer anew."_cure});
  append(settingAlterations(props, bilingual("the player's stream")), found);
  checkFilterProperty(own->second.filterProperty, props, bilingual("the player's stream"), found);
}

void checkStreamLevels(const PipeWireStreamFacts& stream, Alterations& found) {
  if (stream.isMuted)
    found.push_back(
        {processed, bilingual("The player's stream is muted in the sound server's mixer."), "Unmute it."_cure});
  if (stream.volumes.empty())
    found.push_back({unknown, bilingual("The sound server does not report the volume of the player's stream."),
                     "Turn on Exclusive Access, or play the track again."_cure});
  else if (!std::ranges::all_of(stream.volumes, isFull))
    found.push_back({processed,
                     bilingual("The player's stream is at {} in the sound server's mixer, so samples are altered.",
                               volumePercent(farthest(stream.volumes))),
                     "Set it to 100 %."_cure});
}

}  // namespace

SampleAlteration withdrawnDevice() {
  return {unknown, bilingual("The sound server has withdrawn this device."),
          "Connect it anew, or choose another device."_cure};
}

std::vector<SampleAlteration> alterationsOf(const PipeWireFacts& facts, std::uint32_t sinkId,
                                            const PipeWireStreamFacts& stream) {
  const auto entry = facts.sinks.find(sinkId);
  if (entry == facts.sinks.end()) return {withdrawnDevice()};
  const PipeWireSink& sink = entry->second;
  if (sink.state == PipeWireSink::State::error)
    return {{unknown, bilingual("The sound server reports that this device has failed ({}).", sink.error),
             "Connect it anew, or choose another device."_cure}};
  Alterations found;
  checkRates(sink, stream, found);
  checkChannels(facts, sinkId, sink, stream, found);
  append(orderAlterations(facts, sink, stream), found);
  checkClock(sinkId, sink, stream, found);
  checkSinkLevels(sink.props, stream, found);
  append(settingAlterations(sink.props, bilingual("this device")), found);
  checkFilterProperty(sink.filterProperty, sink.props, bilingual("this device"), found);
  checkStreamLevels(stream, found);
  checkOwnStream(facts, stream, found);
  checkHardware(facts, sink, found);
  if (othersPlayOn(facts, sinkId, stream.node))
    found.push_back({processed, bilingual("Another program plays on this device, so the sound server mixes both."),
                     "Stop the other program, or turn on Exclusive Access."_cure});
  return found;
}

std::string detailsOf(const std::vector<SampleAlteration>& alterations) {
  std::string details;
  for (const SampleAlteration& alteration : alterations)
    details += fmt::format("{}{}", details.empty() ? "" : " ", alteration.detail);
  return details;
}

std::string volumePercent(float factor) {
  const double percent = std::cbrt(static_cast<double>(factor)) * 100;
  for (int digits = 0; digits < 6; ++digits) {
    std::string text = fmt::format("{:.{}f}", percent, digits);
    if (text != fmt::format("{:.{}f}", 100.0, digits)) return text + " %";
  }
  return "nearly 100 %";
}

}  // namespace tolvane
