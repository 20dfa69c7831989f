#include "platform/desktop/SessionBus.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

#include "tests/platform/desktop/ReservationBench.h"
#include "tests/support/SilentSocket.h"
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

TEST(SessionBus, DoesNotAnswerWhereNoProcessListensOrTheListenerIsSilent) {
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
