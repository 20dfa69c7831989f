#include "platform/alsa/cards/AlsaClaim.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

constexpr pid_t program = 100;  // that has the PCM open
constexpr pid_t manager = 200;  // that has the reservation

TEST(AlsaClaim, NamesTheProcessThatKeepsTheDevice) {
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
      {{.holder = program, .allTaken = true}, program, "the kernel alone tells"},
      {{.holder = program, .allTaken = false}, -1, "another substream is free: others can still play"},
      {{.owner = server}, -1, "an idle server yields"},
      {{.owner = player}, manager, "an idle player keeps its card"},
      {{.owner = Owner{0, false}}, 0, "an owner that cannot be named"},
      {{.holder = program, .allTaken = true, .owner = player}, manager, "the reservation's owner counts first"},
      {{.holder = manager, .allTaken = true, .owner = server}, -1, "a server that plays yields"},
      {{.holder = program, .allTaken = true, .holderIsServer = true, .owner = server}, -1, "and so does its daemon"},
      {{.holder = program, .allTaken = true, .owner = server}, program, "another program beside the server does not"},
      {{.holder = program, .allTaken = true, .holderIsServer = true}, program, "a server that reserves nothing"},
      {{.holder = manager, .allTaken = true, .holderStayed = true, .owner = server}, manager, "one that stayed"},
  };
  for (const Case& c : cases) EXPECT_EQ(foreignOwner(c.usage), c.owner) << c.what;
}

}  // namespace
}  // namespace tolvane
