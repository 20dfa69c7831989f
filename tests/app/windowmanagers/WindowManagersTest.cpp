// The player's window under a real window manager on a real X server: moved, resized, minimised, closed and shown again
// by a pointer that presses and moves, and by what taskbars ask for. Usage: test_window_managers COMMAND WORD… -- (the
// window manager), then GoogleTest's options.

#include <gmock/gmock.h>

#include <QAbstractNativeEventFilter>
#include <QGuiApplication>
#include <string>
#include <vector>

#include "app/QtShellWindow.h"
#include "app/shell/AppDelegate.h"
#include "tests/app/dragsource/DragSource.h"
#include "tests/app/windowmanagers/XServer.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/ui/qt/WindowFixture.h"
#include "ui/qt/models/TrackDragModel.h"

namespace tolvane::test {
namespace {

constexpr const char* echo = "_TOLVANE_TEST_ECHO";
/// WM_STATE (ICCCM 4.1.3.1).
enum State : std::uint32_t { withdrawn = 0, normal = 1, iconic = 3 };
constexpr int grip = 3;  // pixels from the window's edge to where it is taken to be resized

const XServer* server = nullptr;

/// Counts the echoes that have come to a window: what the server sent it before has been handled then.
class Echoes final : public QAbstractNativeEventFilter {
 public:
  Echoes() : type_(server->atom(echo)) { QCoreApplication::instance()->installNativeEventFilter(this); }

  bool nativeEventFilter(const QByteArray& kind, void* message, qintptr*) override {
    if (kind != "xcb_generic_event_t") return false;
    const auto* event = static_cast<const xcb_client_message_event_t*>(message);
    if ((event->response_type & 0x7F) != XCB_CLIENT_MESSAGE || event->type != type_) return false;
    last = event->data.data32[0];
    return true;
  }

  std::uint32_t last = 0;

 private:
  xcb_atom_t type_;
};

class ManagedWindow : public WindowFixture {
 protected:
  ManagedWindow() {
    delegate.configurePlayerWindow(shell);
    server->releaseButton();  // of a test that failed
    EXPECT_TRUE(waitFor([this] { return state() == normal; }));
    // As a user or a taskbar places it: the window itself has requested no position.
    constexpr std::uint32_t northWest = 1;
    constexpr std::uint32_t placeOnly = 1U << 8U | 1U << 9U;
    constexpr std::uint32_t fromAPager = 2U << 12U;
    server->ask(id(), "_NET_MOVERESIZE_WINDOW",
                {northWest | placeOnly | fromAPager, static_cast<std::uint32_t>(begin.x()),
                 static_cast<std::uint32_t>(begin.y())});
    EXPECT_TRUE(waitFor([this] { return geometry().topLeft() == begin; }));
    synchronise();
  }

  [[nodiscard]] xcb_window_t id() const { return static_cast<xcb_window_t>(window->winId()); }
  [[nodiscard]] QRect geometry() const { return server->geometryOf(id()); }
  [[nodiscard]] std::uint32_t state() const {
    const auto values = server->property(id(), "WM_STATE");
    return values.empty() ? withdrawn : values.front();
  }

  /// Whatever is under way between pointer, window manager and window has arrived afterwards. Twice, because an answer
  /// may call for another.
  void synchronise() {
    constexpr auto above = "_NET_WM_STATE_ABOVE";
    for (const bool isSet : {true, false}) {
      server->setState(id(), above, isSet);
      ASSERT_TRUE(waitFor([&] { return server->hasState(id(), above) == isSet; })) << "the window manager is busy";
      awaitEcho();
    }
  }

  /// The window's program has handled what the server has sent it so far.
  void awaitEcho() {
    server->sendMessage(id(), echo, ++sent);
    ASSERT_TRUE(waitFor([this] { return echoes.last == sent; }));
    settle();
  }

