#pragma once
// The verdict on the path from file to device, and the pure function that finds it. Values; no device is touched here.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/AudioPlayerError.h"
#include "engine/FailureContext.h"
#include "engine/render/OutputLevels.h"
#include "platform/AudioStreamBasicDescription.h"
#include "platform/SampleAlteration.h"

namespace tolvane {

struct AudioPathStatus {
  enum class Kind : std::uint8_t { ready, configuring, bitPerfect, directPCM, processed, converted, error };

  Kind kind = Kind::ready;
  std::string label;         ///< the badge's text, in capitals
  std::string detail;        ///< one or more sentences
  FailureContext context{};  ///< of kind error: what is known besides

  bool operator==(const AudioPathStatus&) const = default;

  /// Whether it is the verdict on a path, and not that there is none.
  [[nodiscard]] bool isOfAPath() const {
    return kind != Kind::ready && kind != Kind::configuring && kind != Kind::error;
  }

  [[nodiscard]] static AudioPathStatus ready();
  [[nodiscard]] static AudioPathStatus configuring();
  [[nodiscard]] static AudioPathStatus failed(const AudioPlayerError& error);
  [[nodiscard]] static AudioPathStatus failed(std::string detail);

  /// This status as it stands while the software volume or balance is not neutral.
  [[nodiscard]] AudioPathStatus applyingOutputLevels(const OutputLevels& levels, bool isBluetooth) const;
};

/// "ready", "bitPerfect", …: the case's name.
[[nodiscard]] std::string_view kindName(AudioPathStatus::Kind kind);

/// Why the verdict is what it is: which of its rows decides.
enum class PathReason : std::uint8_t {
  none,               ///< bit-perfect
  levels,             ///< the player's own volume and balance
  rate,               ///< the device runs at another rate, or at none that is known
  clientFormat,       ///< the unit took another format
  bluetooth,          ///< the device encodes
  lossy,              ///< the source is
  alteration,         ///< something behind the unit converts or processes
  narrowFormat,       ///< the device's format cannot carry the source
  withheld,           ///< Exclusive Access was asked for and is not had
  unknownAlteration,  ///< a stage behind the unit is not known
  unknownFormat       ///< the device's format is not known
};

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
  bool physicalFormatCompatible = false;      ///< meaningful with a physical format only
  std::vector<SampleAlteration> alterations;  ///< between the unit and the device's converter, as the device reports
  bool exclusiveAccessEnabled = false;
  bool hogModeSupported = false;
  bool hogModeOwned = false;  ///< by this process

  /// The rates agree, as far as they are known.
  [[nodiscard]] bool ratesMatch() const;
  /// The rate that the device runs at, in hertz; 0: not known.
  [[nodiscard]] double deviceRate() const { return actualRate > 0 ? actualRate : nominalRate; }
  [[nodiscard]] bool alters(SampleAlteration::Kind kind) const;
};

/// The first of these that holds; software levels come on top (applyingOutputLevels):
///  1–3  Bluetooth: at another rate; with the client format accepted; with another client format
///    4  the device runs at another rate, or at none that is known
///    5  the unit took another client format
///    6  the source is lossy
/// 6a–6b something behind the unit converts the samples; it processes them. The detail is the device's own, conversion
///       first
///    9  the physical format cannot carry the source, whatever else is not known of the path
///  7–8  the physical format is unknown, or an alteration whose kind is; the same with Exclusive Access withheld
///   10  Exclusive Access was asked for and is withheld
/// 11–12 bit-perfect: shared; exclusive
[[nodiscard]] AudioPathStatus judgeAudioPath(const AudioPathFacts& facts);

/// The row that decides; `levels` come first, where they are not neutral.
[[nodiscard]] PathReason decidingReason(const AudioPathFacts& facts, const OutputLevels& levels = {});

}  // namespace tolvane
