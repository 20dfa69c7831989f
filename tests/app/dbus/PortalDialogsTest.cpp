#include "app/dbus/PortalDialogs.h"

#include <future>

#include "tests/app/dbus/BusFixture.h"
#include "tests/app/dbus/FakePortal.h"

namespace tolvane {
namespace {

class Portal : public test::BusFixture {
 protected:
  /// As the player asks, from a thread of its own, so that a portal of this thread can answer.
  bool opensFiles() {
    auto answer = std::async(std::launch::async, [this] { return portalOpensFiles(client, std::chrono::seconds(60)); });
    turnUntil([&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
    return answer.get();
  }
};

TEST_F(Portal, OpensFilesWhereItKnowsFolders) {
  const test::FakePortal portal(service, 3);
  EXPECT_TRUE(opensFiles());
}

TEST_F(Portal, OpensNoFilesWhereItIsTooOldForFolders) {
  const test::FakePortal portal(service, 2);
  EXPECT_FALSE(opensFiles());
}

TEST_F(Portal, OpensNoFilesWhereThereIsNone) { EXPECT_FALSE(opensFiles()); }

TEST_F(Portal, OpensNoFilesWhereItHasNoDialogs) {
  ASSERT_TRUE(service.registerService(QStringLiteral("org.freedesktop.portal.Desktop")));
  EXPECT_FALSE(opensFiles());
}

TEST_F(Portal, OpensNoFilesWhereItKeepsSilent) {
  const test::FakePortal portal(service, 3);  // answers only when this thread turns
  EXPECT_FALSE(portalOpensFiles(client, std::chrono::milliseconds(1)));
}

TEST_F(Portal, OpensNoFilesOnABusThatIsNotThere) {
  EXPECT_FALSE(portalOpensFiles(QDBusConnection(QStringLiteral("no bus"))));
}

}  // namespace
}  // namespace tolvane
