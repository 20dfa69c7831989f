#pragma once
// The settings that real servers report of a sink and its converter when nothing alters samples.

#include <string>
#include <utility>
#include <vector>

namespace tolvane::test {

using Settings = std::vector<std::pair<std::string, std::string>>;

/// PipeWire 0.3.65, as it reported them of a sink of its ALSA plug-in.
inline Settings settingsOf0365() {
  return {{"monitor.channel-volumes", "false"},
          {"channelmix.disable", "false"},
          {"channelmix.normalize", "false"},
          {"channelmix.mix-lfe", "true"},
          {"channelmix.upmix", "true"},
          {"channelmix.lfe-cutoff", "150"},
          {"channelmix.fc-cutoff", "12000"},
          {"channelmix.rear-delay", "12"},
          {"channelmix.stereo-widen", "0"},
          {"channelmix.hilbert-taps", "0"},
          {"channelmix.upmix-method", "psd"},
          {"resample.quality", "4"},
          {"resample.disable", "false"},
          {"dither.noise", "0"},
          {"dither.method", "none"},
          {"audio.channels", "2"},
          {"audio.rate", "0"},
          {"audio.format", "UNKNOWN"},
          {"audio.position", "[ FL, FR ]"},
          {"audio.allowed-rates", "[  ]"},
          {"api.alsa.period-size", "0"},
          {"api.alsa.period-num", "0"},
          {"api.alsa.headroom", "0"},
          {"api.alsa.start-delay", "0"},
          {"api.alsa.disable-mmap", "false"},
          {"api.alsa.disable-batch", "false"},
          {"api.alsa.use-chmap", "false"},
          {"api.alsa.multi-rate", "true"},
          {"latency.internal.rate", "0"},
          {"latency.internal.ns", "0"},
          {"clock.name", "api.alsa.p-0"}};
}

/// What the servers of the 1.x series report beside these.
inline Settings settingsOf14() {
  Settings settings = settingsOf0365();
  for (const auto& [name, value] : Settings{{"channelmix.min-volume", "0"},
                                            {"channelmix.max-volume", "10"},
                                            {"channelmix.lock-volumes", "false"},
                                            {"debug.wav-path", ""},
                                            {"audioconvert.filter-graph.disable", "false"},
                                            {"api.alsa.disable-tsched", "false"},
                                            {"api.alsa.htimestamp", "false"},
                                            {"api.alsa.htimestamp.max-errors", "64"}})
    settings.emplace_back(name, value);
  return settings;
}

}  // namespace tolvane::test
