// The player as a program on a Wayland desktop: how it comes to the front, is hidden and shown again, and has files
// chosen. What the player asks of the compositor is read from the log of the protocol that its library writes.

#include <QFile>

#include "tests/app/ProgramFixture.h"
#include "tests/app/dbus/FakePortal.h"
#include "tests/app/wayland/Sway.h"

namespace tolvane::test {
namespace {

class PlayerOnWayland : public ProgramFixture {
 protected:
  PlayerOnWayland() { sway.addTo(environment); }

  [[nodiscard]] std::unique_ptr<QProcess> startWithWindow() {
    auto logging = environment;
    logging.insert(QStringLiteral("WAYLAND_DEBUG"), QStringLiteral("client"));
    std::swap(environment, logging);
    auto player = startPlayer();
    std::swap(environment, logging);
    waitUntil([this] { return sway.focused() == playersName; });
    return player;
  }
  /// A window of another program, which takes the focus.
  [[nodiscard]] std::unique_ptr<QProcess> startAnother() {
    auto other = std::make_unique<QProcess>();
    other->setProcessEnvironment(environment);
    other->start(QStringLiteral(TOLVANE_DRAG_SOURCE));
    waitUntil([this] { return sway.focused() == QStringLiteral("drag_source"); });
    return other;
  }
  static void end(QProcess& other) {
    other.kill();
    other.waitForFinished();
  }
  /// Until the player has asked the portal for a dialog.
  void press(const QString& key, const QStringList& modifiers, const FakePortal& portal) const {
    const auto keyboard = sway.press(key, modifiers);
    waitUntil([&] { return !portal.dialogs().empty(); });
    end(*keyboard);
  }
  /// Waits until the player has asked the compositor to activate its window by this token.
  void expectActivation(QProcess& player, const QByteArray& token) {
    const QByteArray request = ".activate(\"" + token + "\", wl_surface";
    QByteArray log;
    waitUntil([&] {
      log += player.readAllStandardError();
      return log.contains(request);
    });
    EXPECT_EQ(log.count(".activate(\""), 1) << "by this token alone";
  }

  Sway sway;
};

TEST_F(PlayerOnWayland, ASecondStartPassesItsActivationTokenOn) {
  const auto player = startWithWindow();
  const auto other = startAnother();
  environment.insert(QStringLiteral("XDG_ACTIVATION_TOKEN"), QStringLiteral("of a launcher"));
  const auto second = start();
  EXPECT_EQ(exitCode(*second), 0);
  expectActivation(*player, "of a launcher");
  EXPECT_NE(sway.focused(), playersName) << "the compositor has not made this token: the focus is not stolen";
  end(*other);
  EXPECT_EQ(terminate(*player), 0);
}

TEST_F(PlayerOnWayland, ACallPassesItsActivationTokenOn) {
  const auto player = startWithWindow();
  const auto other = startAnother();
  askApplication("Activate", {QVariantMap{{QStringLiteral("activation-token"), QStringLiteral("of a dock")}}});
  expectActivation(*player, "of a dock");
  end(*other);
  EXPECT_EQ(terminate(*player), 0);
}

TEST_F(PlayerOnWayland, ClosingHidesItAndASecondStartShowsItAgain) {
  const auto player = startWithWindow();
  for (int round = 0; round < 2; ++round) {
    sway.close(playersName);
    waitUntil([this] { return !sway.shows(playersName); });
    EXPECT_TRUE(isRunning());
    const auto second = start();
    EXPECT_EQ(exitCode(*second), 0);
    waitUntil([this] { return sway.focused() == playersName; });
  }
  EXPECT_EQ(terminate(*player), 0);
}

TEST_F(PlayerOnWayland, ThePortalChoosesFiles) {
  FakePortal portal(client, 3);
  const auto player = startWithWindow();
  press(QStringLiteral("o"), {QStringLiteral("ctrl")}, portal);
  const auto& dialog = portal.dialogs().front();
  EXPECT_EQ(dialog.options.value(QStringLiteral("multiple")), true);
  EXPECT_FALSE(dialog.options.value(QStringLiteral("directory")).toBool());
  EXPECT_TRUE(dialog.options.contains(QStringLiteral("filters")));
  const QStringList chosen{QUrl::fromLocalFile(file("one.wav")).toString(),
                           QUrl::fromLocalFile(file("two.wav")).toString()};
  waitUntil([&] {
    portal.choose(chosen);
    return title() == QStringLiteral("one");
  });
  EXPECT_EQ(portal.dialogs().size(), 1U);
  EXPECT_EQ(terminate(*player), 0);
}

TEST_F(PlayerOnWayland, ThePortalChoosesAFolder) {
  FakePortal portal(client, 3);
  const auto player = startWithWindow();
  press(QStringLiteral("o"), {QStringLiteral("ctrl"), QStringLiteral("shift")}, portal);
  EXPECT_EQ(portal.dialogs().front().options.value(QStringLiteral("directory")), true);
  file("album/three.flac");
  const QStringList chosen{QUrl::fromLocalFile(QString::fromStdString((home.path() / "album").string())).toString()};
  waitUntil([&] {
    portal.choose(chosen);
    return title() == QStringLiteral("three");
  });
  EXPECT_EQ(terminate(*player), 0);
}

}  // namespace
}  // namespace tolvane::test