  /// Presses there, and moves until the window has followed this far. The button stays pressed.
  void drag(QPoint from, QPoint way) {
    const QRect before = geometry();
    server->movePointer(from);
    synchronise();
    server->pressButton();
    awaitEcho();
    const int far = std::max(std::abs(way.x()), std::abs(way.y()));
    int steps = 0;
    const bool follows = waitFor([&] {
      // A pointer that is held still trembles: a window manager that is late begins with the next move.
      const int step = ++steps <= 2 * far ? steps : 2 * far - steps % 2;
      server->movePointer(place = from + way * step / far);
      const QRect now = geometry();
      return std::max((now.topLeft() - before.topLeft()).manhattanLength(),
                      (now.bottomRight() - before.bottomRight()).manhattanLength()) >= far;
    });
    EXPECT_TRUE(follows) << "the window does not follow the pointer";
  }

  /// Releases the button, and moves the pointer: the window stays as it is.
  void letGo() {
    synchronise();
    server->releaseButton();
    synchronise();
    const QRect left = geometry();
    int moves = 0;
    for (const QPoint way :
         {QPoint(12, 9), QPoint(40, 60), QPoint(-80, 30), QPoint(90, -45), QPoint(3, 120), QPoint(-150, -20)}) {
      server->movePointer(place += way);
      synchronise();
      EXPECT_EQ(geometry(), left) << "no button is held, move " << ++moves;
    }
  }

  void minimise() {
    click(QStringLiteral("Minimise"));
    ASSERT_TRUE(waitFor([this] { return state() == iconic && shell.isMiniaturised(); }));
  }
  /// As a click on it in a taskbar.
  void restoreFromTaskbar() {
    constexpr std::uint32_t fromAPager = 2;
    server->ask(id(), "_NET_ACTIVE_WINDOW", {fromAPager, XCB_CURRENT_TIME, 0});
    ASSERT_TRUE(waitFor([this] { return state() == normal && window->isExposed(); }));
    synchronise();
  }
  void close() {
    click(QStringLiteral("Close"));
    ASSERT_TRUE(waitFor([this] { return state() == withdrawn; }));
  }
  /// As the tray's menu does.
  void show() {
    delegate.showPlayerFromMenu();
    EXPECT_TRUE(waitFor([this] { return state() == normal && window->isExposed(); })) << "it is not on the screen";
    if (state() == normal) synchronise();
  }

