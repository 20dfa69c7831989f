#pragma once
// The verdict on the path from file to device, and the pure function that computes it. Values; never touches a device.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/AudioPlayerError.h"
#include "engine/FailureContext.h"
#include "engine/render/OutputLevels.h"
#include "platform/AudioStreamBasicDescription.h"
#include "platform/BilingualText.h"
#include "platform/SampleAlteration.h"

namespace tolvane {

struct AudioPathStatus {
  enum class Kind : std::uint8_t { ready, configuring, bitPerfect, directPCM, processed, converted, error };

  Kind kind = Kind::ready;
  std::string label;         ///< the badge's text, in capitals: a mark, the same in every language
  BilingualText detail;      ///< one or more sentences
  FailureContext context{};  ///< kind error only: what else is known about the failure

  bool operator==(const AudioPathStatus&) const = default;

  /// Whether this is a verdict on a path; false: there is no path to judge.
  [[nodiscard]] bool isOfAPath() const {
    return kind != Kind::ready && kind != Kind::configuring && kind != Kind::error;
  }

  [[nodiscard]] static AudioPathStatus ready();
  [[nodiscard]] static AudioPathStatus configuring();
  [[nodiscard]] static AudioPathStatus failed(const AudioPlayerError& error);
  [[nodiscard]] static AudioPathStatus failed(BilingualText detail);

  /// This status with the software volume and balance applied: only levels that are not neutral change it.
  [[nodiscard]] AudioPathStatus applyingOutputLevels(const OutputLevels& levels, bool isBluetooth) const;
};

/// The name of the kind: "ready", "bitPerfect", …
[[nodiscard]] std::string_view kindName(AudioPathStatus::Kind kind);

/// The row of the verdict table that decided.
enum class PathReason : std::uint8_t {
  none,               ///< bit-perfect
  levels,             ///< the player's own volume and balance
  rate,               ///< the device runs at another rate, or its rate is unknown
  clientFormat,       ///< the unit accepted another format
  bluetooth,          ///< the device encodes what it is sent
  lossy,              ///< the source is lossy
  alteration,         ///< a stage behind the unit converts or processes the samples
  narrowFormat,       ///< the device's format cannot carry the source
  withheld,           ///< Exclusive Access was requested but not granted
  unknownAlteration,  ///< a stage behind the unit may alter the samples; it cannot be read
  unknownFormat       ///< the device's physical format is unknown
};

/// Everything that the verdict depends on. Rates in hertz, 0 when unreadable; a format that could not be read is
/// absent.
struct AudioPathFacts {
  bool isBluetooth = false;
  double sourceRate = 0;
  double nominalRate = 0;
  double actualRate = 0;
  bool clientFormatMatches = false;  ///< the unit's format was read and is the prepared one
  bool isLossless = false;
  std::string sourceLabel;
  std::optional<AudioStreamBasicDescription> physicalFormat;
  bool physicalFormatCompatible = false;      ///< valid only with a physical format
  std::vector<SampleAlteration> alterations;  ///< between the unit and the device's converter, as the device reports
  bool exclusiveAccessEnabled = false;
  bool hogModeSupported = false;
  bool hogModeOwned = false;  ///< by this process

  /// The nominal rate is known and agrees with the source's; the actual rate agrees too, or is unknown.
  [[nodiscard]] bool ratesMatch() const;
  /// The rate that the device runs at, in hertz; 0: unknown.
  [[nodiscard]] double deviceRate() const { return actualRate > 0 ? actualRate : nominalRate; }
  [[nodiscard]] bool alters(SampleAlteration::Kind kind) const;
};

/// The first row that holds decides. Software levels are applied on top (applyingOutputLevels):
///  1–3  Bluetooth: at another rate; with the client format accepted; with another client format
///    4  the device runs at another rate, or its rate is unknown
///    5  the unit accepted another client format
///    6  the source is lossy
/// 6a–6b a stage behind the unit converts the samples; processes them. The detail is what the device reports,
///       conversions first
///    9  the physical format cannot carry the source, even if other parts of the path are unknown
///  7–8  the physical format, or the kind of an alteration, is unknown; the same without the requested Exclusive Access
///   10  Exclusive Access was requested but not granted
/// 11–12 bit-perfect: shared; exclusive
[[nodiscard]] AudioPathStatus judgeAudioPath(const AudioPathFacts& facts);

/// The row that decides; `levels` takes precedence when they are not neutral.
[[nodiscard]] PathReason decidingReason(const AudioPathFacts& facts, const OutputLevels& levels = {});

}  // namespace tolvane
