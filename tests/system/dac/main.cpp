// test_dac: a USB DAC made of software, for the machine of the system test. See DacSettings.h for what it can be.

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <span>
#include <stdexcept>
#include <string>

#include "tests/system/dac/DacSettings.h"
#include "tests/system/dac/UsbDac.h"

namespace {

/// Readable once the program is asked to end.
int signalDescriptor() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

/// Opened for writing too, so that a writer that goes leaves no end of file behind. −1 without a name.
int commandDescriptor(const std::string& name) {
  if (name.empty()) return -1;
  mkfifo(name.c_str(), 0600);
  const int descriptor = open(name.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) throw std::runtime_error("cannot open " + name);
  return descriptor;
}

/// A bus keeps time whatever else the machine does. Without the right to it, the recordings say how late it was.
void keepTime() {
  constexpr int kPriority = 60;
  constexpr unsigned long kTimerSlack = 20000;  // nanoseconds
  sched_param parameters{};
  parameters.sched_priority = kPriority;
  if (sched_setscheduler(0, SCHED_FIFO, &parameters) != 0) std::perror("test_dac: no real-time priority");
  prctl(PR_SET_TIMERSLACK, kTimerSlack, 0, 0, 0);
  mlockall(MCL_CURRENT);
}

}  // namespace

int main(int count, char** values) {
  const auto arguments = std::span(values, static_cast<std::size_t>(count)).subspan(1);
  if (count == 2 && std::string_view(values[1]) == "--help") {
    std::fputs(tolvane::dacUsage().data(), stdout);
    return 0;
  }
  auto settings = tolvane::parseDacSettings(arguments);
  if (!settings) {
    std::fprintf(stderr, "test_dac: %s\n", settings.error().c_str());
    return 2;
  }
  try {
    const int commands = commandDescriptor(settings->commands);
    const int quit = signalDescriptor();
    tolvane::UsbDac dac(std::move(*settings));
    keepTime();
    dac.run(commands, quit);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "test_dac: %s\n", error.what());
    return 1;
  }
  return 0;
}
