#pragma once
// The verdict on the path from file to device, and the pure function that finds it. Values; no device is touched here.

#include <cstdint>
#include <optional>
#include <string>

#include "engine/render/OutputLevels.h"
#include "platform/AudioStreamBasicDescription.h"

namespace tolvane {

struct AudioPathStatus {
  enum class Kind : std::uint8_t { ready, configuring, bitPerfect, directPCM, processed, converted, error };

  Kind kind = Kind::ready;
  std::string label;   ///< the badge's text, in capitals
  std::string detail;  ///< one or more sentences

  bool operator==(const AudioPathStatus&) const = default;

  [[nodiscard]] static AudioPathStatus ready();
  [[nodiscard]] static AudioPathStatus configuring();
  [[nodiscard]] static AudioPathStatus failed(std::string detail);

  /// This status as it stands while the software volume or balance is not neutral.
  [[nodiscard]] AudioPathStatus applyingOutputLevels(const OutputLevels& levels, bool isBluetooth) const;
};

/// "ready", "bitPerfect", …: the case's name.
[[nodiscard]] std::string_view kindName(AudioPathStatus::Kind kind);

/// All that the verdict depends on. Rates in hertz, 0 when unreadable; a format that could not be read is absent.
struct AudioPathFacts {
  bool isBluetooth = false;
  double sourceRate = 0;
  double nominalRate = 0;
  double actualRate = 0;
  bool clientFormatMatches = false;  ///< the unit was read and carries the prepared format
  bool isLossless = false;
  std::string sourceLabel;
  std::optional<AudioStreamBasicDescription> physicalFormat;
  bool physicalFormatCompatible = false;  ///< meaningful with a physical format only
  bool exclusiveAccessEnabled = false;
  bool hogModeSupported = false;
  bool hogModeOwned = false;  ///< by this process
};

/// The first row of the table that applies; software levels come on top (applyingOutputLevels).
[[nodiscard]] AudioPathStatus judgeAudioPath(const AudioPathFacts& facts);

}  // namespace tolvane
