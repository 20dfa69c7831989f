#pragma once
// Whether this program exclusively owns the output device, as a word and a sentence. A value.

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/HogModeReport.h"
#include "platform/BilingualText.h"

namespace tolvane {

struct ExclusiveAccessStatus {
  enum class Kind : std::uint8_t { off, requested, checking, active, lost, unavailable };

  Kind kind = Kind::off;
  BilingualText message;

  bool operator==(const ExclusiveAccessStatus&) const = default;

  [[nodiscard]] static ExclusiveAccessStatus off();
  [[nodiscard]] static ExclusiveAccessStatus requested();
  [[nodiscard]] static ExclusiveAccessStatus checking();
  /// The status for a reading of the device while Exclusive Access is on.
  [[nodiscard]] static ExclusiveAccessStatus verified(const HogModeReport& report);
};

/// The name of the kind: "off", "requested", …
[[nodiscard]] std::string_view kindName(ExclusiveAccessStatus::Kind kind);

}  // namespace tolvane
