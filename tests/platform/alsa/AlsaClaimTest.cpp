#include "platform/alsa/AlsaClaim.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "platform/AudioHardware.h"
#include "platform/simulated/ManualRunLoop.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

constexpr pid_t program = 100;  // that has the PCM open
constexpr pid_t manager = 200;  // that has the reservation

TEST(AlsaClaim, namesTheProcessThatKeepsTheDevice) {
  using Owner = DeviceReservation::Owner;
  const Owner server{manager, true};
  const Owner player{manager, false};
  struct Case {
    AlsaUsage usage;
    pid_t owner;
    const char* what;
  };
  const Case cases[] = {
      {{}, -1, "nobody"},
      {{.holders = {{program}}}, program, "the kernel alone tells"},
      {{.holders = {{0}}}, 0, "a holder that cannot be named"},
      {{.holders = {{0}}, .owner = server}, 0, "nor is known to be the server"},
      {{.owner = server}, -1, "an idle server yields"},
      {{.owner = player}, manager, "an idle player keeps its card"},
      {{.owner = Owner{0, false}}, 0, "an owner that cannot be named"},
      {{.holders = {{program}}, .owner = player}, manager, "the reservation's owner counts first"},
      {{.holders = {{manager}}, .owner = server}, -1, "a server that plays yields"},
      {{.holders = {{program, true}}, .owner = server}, -1, "and so does its daemon"},
      {{.holders = {{program}}, .owner = server}, program, "another program beside the server does not"},
      {{.holders = {{program}, {manager}}, .owner = server}, program, "whether the server comes after it"},
      {{.holders = {{manager}, {program}}, .owner = server}, program, "or before"},
      {{.holders = {{program, true}}}, program, "a server that reserves nothing"},
      {{.holders = {{manager, false, true}}, .owner = server}, manager, "one that stayed"},
  };
  for (const Case& c : cases) EXPECT_EQ(foreignOwner(c.usage), c.owner) << c.what;
}

/// Card 1, device 0 as the kernel shows it, and a server that reserves cards and yields.
class AlsaClaimUsage : public testing::Test {
 protected:
  struct Server final : DeviceReservation {
    void setHandlers(Handlers /*handlers*/) override {}
    std::optional<Owner> owner(int /*card*/) override { return Owner{manager, true}; }
    std::expected<Hold, Refusal> acquire(int /*card*/, const std::string& /*deviceName*/) override { return Hold(); }
  };

  void substream(unsigned number, const std::string& status) {
    const auto path = folder.path() / ("card1/pcm0p/sub" + std::to_string(number)) / "status";
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << status;
  }
  static std::string openedBy(pid_t process) {
    return "state: RUNNING\nowner_pid   : " + std::to_string(process) + "\n";
  }

  test::TemporaryFolder folder;
  ManualRunLoop clock;
  Server server;
  AlsaClaim claim{{1, 0, "Test DAC"},
                  {.asound = folder.path().string(), .processes = (folder.path() / "processes").string()},
                  clock,
                  &server};
};

TEST_F(AlsaClaimUsage, namesWhoeverHasPartOfThePcm) {
  substream(0, "closed\n");
  EXPECT_EQ(claim.owner(), -1);
  substream(1, openedBy(program));
  EXPECT_EQ(claim.owner(), program) << "the rest is no exclusive access";
  substream(0, openedBy(manager));
  EXPECT_EQ(claim.owner(), program);
  substream(1, "closed\n");
  EXPECT_EQ(claim.owner(), -1) << "the server alone yields";
  substream(0, openedBy(getpid()));
  EXPECT_EQ(claim.owner(), -1) << "a unit of this process claims nothing";
}

TEST_F(AlsaClaimUsage, takesASubstreamOfWhichItCannotTellForTaken) {
  for (const char* status : {"", "nonsense", "state: RUNNING\n", "state: OPEN\nowner_pid   : 0\n"}) {
    substream(0, status);
    EXPECT_EQ(claim.owner(), 0) << status;
    EXPECT_EQ(claim.take(nullptr), kAudioDevicePermissionsError) << status;
  }
}

}  // namespace
}  // namespace tolvane
