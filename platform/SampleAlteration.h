#pragma once
// One thing that happens to the samples between an output unit and the converter of its device. A value; player's
// thread. Device adapters report it, the verdict shows it: the detail is written for the user.

#include <cstdint>
#include <string>

namespace tolvane {

struct SampleAlteration {
  enum class Kind : std::uint8_t {
    processed,  ///< a gain, a mute, dither, a filter, another program's samples added
    converted,  ///< resampling, remixing or reordering of channels
    unknown     ///< a stage that cannot be read, or whose effect the player does not know
  };

  Kind kind = Kind::unknown;
  std::string detail;  ///< one or two full sentences: the stage, its value, and the cure where there is one

  bool operator==(const SampleAlteration&) const = default;
};

}  // namespace tolvane