  static constexpr QPoint begin{320, 210};
  Echoes echoes;
  std::uint32_t sent = 0;
  QPoint place;
  QtShellWindow shell{*window};
  AppDelegate delegate{[] {}};
};

TEST_F(ManagedWindow, FollowsItsHeaderUntilTheButtonIsReleased) {
  drag(begin + QPoint(300, 24), {60, 40});
  EXPECT_EQ(geometry().size(), QSize(600, 700));
  letGo();
}

struct Edge {
  const char* name;
  QPointF from;  ///< fractions of the window
  QPoint way;
};

class ManagedWindowsEdge : public ManagedWindow, public testing::WithParamInterface<Edge> {};

TEST_P(ManagedWindowsEdge, ResizesItUntilTheButtonIsReleased) {
  const auto& [name, from, way] = GetParam();
  const auto within = [](double fraction, int length) {
    return std::clamp(static_cast<int>(fraction * length), grip, length - 1 - grip);
  };
  drag(begin + QPoint(within(from.x(), 600), within(from.y(), 700)), way);
  EXPECT_NE(geometry().size(), QSize(600, 700));
  letGo();
}

INSTANTIATE_TEST_SUITE_P(Each, ManagedWindowsEdge,
                         testing::Values(Edge{"Top", {0.5, 0}, {0, -50}}, Edge{"Bottom", {0.5, 1}, {0, 50}},
                                         Edge{"Left", {0, 0.5}, {-50, 0}}, Edge{"Right", {1, 0.5}, {50, 0}},
                                         Edge{"TopLeft", {0, 0}, {-50, -50}}, Edge{"TopRight", {1, 0}, {50, -50}},
                                         Edge{"BottomLeft", {0, 1}, {-50, 50}}, Edge{"BottomRight", {1, 1}, {50, 50}}),
                         [](const auto& edge) { return std::string(edge.param.name); });

TEST_F(ManagedWindow, ComesBackFromTheTaskbarAsItWas) {
  minimise();
  restoreFromTaskbar();
  EXPECT_EQ(geometry(), QRect(begin, QSize(600, 700)));
  EXPECT_EQ(window->windowStates(), Qt::WindowNoState);
}

TEST_F(ManagedWindow, ComesBackFromTheTrayWhereItWasClosed) {
  for (int round = 1; round <= 2; ++round) {
    close();
    show();
    EXPECT_EQ(geometry(), QRect(begin, QSize(600, 700))) << "round " << round;
  }
}

TEST_F(ManagedWindow, ComesBackFromTheTrayWhereItWasDraggedTo) {
  drag(begin + QPoint(300, 24), {-90, 60});
  letGo();
  const QRect left = geometry();
  close();
  show();
  EXPECT_EQ(geometry(), left);
}

TEST_F(ManagedWindow, ComesBackFromTheTrayAlthoughItWasMinimisedBefore) {
  minimise();
  restoreFromTaskbar();
  close();
  show();
  EXPECT_FALSE(shell.isMiniaturised());
  EXPECT_EQ(window->windowStates(), Qt::WindowNoState);
  EXPECT_EQ(geometry(), QRect(begin, QSize(600, 700)));
}

TEST_F(ManagedWindow, ComesBackFromTheTrayWhileItIsMinimised) {
  minimise();
  show();
  EXPECT_FALSE(shell.isMiniaturised());
  EXPECT_EQ(geometry(), QRect(begin, QSize(600, 700)));
}

TEST_F(ManagedWindow, OpensWhatAnotherProgramDropsOnIt) {
  load(3);
  const TemporaryFolder folder;
  const std::vector<FileURL> dropped{folder.write("Track 1.wav", "x"), folder.write("Track 2.flac", "x")};
  const DragSource source(*server, dropped);
  ASSERT_TRUE(waitFor([&] { return !source.bounds().isEmpty(); }));
  ASSERT_TRUE(
      source.dragTo(geometry().center(), *window, [this](const auto& condition) { return waitFor(condition); }));
  EXPECT_TRUE(waitFor([this] { return isShown("Drop to play these instead"); }));
  server->releaseButton();
  EXPECT_TRUE(waitFor([&] {
    settle();
    return session.fileURLs() == dropped;
  }));
}

TEST_F(ManagedWindow, BeginsNoDragOfARowThatItsEdgeWasPulledOver) {
  load(5);
  const auto& rows = *window->property("trackDrag").value<TrackDragModel*>();
  int drags = 0;
  QObject::connect(&rows, &TrackDragModel::changed, [&] { drags += rows.draggedRow() >= 0 ? 1 : 0; });
  server->movePointer(geometry().topRight() + QPoint(-grip, 320));  // beside a row
  synchronise();
  server->pressButton();
  awaitEcho();
  for (int step = 1; step <= 50; ++step) {
    server->movePointer(place = geometry().topRight() + QPoint(-grip - 4 * step, 320));
    awaitEcho();
  }
  EXPECT_EQ(geometry().size(), QSize(600, 700)) << "it is as small as it may be";
  letGo();
  EXPECT_EQ(drags, 0);
}

}  // namespace
}  // namespace tolvane::test

int main(int argc, char* argv[]) {
  std::vector<std::string> manager;
  int next = 1;
  while (next < argc && std::string_view(argv[next]) != "--") manager.emplace_back(argv[next++]);
  if (next > 1) argv[next] = argv[0];
  argc -= next;
  argv += next;
  testing::InitGoogleMock(&argc, argv);
  const tolvane::test::XServer server;
  const tolvane::test::ChildProcess process(manager);
  server.waitForWindowManager(process.pid());
  tolvane::test::server = &server;
  const QGuiApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
