// tolvane-probe: the engine without a window. Used by the system tests, the benchmarks and bug reports.

#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/PrintableText.h"
#include "platform/alsa/AlsaAudioHardware.h"
#include "platform/alsa/AlsaRecording.h"
#include "platform/codecs/SystemAudioFileServices.h"
#include "platform/desktop/HeadlessRunLoop.h"
#include "platform/desktop/ProcessStart.h"
#include "platform/desktop/RealtimeScheduling.h"
#include "platform/desktop/SessionBusReservation.h"
#include "platform/desktop/StandardErrorLog.h"
#include "platform/desktop/TerminationSignals.h"
#ifdef TOLVANE_HAS_PIPEWIRE
#include "platform/pipewire/PipeWireAudioHardware.h"
#endif
#include "tools/PlayCommand.h"
#include "tools/ProbeCommands.h"
#include "tools/VerifyCommand.h"

namespace tolvane {
namespace {

constexpr int wrongUsage = 2;

/// The real machine: everything that the devices need.
struct Machine {
  HeadlessRunLoop runLoop;
  StandardErrorLog log;
  RealtimeScheduling realtime{runLoop, log};
  SessionBusReservation reservation{runLoop, log};
  AlsaAudioHardware cardHardware{runLoop, log, [this](pid_t tid) { return realtime.makeThreadRealtime(tid); },
                                 &reservation};
#ifdef TOLVANE_HAS_PIPEWIRE
  PipeWireAudioHardware hardware{runLoop, log, cardHardware};
#else
  AudioHardware& hardware = cardHardware;
#endif
};

/// Plays until the command, PlayCommand or VerifyCommand, has finished. `make` makes it of the player, its files, the
/// machine and what is to be called at the end.
template <typename Make>
void playFiles(const ProbeArguments& arguments, ProbeOutput& output, Make make) {
  Machine machine;
  SystemAudioFileServices files;
  BitPerfectAudioPlayer player(machine.hardware, files, machine.runLoop, machine.log);
  if (arguments.play.device) {
    const AudioObjectID device = findDevice(machine.hardware, *arguments.play.device);
    if (device == kAudioObjectUnknown)
      return output.print({{"error", "There is no output device named \"" + *arguments.play.device + "\"."}});
    player.setOutputDevice(device);
  }
  const auto command = make(player, files, machine, [&] { machine.runLoop.quit(0); });
  const TerminationSignals signals(machine.runLoop, [&](int) { command->stop(); });
  command->start(arguments);
  machine.runLoop.run();
}

void verifyFiles(const ProbeArguments& arguments, ProbeOutput& output) {
  std::optional<AlsaRecording> recording;
  if (arguments.play.capture) recording.emplace(*arguments.play.capture);
  playFiles(arguments, output, [&](auto& player, auto& files, Machine& machine, auto finished) {
    return std::make_unique<VerifyCommand>(player, files, machine.runLoop, output, recording ? &*recording : nullptr,
                                           std::move(finished));
  });
}

int run(const std::vector<std::string_view>& words) {
  const auto arguments = parseProbeArguments(words);
  if (!arguments) {
    const std::string text = "tolvane-probe: " + printableText(arguments.error()) + '\n' + std::string(probeUsage());
    std::fputs(text.c_str(), stderr);
    return wrongUsage;
  }
  ProbeOutput output;
  switch (arguments->command) {
    case ProbeArguments::Command::prepare: {
      SystemAudioFileServices files;
      prepareFiles(arguments->files, files, output);
      break;
    }
    case ProbeArguments::Command::waveform: {
      SystemAudioFileServices files;
      printWaveforms(arguments->files, files, output);
      break;
    }
    case ProbeArguments::Command::discover:
      discoverFiles(arguments->files, output);
      break;
    case ProbeArguments::Command::devices: {
      const Machine machine;
      listDevices(machine.hardware, output);
      break;
    }
    case ProbeArguments::Command::play:
      playFiles(*arguments, output, [&](auto& player, auto&, Machine& machine, auto finished) {
        return std::make_unique<PlayCommand>(
            player, machine.runLoop, output,
            [&](const std::string& wanted) { return findDevice(machine.hardware, wanted); }, std::move(finished));
      });
      break;
    case ProbeArguments::Command::verify:
      verifyFiles(*arguments, output);
      break;
  }
  return output.exitStatus();
}

}  // namespace
}  // namespace tolvane

int main(int argc, char** argv) {
  tolvane::prepareProcess();
  try {
    return tolvane::run({argv + 1, argv + argc});
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "tolvane-probe: %s\n", tolvane::printableText(failure.what()).c_str());
    return 1;
  }
}
