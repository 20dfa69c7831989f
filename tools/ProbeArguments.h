#pragma once
// The command line of tolvane-probe as a value. Pure: text in, value out.

#include <expected>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/PlayAction.h"

namespace tolvane {

struct PlayOptions {
  std::optional<std::string> device;   ///< a device's name, id or stable identity; none: the system's default
  std::optional<std::string> capture;  ///< an ALSA capture PCM that hears what the device plays; of verify
  bool isExclusive = false;
  double volume = 1.0;   ///< 0 … 1
  double balance = 0.0;  ///< −1 … +1
  double fromSeconds = 0;
  std::optional<double> pauseAtSeconds;  ///< after the start of the first track
  double pauseForSeconds = 1;
  std::optional<double> exclusiveAtSeconds;  ///< after the start, Exclusive Access is turned on
  std::optional<double> sharedAtSeconds;     ///< and off
  std::optional<double> forSeconds;          ///< stop after this much time
  std::vector<PlayAction> actions;           ///< around the ends of files
  bool goesOnAfterErrors = false;            ///< with the next file
  bool printsReport = false;                 ///< at the end, in place of the changes
  bool namesFile = true;                     ///< in the report
};

struct ProbeArguments {
  enum class Command { prepare, waveform, discover, devices, play, verify };

  Command command = Command::devices;
  std::vector<std::string> files;  ///< as given
  PlayOptions play;
};

/// The arguments without the program's name. The error is a sentence for standard error.
[[nodiscard]] std::expected<ProbeArguments, std::string> parseProbeArguments(std::span<const std::string_view> words);

/// The usage text, ending in a line break.
[[nodiscard]] std::string_view probeUsage();

}  // namespace tolvane
