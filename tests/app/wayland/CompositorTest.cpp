// The player's window as a Wayland client: moved and resized by a pointer that presses and moves, closed and shown
// again. No client knows where its window stands: the tests look at the screen. Usage: test_wayland
// WESTON SCALE, then GoogleTest's options.

#include <gmock/gmock.h>

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QMouseEvent>
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "app/QtShellWindow.h"
#include "app/shell/AppDelegate.h"
#include "tests/app/dragsource/DragSource.h"
#include "tests/app/wayland/Compositor.h"
#include "tests/app/windowmanagers/XServer.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/ui/qt/WindowFixture.h"

namespace tolvane::test {
namespace {

constexpr int grip = 3;  // units from the window's edge to where it is taken to be resized
const XServer* server = nullptr;
int screenScale = 1;

/// Where the compositor last said that the pointer is, in the window.
class PointerSpy final : public QObject {
 public:
  explicit PointerSpy(QQuickWindow& window) { window.installEventFilter(this); }
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() != QEvent::MouseMove) return false;
    place = static_cast<QMouseEvent*>(event)->position();
    ++moves;
    return false;
  }
  QPointF place{-1, -1};
  int moves = 0;  ///< reported so far
};

class WaylandWindow : public WindowFixture {
 protected:
  WaylandWindow() {
    delegate.configurePlayerWindow(shell);
    server->releaseButton();  // of a test that failed
    server->movePointer({1, 1});
    EXPECT_TRUE(waitFor([this] { return isWhole(bounds()); })) << "it is not on the screen";
  }

  /// A compositor puts a window where it likes. Beside an edge of the screen there is no room for the pointer.
  void goToTheMiddle() {
    const QSizeF room = QSizeF(Compositor::screen) * screenScale / scale() - window->size();
    const QPointF from = QPointF(bounds().topLeft()) / scale();
    const QPoint way = (QPointF(room.width() / 2, room.height() / 2) - from).toPoint();
    if (way.manhattanLength() <= 4) return;
    drag({300, 24}, way);
    letGo();
  }

  [[nodiscard]] double scale() const { return window->devicePixelRatio(); }
  /// Pixels of the screen. A pointer that pokes out of the window is not part of it.
  [[nodiscard]] static QRect bounds() { return server->boundsOfOtherThan(Compositor::background, 100); }
  /// As large as the window's program has it.
  [[nodiscard]] bool isWhole(const QRect& seen) const {
    return std::abs(seen.width() - window->width() * scale()) <= slack() &&
           std::abs(seen.height() - window->height() * scale()) <= slack();
  }
  /// Pixels: round corners and fractions.
  [[nodiscard]] double slack() const { return 3 * scale(); }
  [[nodiscard]] static bool isNear(const QRect& one, const QRect& other, double pixels) {
    const auto edges = [](const QRect& rect) {
      return std::array{rect.left(), rect.top(), rect.right(), rect.bottom()};
    };
    const auto a = edges(one);
    const auto b = edges(other);
    for (std::size_t edge = 0; edge < a.size(); ++edge)
      if (std::abs(a.at(edge) - b.at(edge)) > pixels) return false;
    return true;
  }

  /// Of a place in the window, by its units.
  [[nodiscard]] QPoint onScreen(QPointF place, const QRect& box) const {
    return box.topLeft() + QPointF(place * scale()).toPoint();
  }
  /// Moves the pointer there, until the window knows. A move follows the report of the last one, or half a second: a
  /// compositor that has not run for a while would otherwise find hundreds, send them all at once, and close the
  /// connection of the client that cannot take them.
  void point(QPointF place, const QRect& box) {
    int moves = 0;
    int noticed = -1;
    QElapsedTimer sinceMove;
    EXPECT_TRUE(waitFor([&] {
      if (spy.moves != noticed || sinceMove.hasExpired(500)) {
        noticed = spy.moves;
        server->movePointer(onScreen(place, box) + QPoint(++moves % 2, 0));
        sinceMove.start();
      }
      return QLineF(spy.place, place).length() <= 3;
    })) << "the window does not notice the pointer at "
        << place.x() << ", " << place.y() << "; it is at " << spy.place.x() << ", " << spy.place.y();
  }

