#pragma once
// What a server reports of a stream and its sink: neutral, until a test changes it.

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/pipewire/facts/ChannelNumbers.h"
#include "platform/pipewire/facts/PathAlterations.h"
#include "tests/platform/pipewire/facts/NeutralSettings.h"

namespace tolvane::test::path {

inline constexpr std::uint32_t sinkId = 40;
inline constexpr std::uint32_t ownNode = 70;

/// The server's numbers.
enum Speaker : std::uint32_t { MONO = 2, FL, FR, FC, LFE, SL, SR, RL = 12, RR, AUX0 = 0x1000, AUX1, AUX2 };

/// A stream at 44.1 kHz that nothing alters, and its sink.
struct NeutralPath {
  PipeWireFacts facts;
  PipeWireStreamFacts stream;

  NeutralPath() {
    PipeWireSink& sink = facts.sinks[sinkId];
    sink.state = PipeWireSink::State::running;
    sink.format = PipeWireFormat{44100, 2, {3, 4}};
    sink.props.volumes = {1, 1};
    sink.props.settings = test::settingsOf14();
    sink.alsaCard = 0;
    sink.alsaPath = "front:0";
    NodeProps own;
    own.settings = test::settingsOf0365();
    facts.ownStreams[ownNode].props = own;
    facts.ports = {{71, {ownNode, "FL"}}, {72, {ownNode, "FR"}}, {41, {sinkId, "FL"}}, {42, {sinkId, "FR"}}};
    facts.links[90] = {ownNode, sinkId, true, 71, 41};
    facts.links[91] = {ownNode, sinkId, true, 72, 42};
    stream = {ownNode, 44100, 44100, {3, 4}, {1, 1, 1}, false, sinkId, std::nullopt};
  }
  PipeWireSink& sink() { return facts.sinks[sinkId]; }
  [[nodiscard]] std::vector<SampleAlteration> alterations() const { return alterationsOf(facts, sinkId, stream); }
};

/// A stream with these channels to a sink with those, each linked to the port of the name beside it.
inline NeutralPath linked(const std::vector<std::uint32_t>& own, const std::vector<std::uint32_t>& sinks,
                          const std::vector<std::pair<std::string, std::string>>& links) {
  NeutralPath path;
  path.stream.positions = own;
  path.sink().format = PipeWireFormat{44100, static_cast<std::uint32_t>(sinks.size()), sinks};
  path.facts.ports.clear();
  path.facts.links.clear();
  std::uint32_t id = 100;
  for (const auto& [from, to] : links) {
    path.facts.ports[id] = {ownNode, from};
    path.facts.ports[id + 1] = {sinkId, to};
    path.facts.links[id + 2] = {ownNode, sinkId, true, id, id + 1};
    id += 3;
  }
  return path;
}

/// A card on `bus` whose PCM is opened by this name, with these channels, each played by the track and linked to
/// itself.
inline NeutralPath openedAs(const char* bus, const char* name, const std::vector<std::uint32_t>& channels) {
  std::vector<std::pair<std::string, std::string>> links;
  for (const std::uint32_t channel : channels) links.emplace_back(channelName(channel), channelName(channel));
  auto path = linked(channels, channels, links);
  path.sink().card = 50;
  path.sink().alsaPath = name;
  path.facts.cards[50].bus = bus;
  return path;
}

}  // namespace tolvane::test::path
