#include "platform/desktop/SessionBus.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <optional>

#include "tests/platform/desktop/ReservationBench.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane::test {
namespace {

constexpr std::chrono::milliseconds longEnough{10'000};
constexpr std::chrono::milliseconds shortly{20};

/// Sets a variable of the environment, or takes it away, until the end of the test.
class Variable {
 public:
  Variable(const char* name, const std::optional<std::string>& value) : name_(name) {
    if (const char* before = std::getenv(name)) before_ = before;
    set(value);
  }
  ~Variable() { set(before_); }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  void set(const std::optional<std::string>& value) const {
    if (value) {
      ::setenv(name_, value->c_str(), 1);
    } else {
      ::unsetenv(name_);
    }
  }

  const char* name_;
  std::optional<std::string> before_;
};

/// A socket that takes connections and never says a word.
class SilentSocket {
 public:
  explicit SilentSocket(const std::string& path) : descriptor_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(::listen(descriptor_, 8), 0);
  }
  ~SilentSocket() { ::close(descriptor_); }
  SilentSocket(const SilentSocket&) = delete;
  SilentSocket& operator=(const SilentSocket&) = delete;

 private:
  int descriptor_;
};

TEST(SessionBus, IsWhereTheEnvironmentSays) {
  const TemporaryFolder folder;
  const Variable runtime("XDG_RUNTIME_DIR", folder.path().string());
  const Variable address("DBUS_SESSION_BUS_ADDRESS", "unix:path=/somewhere");
  EXPECT_EQ(sessionBusAddress(), "unix:path=/somewhere");
}

TEST(SessionBus, IsTheSocketOfTheSessionWhereTheEnvironmentNamesNone) {
  const TemporaryFolder folder;
  const Variable runtime("XDG_RUNTIME_DIR", folder.path().string());
  const Variable address("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
  EXPECT_EQ(sessionBusAddress(), "");
  const std::string path = (folder.path() / "bus").string();
  const SilentSocket socket(path);
  EXPECT_EQ(sessionBusAddress(), "unix:path=" + path);
}

TEST(SessionBus, AnswersWhereADaemonListens) {
  const PrivateBus bus;
  EXPECT_TRUE(busAnswers(bus.address(), longEnough));
  EXPECT_TRUE(busAnswers("unix:path=/nobody/listens;" + bus.address(), longEnough)) << "the second of a list";
  std::string escaped = bus.address();
  escaped.replace(escaped.find("/bus"), 4, "%2Fbu%73");
  EXPECT_TRUE(busAnswers(escaped, longEnough));
}

TEST(SessionBus, DoesNotAnswerWhereNobodyOrNobodyWithAWordToSayListens) {
  const TemporaryFolder folder;
  const std::string path = (folder.path() / "silent").string();
  const SilentSocket socket(path);
  EXPECT_FALSE(busAnswers("unix:path=" + path, shortly));
  EXPECT_FALSE(busAnswers("unix:path=" + path + "2", longEnough));
  EXPECT_FALSE(busAnswers("unix:abstract=tolvane-nobody-listens-here", longEnough));
  EXPECT_FALSE(busAnswers("unix:path=" + std::string(500, 'x'), longEnough));
  for (const char* nonsense : {"", "unix:", "unix:path", "unix:guid=1", "autolaunch:", ";", "nonsense"}) {
    EXPECT_FALSE(busAnswers(nonsense, longEnough)) << nonsense;
  }
}

TEST(SessionBus, MayAnswerWhereItIsNoSocketOfThisMachine) {
  EXPECT_TRUE(busAnswers("tcp:host=somewhere,port=1", shortly));
}

}  // namespace
}  // namespace tolvane::test
