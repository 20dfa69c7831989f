#include <fcntl.h>
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>

#include "platform/desktop/HeadlessRunLoop.h"
#include "platform/desktop/ProcessStart.h"
#include "platform/desktop/RealtimeScheduling.h"
#include "platform/desktop/StandardErrorLog.h"
#include "platform/desktop/TerminationSignals.h"
#include "platform/simulated/MemoryLog.h"

namespace tolvane {
namespace {

using std::chrono::milliseconds;

std::string written(LogLevel minimum, LogLevel level, std::string_view message) {
  testing::internal::CaptureStderr();
  StandardErrorLog(minimum).write(level, "AudioOutput", message);
  return testing::internal::GetCapturedStderr();
}

TEST(StandardErrorLog, WritesOneLineAMessageWithItsCategory) {
  EXPECT_EQ(written(LogLevel::info, LogLevel::standard, "Configured"), "AudioOutput: Configured\n");
}

TEST(StandardErrorLog, KeepsAMessageWithLineBreaksOnOneLine) {
  EXPECT_EQ(written(LogLevel::info, LogLevel::error, "a\nb\x1B[1m\tc\xC3\xA9"), "AudioOutput: a?b?[1m?c\xC3\xA9\n");
}

TEST(StandardErrorLog, DropsWhatIsBelowItsLevel) {
  EXPECT_EQ(written(LogLevel::info, LogLevel::debug, "detail"), "");
  EXPECT_EQ(written(LogLevel::error, LogLevel::standard, "news"), "");
  EXPECT_NE(written(LogLevel::debug, LogLevel::debug, "detail"), "");
}

/// 0: the standard descriptors are open, and a file that would grow too long is an error.
int statusAfterPreparation() {
  const auto isOpen = [](int descriptor) { return ::fcntl(descriptor, F_GETFD) >= 0; };
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::close(descriptor);
  prepareProcess();
  if (!isOpen(STDIN_FILENO) || !isOpen(STDOUT_FILENO) || !isOpen(STDERR_FILENO)) return 1;
  const rlimit little{1, 1};
  ::setrlimit(RLIMIT_FSIZE, &little);
  const int file = ::memfd_create("limited", MFD_CLOEXEC);
  if (file < 0 || ::write(file, "a", 1) != 1) return 2;
  return ::write(file, "b", 1) < 0 && errno == EFBIG ? 0 : 3;
}

TEST(ProcessStartDeathTest, OpensClosedStandardDescriptorsAndSurvivesTheLimitOfFiles) {
  EXPECT_EXIT(::_exit(statusAfterPreparation()), testing::ExitedWithCode(0), "");
}

class Termination : public testing::TestWithParam<int> {};

TEST_P(Termination, ASignalBecomesACallOnTheMainThread) {
  HeadlessRunLoop loop;
  const auto main = std::this_thread::get_id();
  int seen = 0;
  const TerminationSignals signals(loop, [&](int signal) {
    EXPECT_EQ(std::this_thread::get_id(), main);
    seen = signal;
    loop.quit(0);
  });
  loop.post([] { ::raise(GetParam()); });
  loop.run();
  EXPECT_EQ(seen, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Signals, Termination, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST(TerminationDeathTest, ASecondSignalEndsTheProgramAtOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        HeadlessRunLoop loop;
        const TerminationSignals signals(loop, [](int) {});
        ::raise(SIGTERM);
        ::raise(SIGTERM);
      },
      testing::KilledBySignal(SIGTERM), "");
}

/// Runs in a process of its own: limits and identity cannot be taken back.
int makeThreadRealtimeWithoutRights() {
  HeadlessRunLoop loop;
  MemoryLog log;
  RealtimeScheduling realtime(loop, log);
  constexpr rlimit none{0, 0};
  if (::setrlimit(RLIMIT_RTPRIO, &none) != 0) return 2;
  if (::geteuid() == 0 && ::setresuid(65534, 65534, 65534) != 0) return 2;
  if (realtime.makeThreadRealtime(::gettid()) || realtime.makeThreadRealtime(::gettid())) return 3;
  if (::sched_getscheduler(0) != SCHED_OTHER) return 4;
  RunLoop::Timer look;
  look = loop.scheduleTimer(milliseconds(1), true, [&] {
    if (!log.lines().empty()) loop.quit(0);
  });
  loop.run();
  const auto second = loop.scheduleTimer(milliseconds(20), false, [&] { loop.quit(0); });
  loop.run();
  return log.lines().size() == 1 ? 0 : 5;
}

TEST(RealtimeSchedulingDeathTest, WithoutRightsTheThreadPlaysOnAndThatIsLoggedOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        // No bus at all: this is about the refusal, wherever the test runs.
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
        ::_exit(makeThreadRealtimeWithoutRights());
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace tolvane
