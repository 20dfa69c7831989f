#include "engine/EngineState.h"

namespace tolvane {

TransportState shownState(const EngineState& state) {
  if (std::holds_alternative<Preparing>(state)) return TransportState::preparing;
  if (std::holds_alternative<Playing>(state)) return TransportState::playing;
  if (std::holds_alternative<Paused>(state)) return TransportState::paused;
  if (const auto* configuring = std::get_if<Configuring>(&state)) return configuring->shown;
  if (const auto* recovering = std::get_if<Recovering>(&state))
    return recovering->returnsToPlaying ? TransportState::playing : TransportState::paused;
  return TransportState::stopped;
}

const PreparedAudio* trackOf(const EngineState& state) {
  return std::visit(
      [](const auto& owner) -> const PreparedAudio* {
        if constexpr (requires { owner.track; }) return &owner.track;
        return nullptr;
      },
      state);
}

std::unique_ptr<Output>* outputSlotOf(EngineState& state) {
  return std::visit(
      [](auto& owner) -> std::unique_ptr<Output>* {
        if constexpr (requires { owner.output; }) return &owner.output;
        if constexpr (requires { owner.kept; }) return &owner.kept;
        return nullptr;
      },
      state);
}

Output* outputOf(const EngineState& state) {
  const auto* const slot = outputSlotOf(const_cast<EngineState&>(state));
  return slot != nullptr ? slot->get() : nullptr;
}

std::optional<FoundRate> foundRateOf(const EngineState& state) {
  if (const Output* const open = outputOf(state); open != nullptr && open->foundRate()) return open->foundRate();
  if (const auto* const configuring = std::get_if<Configuring>(&state)) return configuring->foundRate;
  if (const auto* const recovering = std::get_if<Recovering>(&state)) return recovering->foundRate;
  return std::nullopt;
}

}  // namespace tolvane
