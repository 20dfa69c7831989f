#pragma once
// What a PipeWire server reports: its sinks, the cards behind them, the streams on them. Plain values, and pure
// functions on them. Player's thread; uses no library.

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/AudioHardware.h"
#include "platform/ChannelLayout.h"
#include "platform/pipewire/facts/NodeProps.h"

namespace tolvane {

/// The format that a sink and its hardware have agreed on; there is none while the sink is suspended.
struct PipeWireFormat {
  double rate = 0;                       ///< hertz
  std::uint32_t channels = 0;            ///< the number of positions, if those are reported
  std::vector<std::uint32_t> positions;  ///< the server's numbers of the speakers

  bool operator==(const PipeWireFormat&) const = default;
};

/// A card as the server's session manager has it.
struct PipeWireCard {
  std::string serial;  ///< never used again while the server lives
  std::string api;     ///< "alsa", "bluez5"
  std::string bus;     ///< "usb", "pci", "bluetooth"
  std::string busId;
  std::string busPath;
  std::string description;
  std::string formFactor;
  std::optional<int> alsaCard;  ///< the kernel's index
  std::string alsaCardId;       ///< the kernel's name of it
  std::string bluetoothAddress;
  std::optional<std::uint32_t> profile;     ///< the active one
  std::optional<std::uint32_t> profileOff;  ///< the one that gives the card back to the system

  [[nodiscard]] bool isOff() const { return profile && profile == profileOff; }
  /// Whether both are one object of the server, and one piece of hardware.
  [[nodiscard]] bool isSameAs(const PipeWireCard& other) const {
    return serial == other.serial && busPath == other.busPath && busId == other.busId;
  }
};

struct PipeWireSink {
  enum class State : std::uint8_t { creating, suspended, idle, running, error };

  std::string nodeName;
  std::string serial;  ///< what a stream names it by; never used again
  std::string description;
  std::string api;
  std::optional<std::uint32_t> card;  ///< a PipeWireCard's object
  std::optional<int> alsaCard;
  std::optional<int> alsaDevice;
  std::string profileName;
  State state = State::creating;
  std::string error;
  std::optional<PipeWireFormat> format;
  std::vector<AudioValueRange> rates;  ///< of its hardware; empty: not reported
  std::uint32_t maximumChannels = 0;
  std::vector<std::uint32_t> positions;  ///< that it offers for so many channels; empty where it states none
  std::string alsaPath;                  ///< the name that the card's PCM is opened by, "front:1"
  std::string filterProperty;            ///< the node's first property with a filter for its converter; empty: none
  NodeProps props;
};

/// The node of a stream of this program.
struct PipeWireOwnStream {
  std::string filterProperty;      ///< as of a sink
  std::optional<NodeProps> props;  ///< nothing until reported
};

/// A link from one channel of a stream to a channel of another node.
struct PipeWireLink {
  std::uint32_t outputNode = 0;
  std::uint32_t inputNode = 0;
  bool isActive = false;
  std::uint32_t outputPort = 0;
  std::uint32_t inputPort = 0;

  bool operator==(const PipeWireLink&) const = default;
};

/// Where a channel goes in or out.
struct PipeWirePort {
  std::uint32_t node = 0;
  std::string channel;  ///< "FL"
};

/// By the server's object numbers.
struct PipeWireFacts {
  std::map<std::uint32_t, PipeWireCard> cards;
  std::map<std::uint32_t, PipeWireSink> sinks;
  std::map<std::uint32_t, PipeWireOwnStream> ownStreams;
  std::map<std::uint32_t, PipeWireLink> links;
  std::map<std::uint32_t, PipeWirePort> ports;  ///< but those of no channel
  std::string defaultSinkName;
  bool hasSessionManager = false;  ///< there is a program that makes the sinks of cards
  double graphRate = 48000;        ///< hertz, if no stream requests another one
  /// Object → its parameters that were malformed ("formats") and therefore ignored.
  std::map<std::uint32_t, std::set<std::string_view>> malformed;
};

/// What a stream to a sink has requested, and what it was given.
struct PipeWireStreamFacts {
  std::uint32_t node = 0;
  double clientRate = 0;  ///< hertz
  double graphRate = 0;   ///< hertz; 0: unknown
  std::vector<std::uint32_t> positions;
  std::vector<float> volumes;  ///< per channel, and the stream's as a whole; empty: not reported (yet)
  bool isMuted = false;
  std::uint32_t clock = 0;  ///< the object whose clock drives the stream; 0: unknown
  /// The gain of the mixer of the card behind the sink, if it is reported.
  std::optional<double> mixerDecibels;
  /// Of the card's PCM, as its driver states them; empty if it states none, or may have invented them.
  ChannelLayout cardChannels{};
};

/// Whether a node other than `ownNode` plays on the sink.
[[nodiscard]] bool othersPlayOn(const PipeWireFacts& facts, std::uint32_t sink, std::uint32_t ownNode);

/// The nodes other than `ownNode` that are linked to the sink, playing or not.
[[nodiscard]] std::set<std::uint32_t> othersOn(const PipeWireFacts& facts, std::uint32_t sink, std::uint32_t ownNode);

/// All nodes that have ports.
[[nodiscard]] std::set<std::uint32_t> nodesIn(const PipeWireFacts& facts);

/// Whether what `node` plays reaches the sink.
[[nodiscard]] bool playsOn(const PipeWireFacts& facts, std::uint32_t sink, std::uint32_t node);

/// Whether each of the channels that `node` plays ends in the sink's channel of the same name, and in no other. In a
/// sink whose channels are only numbered, the channel with the same index counts. Both lists are names, in order.
[[nodiscard]] bool isLinkedStraight(const PipeWireFacts& facts, std::uint32_t sink, std::uint32_t node,
                                    const std::vector<std::string>& ownChannels,
                                    const std::vector<std::string>& sinkChannels);

/// Whether these names are those of channels that are only numbered: AUX0 and so on.
[[nodiscard]] bool areNumbered(const std::vector<std::string>& channels);

/// Whether the session manager has finished setting up a new sink: it can be linked to.
[[nodiscard]] bool isSetUp(const PipeWireFacts& facts, std::uint32_t sink);

/// The card behind a sink; null where there is none.
[[nodiscard]] const PipeWireCard* cardOf(const PipeWireFacts& facts, const PipeWireSink& sink);

[[nodiscard]] std::uint32_t transportOf(const PipeWireSink& sink, const PipeWireCard* card);

/// The value of "name" in a JSON object such as {"name":"alsa_output.usb"}; empty for anything else.
[[nodiscard]] std::string nameInJson(std::string_view json);

}  // namespace tolvane
