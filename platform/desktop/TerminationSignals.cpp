#include "platform/desktop/TerminationSignals.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace tolvane {

namespace {

constexpr std::array handledSignals{SIGINT, SIGTERM, SIGHUP};
std::array<int, 2> signalPipe{-1, -1};  // written only while no handler is installed

extern "C" void writeSignalToPipe(int signal) {
  const int savedErrno = errno;
  const auto byte = static_cast<unsigned char>(signal);
  // A full pipe means that enough signals are already waiting for the window's thread.
  [[maybe_unused]] const auto written = ::write(signalPipe[1], &byte, 1);
  errno = savedErrno;
}

}  // namespace

TerminationSignals::TerminationSignals(RunLoop& runLoop, std::function<void(int)> action) : action_(std::move(action)) {
  if (::pipe2(signalPipe.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
    throw std::system_error(errno, std::generic_category(), "A pipe for signals could not be made");
  }
  watch_ = runLoop.watchDescriptor(signalPipe[0], [this] { signalArrived(); });
  struct sigaction handler = {};
  handler.sa_handler = writeSignalToPipe;
  handler.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
  for (const int signal : handledSignals) ::sigaction(signal, &handler, nullptr);
}

TerminationSignals::~TerminationSignals() {
  for (const int signal : handledSignals) ::signal(signal, SIG_DFL);
  watch_.reset();
  for (int& descriptor : signalPipe) {
    ::close(descriptor);
    descriptor = -1;
  }
}

void TerminationSignals::signalArrived() const {
  unsigned char byte = 0;
  if (::read(signalPipe[0], &byte, 1) == 1) action_(byte);
}

}  // namespace tolvane
