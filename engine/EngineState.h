#pragma once
// The states of the engine and what each of them owns. Values, moved from one state into the next by
// EngineStateMachine, the only place that changes them.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <variant>

#include "engine/Output.h"
#include "engine/PreparedAudio.h"

namespace tolvane {

/// What is published of a state.
enum class TransportState : std::uint8_t { stopped, preparing, playing, paused };

/// How a track that is being prepared is to be started.
struct TrackStart {
  std::function<void()> started;          ///< called when it has started, or could not be
  std::function<double(double)> startAt;  ///< its first position in seconds, by its duration; null: its beginning
  bool isPaused = false;                  ///< it waits to be resumed
};

/// No track is loaded.
struct Stopped {
  std::unique_ptr<Output> kept;  ///< null, except while the end of a track is announced
};

/// A track is read into memory.
struct Preparing {
  TrackStart start;
  std::unique_ptr<Output> kept;  ///< of the track before, playing silence; null: none was kept
};

/// The output for a track is being opened. Lasts for one call, in which the device may block.
struct Configuring {
  PreparedAudio track;
  std::unique_ptr<Output> output;  ///< null until the device is known
  TransportState shown = TransportState::preparing;
  bool startsPaused = false;             ///< shown while preparing
  std::optional<FoundRate> foundRate{};  ///< of the output that this one replaces
};

struct Playing {
  PreparedAudio track;
  std::unique_ptr<Output> output;
};

/// The output is open and its unit stopped.
struct Paused {
  PreparedAudio track;
  std::unique_ptr<Output> output;
};

/// The output has failed; between two attempts to open it again nothing of the device is held.
struct Recovering {
  PreparedAudio track;
  bool returnsToPlaying = true;        ///< else to paused
  std::optional<FoundRate> foundRate;  ///< of the output that failed
};

using EngineState = std::variant<Stopped, Preparing, Configuring, Playing, Paused, Recovering>;

// What a state says and owns.

/// As it is published: a recovery is playing or paused.
[[nodiscard]] TransportState shownState(const EngineState& state);
/// The loaded track; null while stopped or preparing.
[[nodiscard]] const PreparedAudio* trackOf(const EngineState& state);
/// Where the output of this state is, the kept one of Stopped and Preparing included; null: it has none.
[[nodiscard]] std::unique_ptr<Output>* outputSlotOf(EngineState& state);
[[nodiscard]] Output* outputOf(const EngineState& state);
/// The rate at which the device was found, also between two outputs of one track: the engine's own rate is not the one
/// to come back to.
[[nodiscard]] std::optional<FoundRate> foundRateOf(const EngineState& state);

}  // namespace tolvane
