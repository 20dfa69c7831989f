#include "platform/Mailbox.h"

#include <gmock/gmock.h>

#include <optional>
#include <thread>
#include <vector>

#include "platform/simulated/ManualRunLoop.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Owner {
  Owner(RunLoop& runLoop, std::vector<int>& taken) : received(taken), mailbox(runLoop, *this) {}

  std::vector<int>& received;
  Mailbox<Owner> mailbox;
};

class OwnersMailbox : public testing::Test {
 protected:
  static void deliver(const Mailbox<Owner>::Address& address, int value) {
    std::thread([&] { address.deliver([value](Owner& to) { to.received.push_back(value); }); }).join();
  }

  ManualRunLoop loop;
  std::vector<int> received;
  std::optional<Owner> owner{std::in_place, loop, received};
  Mailbox<Owner>::Address address = owner->mailbox.address();
};

TEST_F(OwnersMailbox, DeliversInLaterTurnsOfTheOwnersThread) {
  deliver(address, 1);
  deliver(address, 2);
  EXPECT_THAT(received, IsEmpty());
  loop.runUntilIdle();
  EXPECT_THAT(received, ElementsAre(1, 2));
}

TEST_F(OwnersMailbox, DropsWhatIsPendingWhenTheOwnerGoes) {
  deliver(address, 1);
  owner.reset();
  loop.runUntilIdle();
  EXPECT_THAT(received, IsEmpty());
}

TEST_F(OwnersMailbox, PostsNothingOnceTheOwnerHasGone) {
  owner.reset();
  deliver(address, 1);
  EXPECT_EQ(loop.postedActionCount(), 0U);
}

}  // namespace
}  // namespace tolvane
