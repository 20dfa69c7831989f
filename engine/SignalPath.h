#pragma once
// The stages that the samples pass from the file to the device, each with what was read of it and what it means for
// them. Made from the facts of the verdict, which it never contradicts. Values; any thread.

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
  std::string value{};    ///< short: "FLAC 24-bit 96 kHz"
  std::string source{};   ///< where that was read: "the file's header"
  std::string meaning{};  ///< for the samples, in sentences for the user

  bool operator==(const PathStage&) const = default;
};

struct SignalPath {
  std::vector<PathStage> stages;  ///< in order, one of each kind; empty while no output is configured
  /// The stage that the verdict is about; nothing where it is BIT-PERFECT, which it is exactly when every stage is
  /// unaltered. Mostly the first that is not. Where several are not, the verdict may be about a later one: it has its
  /// own order of precedence (judgeAudioPath).
  std::optional<PathStage::Kind> named{};
  std::string deviceName{};
  std::string soundServer{};      ///< name and version; empty: none is in between
  std::string driver{};           ///< of the kernel; empty: not known
  std::optional<TrackCut> cut{};  ///< where the file holds less than its header states

  bool operator==(const SignalPath&) const = default;

  [[nodiscard]] bool isNamed(PathStage::Kind kind) const { return named == kind; }
  [[nodiscard]] bool isUnaltered() const;
};

/// What the path shows beside the facts of the verdict.
struct PathDescription {
  std::uint32_t sourceBits = 0;  ///< 0: the format has no such notion
  bool sourceIsFloat = false;
  std::uint32_t channels = 2;
  OutputLevels levels{};
  std::string deviceName{};
  std::string soundServer{};      ///< name and version; empty: none is in between
  std::string driver{};           ///< of the kernel; empty: not known
  std::string formatSource{};     ///< where the physical format was read; empty: not known
  std::optional<TrackCut> cut{};  ///< where the file holds less than its header states
};

/// The path that `judgeAudioPath(facts).applyingOutputLevels(description.levels, …)` judges.
[[nodiscard]] SignalPath signalPath(const AudioPathFacts& facts, const PathDescription& description);

/// "FLAC 24-bit 96 kHz → untouched → shared, 96 kHz → 24-bit 96 kHz · Studio DAC"; empty without stages.
[[nodiscard]] std::string chainText(const SignalPath& path);

constexpr std::array everyPathStage{PathStage::Kind::file, PathStage::Kind::player, PathStage::Kind::route,
                                    PathStage::Kind::device};
/// "File", "Player", …
[[nodiscard]] std::string_view stageTitle(PathStage::Kind kind);
/// "unaltered", "altered", "not known"
[[nodiscard]] std::string_view conditionText(PathStage::Condition condition);

}  // namespace tolvane
