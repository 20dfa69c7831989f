#include "tools/ProbeArguments.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace tolvane {
namespace {

struct NumberOption {
  std::string_view name;
  double minimum;
  double maximum;
  void (*store)(PlayOptions&, double);
};

constexpr double endless = std::numeric_limits<double>::max();

constexpr std::array numberOptions{
    NumberOption{"--volume", 0, 1, [](PlayOptions& o, double v) { o.volume = v; }},
    NumberOption{"--balance", -1, 1, [](PlayOptions& o, double v) { o.balance = v; }},
    NumberOption{"--from", 0, endless, [](PlayOptions& o, double v) { o.fromSeconds = v; }},
    NumberOption{"--pause-at", 0, endless, [](PlayOptions& o, double v) { o.pauseAtSeconds = v; }},
    NumberOption{"--pause-for", 0, endless, [](PlayOptions& o, double v) { o.pauseForSeconds = v; }},
    NumberOption{"--exclusive-at", 0, endless, [](PlayOptions& o, double v) { o.exclusiveAtSeconds = v; }},
    NumberOption{"--shared-at", 0, endless, [](PlayOptions& o, double v) { o.sharedAtSeconds = v; }},
    NumberOption{"--for", 0, endless, [](PlayOptions& o, double v) { o.forSeconds = v; }},
};

std::optional<double> number(std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

std::optional<ProbeArguments::Command> commandNamed(std::string_view word) {
  if (word == "prepare") return ProbeArguments::Command::prepare;
  if (word == "waveform") return ProbeArguments::Command::waveform;
  if (word == "discover") return ProbeArguments::Command::discover;
  if (word == "devices") return ProbeArguments::Command::devices;
  if (word == "play") return ProbeArguments::Command::play;
  if (word == "verify") return ProbeArguments::Command::verify;
  return std::nullopt;
}

/// Takes one option and its value from the front of `words`; the error is a sentence.
std::expected<void, std::string> takePlayOption(std::span<const std::string_view>& words, PlayOptions& options) {
  const auto name = words.front();
  words = words.subspan(1);
  if (name == "--exclusive") {
    options.isExclusive = true;
    return {};
  }
  if (name == "--go-on") {
    options.goesOnAfterErrors = true;
    return {};
  }
  if (name == "--report" || name == "--report-without-name") {
    options.printsReport = true;
    options.namesFile = name == "--report";
    return {};
  }
  const auto option = std::ranges::find(numberOptions, name, &NumberOption::name);
  if (name != "--device" && name != "--capture" && name != "--at" && option == numberOptions.end())
    return std::unexpected(fmt::format("There is no option {}.", name));
  if (words.empty()) return std::unexpected(fmt::format("{} needs a value.", name));
  const auto text = words.front();
  words = words.subspan(1);
  if (name == "--device") {
    options.device = std::string(text);
    return {};
  }
  if (name == "--capture") {
    options.capture = std::string(text);
    return {};
  }
  if (name == "--at") {
    auto action = parsePlayAction(text);
    if (!action) return std::unexpected(action.error());
    options.actions.push_back(*std::move(action));
    return {};
  }
  const auto value = number(text);
  if (!value || *value < option->minimum || *value > option->maximum)
    return std::unexpected(fmt::format("{} cannot be {}.", name, text));
  option->store(options, *value);
  return {};
}

}  // namespace

std::expected<ProbeArguments, std::string> parseProbeArguments(std::span<const std::string_view> words) {
  if (words.empty()) return std::unexpected("A command is missing.");
  const auto name = words.front();
  const auto command = commandNamed(name);
  if (!command) return std::unexpected(fmt::format("There is no command {}.", name));
  words = words.subspan(1);

  ProbeArguments arguments{.command = *command, .files = {}, .play = {}};
  const bool takesOptions = *command == ProbeArguments::Command::play || *command == ProbeArguments::Command::verify;
  bool optionsEnded = false;
  while (!words.empty()) {
    const auto word = words.front();
    if (!optionsEnded && word == "--") {
      optionsEnded = true;
      words = words.subspan(1);
    } else if (!optionsEnded && takesOptions && word.starts_with("--")) {
      const bool isOfVerify = word == "--device" || word == "--exclusive" || word == "--capture";
      const bool isKnown = *command == ProbeArguments::Command::verify ? isOfVerify : word != "--capture";
      if (!isKnown) return std::unexpected(fmt::format("The command {} has no option {}.", name, word));
      if (auto taken = takePlayOption(words, arguments.play); !taken) return std::unexpected(taken.error());
    } else {
      arguments.files.emplace_back(word);
      words = words.subspan(1);
    }
  }
  if (*command == ProbeArguments::Command::devices && !arguments.files.empty())
    return std::unexpected("The command devices takes no files.");
  if (*command != ProbeArguments::Command::devices && arguments.files.empty())
    return std::unexpected("A file is missing.");
  return arguments;
}

std::string_view probeUsage() {
  return "Usage:\n"
         "  tolvane-probe prepare FILE...   what each file is and what it becomes in memory\n"
         "  tolvane-probe waveform FILE...  how long and how loud each file is\n"
         "  tolvane-probe discover PATH...  the audio files there and in folders, in the order of a playlist\n"
         "  tolvane-probe devices           the output devices and what is known of them\n"
         "  tolvane-probe play FILE...      plays, and prints every change\n"
         "      --device NAME     play on this device (name, id or identity), not on the default one\n"
         "      --exclusive       with Exclusive Access\n"
         "      --volume V        0 to 1 (default 1)\n"
         "      --balance B       -1 to 1 (default 0)\n"
         "      --from SECONDS    start the first file there\n"
         "      --pause-at S      pause S seconds after the start, for as long as\n"
         "      --pause-for S     says (default 1)\n"
         "      --exclusive-at S  turn Exclusive Access on S seconds after the start\n"
         "      --shared-at S     and off\n"
         "      --for SECONDS     stop after this time\n"
         "      --at N:S:ACTION   do this S seconds from the end of file number N, before it when S is negative;\n"
         "                        may be given several times. ACTION is pause, seek=SECONDS, volume=V, next=FILE,\n"
         "                        device=NAME, exclusive, shared, or say=TEXT, which prints a line\n"
         "      --go-on           after an error, play the next file a second later\n"
         "      --report          at the end, print what is known of the path as plain text, and no changes\n"
         "      --report-without-name  the same without the file's name\n"
         "  tolvane-probe verify FILE...    plays each file to its end, and compares what the device was given with "
         "it\n"
         "      --device NAME, --exclusive: as above\n"
         "      --capture PCM     record from this ALSA device, the other end of a loopback, and compare that too\n"
         "One JSON object a line, but for a report. Exit status: 0, or 1 when a line carries an error, or 2 for wrong "
         "usage.\n";
}

}  // namespace tolvane
