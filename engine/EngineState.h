#pragma once
// The states of the engine and what each state owns. Values; only EngineStateMachine moves them from one state to the
// next.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <variant>

#include "engine/Output.h"
#include "engine/PreparedAudio.h"

namespace tolvane {

/// The published form of a state.
enum class TransportState : std::uint8_t { stopped, preparing, playing, paused };

/// How to start a track that is being prepared.
struct TrackStart {
  std::function<void()> started;          ///< called when it has started, or failed to
  std::function<double(double)> startAt;  ///< duration to first position, in seconds; null: 0
  bool isPaused = false;                  ///< will be paused when it is ready
};

/// No track is loaded.
struct Stopped {
  std::unique_ptr<Output> kept;  ///< null, except while the end of a track is announced
};

/// A track is being read into memory.
struct Preparing {
  TrackStart start;
  std::unique_ptr<Output> kept;  ///< of the previous track; plays silence if that played; null: none was kept
};

/// The output for a track is being opened. Lasts for one call, during which the device may block.
struct Configuring {
  PreparedAudio track;
  std::unique_ptr<Output> output;  ///< null until the device is known
  TransportState shown = TransportState::preparing;
  bool startsPaused = false;             ///< published while preparing
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

/// The output has failed. Between two attempts to reopen it, no resource of the device is held.
struct Recovering {
  PreparedAudio track;
  bool returnsToPlaying = true;        ///< false: to paused
  std::optional<FoundRate> foundRate;  ///< of the output that failed
};

using EngineState = std::variant<Stopped, Preparing, Configuring, Playing, Paused, Recovering>;

// Queries on a state.

/// The published form: a recovery counts as playing or paused.
[[nodiscard]] TransportState shownState(const EngineState& state);
/// The loaded track; null while stopped or preparing.
[[nodiscard]] const PreparedAudio* trackOf(const EngineState& state);
/// The output of this state, including one kept by Stopped or Preparing; null: it has none.
[[nodiscard]] std::unique_ptr<Output>* outputSlotOf(EngineState& state);
[[nodiscard]] Output* outputOf(const EngineState& state);
/// The rate at which the device was found, even between two outputs of one track: the rate to restore is never one that
/// the engine set.
[[nodiscard]] std::optional<FoundRate> foundRateOf(const EngineState& state);

}  // namespace tolvane
