#include "session/SavedPlaybackState.h"

#include <cmath>

#include "session/RecordReading.h"

namespace tolvane {

std::optional<std::string> encodedState(const SavedPlaybackState& state) {
  if (!std::isfinite(state.position) || !std::isfinite(state.duration)) return std::nullopt;
  nlohmann::ordered_json record;
  record["version"] = state.version;
  record["currentIndex"] = state.currentIndex;
  record["position"] = state.position;
  record["duration"] = state.duration;
  return record.dump();
}

std::optional<SavedPlaybackState> decodedState(std::string_view text) {
  const auto record = parsedRecord(text);
  if (!record) return std::nullopt;
  const auto version = integerMember(*record, "version");
  const auto index = integerMember(*record, "currentIndex");
  const auto position = numberMember(*record, "position");
  const auto duration = numberMember(*record, "duration");
  if (!version || !index || !position || !duration) return std::nullopt;
  return SavedPlaybackState{.version = *version, .currentIndex = *index, .position = *position, .duration = *duration};
}

}  // namespace tolvane
