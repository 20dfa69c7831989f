#pragma once
// The stages that samples pass from the file to the device, each with its value, the source of that value, and its
// meaning. Derived from the facts of the verdict, so the two never contradict each other. Values; any thread.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/AudioPathStatus.h"

namespace tolvane {

struct PathStage {
  enum class Kind : std::uint8_t { file, player, route, device };
  enum class Condition : std::uint8_t { unaltered, altered, unknown };

  Kind kind = Kind::file;
  Condition condition = Condition::unaltered;
  BilingualText value{};    ///< short: "FLAC 24-bit 96 kHz"
  BilingualText source{};   ///< where the value was read: "the file's header"
  BilingualText meaning{};  ///< what it means for the samples, in sentences for the user

  bool operator==(const PathStage&) const = default;
};

struct SignalPath {
  std::vector<PathStage> stages;  ///< in order, one of each kind; empty while no output is configured
  /// The stage that the verdict is about; nothing exactly when it is BIT-PERFECT, with every stage unaltered. Usually
  /// the first stage that is not unaltered; it may be a later one, because the verdict has its own order of precedence
  /// (judgeAudioPath).
  std::optional<PathStage::Kind> named{};
  std::string deviceName{};
  std::string soundServer{};      ///< name and version; empty: no server on the path
  std::string driver{};           ///< of the kernel; empty: unknown
  std::optional<TrackCut> cut{};  ///< if the file holds less data than its header states

  bool operator==(const SignalPath&) const = default;

  [[nodiscard]] bool isNamed(PathStage::Kind kind) const { return named == kind; }
  [[nodiscard]] bool isUnaltered() const;
};

/// What the path shows in addition to the facts of the verdict.
struct PathDescription {
  std::uint32_t sourceBits = 0;  ///< 0: the format has no bit depth
  bool sourceIsFloat = false;
  std::uint32_t channels = 2;
  OutputLevels levels{};
  std::string deviceName{};
  std::string soundServer{};      ///< name and version; empty: no server on the path
  std::string driver{};           ///< of the kernel; empty: unknown
  std::string formatSource{};     ///< where the physical format was read; empty: unknown
  std::optional<TrackCut> cut{};  ///< if the file holds less data than its header states
};

/// The path that `judgeAudioPath(facts).applyingOutputLevels(description.levels, …)` judges.
[[nodiscard]] SignalPath signalPath(const AudioPathFacts& facts, const PathDescription& description);

/// "FLAC 24-bit 96 kHz → untouched → shared, 96 kHz → 24-bit 96 kHz · Studio DAC"; empty without stages.
[[nodiscard]] BilingualText chainText(const SignalPath& path);

constexpr std::array everyPathStage{PathStage::Kind::file, PathStage::Kind::player, PathStage::Kind::route,
                                    PathStage::Kind::device};
/// "File", "Player", … for inCatalogue(), as the next one.
[[nodiscard]] std::string_view stageTitle(PathStage::Kind kind);
/// "unaltered", "altered", "not known"
[[nodiscard]] std::string_view conditionText(PathStage::Condition condition);

}  // namespace tolvane