  /// Presses there, and moves until the picture has followed this far. The button stays pressed.
  void drag(QPointF from, QPoint way) {
    const QRect before = bounds();
    point(from, before);
    server->pressButton();
    const QPoint goal = QPointF(QPointF(way) * scale()).toPoint();
    const int far = std::max(std::abs(goal.x()), std::abs(goal.y()));
    int steps = 0;
    EXPECT_TRUE(waitFor([&] {
      // A pointer that is held still trembles.
      const int step = ++steps * 4 <= far ? steps * 4 : far - steps % 2;
      server->movePointer(onScreen(from, before) + goal * step / far);
      return hasFollowed(bounds(), before, goal);
    })) << "the window does not follow the pointer";
  }
  /// One corner has moved by the whole distance, or along one axis for an edge.
  [[nodiscard]] static bool hasFollowed(const QRect& now, const QRect& before, QPoint way) {
    constexpr int trembling = 4;
    const auto went = [&](QPoint from, QPoint to) {
      return std::abs(to.x() - from.x()) >= std::abs(way.x()) - trembling &&
             std::abs(to.y() - from.y()) >= std::abs(way.y()) - trembling;
    };
    return went(before.topLeft(), now.topLeft()) || went(before.topRight(), now.topRight()) ||
           went(before.bottomLeft(), now.bottomLeft()) || went(before.bottomRight(), now.bottomRight());
  }
  /// Releases the button, and moves the pointer: the window stays as it is.
  void letGo() {
    server->releaseButton();
    QRect left;
    EXPECT_TRUE(waitFor([&] { return isWhole(std::exchange(left, bounds())) && left == bounds(); }));
    for (const QPointF place : {QPointF(200, 300), {420, 500}, {90, 150}, {300, 24}}) point(place, left);
    settle();
    EXPECT_TRUE(isNear(bounds(), left, slack())) << "no button is held";
  }

  QtShellWindow shell{*window};
  AppDelegate delegate{[] {}};
  PointerSpy spy{*window};
};

TEST_F(WaylandWindow, IsAWaylandWindowAtTheScaleOfItsScreen) {
  EXPECT_EQ(QGuiApplication::platformName(), "wayland");
  EXPECT_EQ(window->size(), QSize(600, 700));
  EXPECT_TRUE(isWhole(bounds()));
}

TEST_F(WaylandWindow, FollowsItsHeaderUntilTheButtonIsReleased) {
  goToTheMiddle();
  const QRect before = bounds();
  drag({300, 24}, {60, 40});
  EXPECT_EQ(window->size(), QSize(600, 700));
  letGo();
  const QRect now = bounds();
  EXPECT_TRUE(isNear(now, before.translated(QPointF(QPointF(60, 40) * scale()).toPoint()), slack()))
      << "it went by " << now.left() - before.left() << ", " << now.top() - before.top();
}

struct Edge {
  const char* name;
  QPointF from;  ///< fractions of the window
  QPoint way;
};

class WaylandWindowsEdge : public WaylandWindow, public testing::WithParamInterface<Edge> {};

TEST_P(WaylandWindowsEdge, ResizesItUntilTheButtonIsReleased) {
  const auto& [name, from, way] = GetParam();
  goToTheMiddle();
  const auto within = [](double fraction, int length) {
    return std::clamp(fraction * length, 1.0 * grip, 1.0 * length - grip);
  };
  drag({within(from.x(), 600), within(from.y(), 700)}, way);
  letGo();
  EXPECT_THAT(window->width(),
              testing::AllOf(testing::Ge(600 + std::abs(way.x()) - 4), testing::Le(600 + std::abs(way.x()) + 4)));
  EXPECT_THAT(window->height(),
              testing::AllOf(testing::Ge(700 + std::abs(way.y()) - 4), testing::Le(700 + std::abs(way.y()) + 4)));
}

INSTANTIATE_TEST_SUITE_P(Each, WaylandWindowsEdge,
                         testing::Values(Edge{"Top", {0.5, 0}, {0, -40}}, Edge{"Bottom", {0.5, 1}, {0, 40}},
                                         Edge{"Left", {0, 0.5}, {-40, 0}}, Edge{"Right", {1, 0.5}, {40, 0}},
                                         Edge{"TopLeft", {0, 0}, {-40, -40}}, Edge{"TopRight", {1, 0}, {40, -40}},
                                         Edge{"BottomLeft", {0, 1}, {-40, 40}}, Edge{"BottomRight", {1, 1}, {40, 40}}),
                         [](const auto& edge) { return std::string(edge.param.name); });

// The compositor keeps the release of a button that it moves a window by to itself.
TEST_F(WaylandWindow, TheFirstClickAfterAMoveCounts) {
  goToTheMiddle();
  drag({300, 24}, {60, 40});
  letGo();
  const QRect now = bounds();
  QQuickItem* const button = item(QStringLiteral("Close"));
  point(placeIn(*button, 0.5, 0.5), now);
  EXPECT_TRUE(waitFor([&] { return button->property("hovered").toBool(); })) << "the pointer is over it";
  server->pressButton();
  EXPECT_TRUE(waitFor([&] { return QGuiApplication::mouseButtons() == Qt::LeftButton; }));
  server->releaseButton();
  EXPECT_TRUE(waitFor([] { return bounds().isEmpty(); })) << "it was clicked";
}

TEST_F(WaylandWindow, OpensWhatAnotherProgramDropsOnIt) {
  goToTheMiddle();
  const QRect player = bounds();
  load(3);
  const TemporaryFolder folder;
  const std::vector<FileURL> dropped{folder.write("Track 1.wav", "x"), folder.write("Track 2.flac", "x")};
  const DragSource source(*server, dropped);
  ASSERT_TRUE(waitFor([&] { return !source.bounds().isEmpty(); }));
  // The compositor puts the other window where it likes, over this one, too.
  const QPoint above = player.center() - QPoint(0, player.height() / 4);
  const QPoint target = source.bounds().contains(above) ? player.center() + QPoint(0, player.height() / 4) : above;
  ASSERT_TRUE(source.dragTo(target, *window, [this](const auto& condition) { return waitFor(condition); }));
  EXPECT_TRUE(waitFor([this] { return isShown("Drop to play these instead"); }));
  server->releaseButton();
  EXPECT_TRUE(waitFor([&] {
    settle();
    return session.fileURLs() == dropped;
  }));
}

TEST_F(WaylandWindow, ComesBackFromTheTray) {
  for (int round = 1; round <= 2; ++round) {
    click(QStringLiteral("Close"));
    EXPECT_TRUE(waitFor([] { return bounds().isEmpty(); })) << "round " << round;
    delegate.showPlayerFromMenu();
    EXPECT_TRUE(waitFor([this] { return window->isExposed() && isWhole(bounds()); }))
        << "round " << round << ", exposed: " << window->isExposed() << ", " << bounds().width() << " × "
        << bounds().height();
    EXPECT_EQ(window->size(), QSize(600, 700)) << "round " << round;
  }
}

}  // namespace
}  // namespace tolvane::test

int main(int argc, char* argv[]) {
  if (argc < 3) return 2;
  const std::string weston = argv[1];
  const int scale = std::atoi(argv[2]);
  argv[2] = argv[0];
  argc -= 2;
  argv += 2;
  testing::InitGoogleMock(&argc, argv);
  const tolvane::test::XServer server;
  tolvane::test::server = &server;
  tolvane::test::screenScale = scale;
  const tolvane::test::Compositor compositor(weston, scale);
  const QGuiApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
