#include "tests/ui/qt/WindowFixture.h"

#include <QDeadlineTimer>
#include <QGuiApplication>
#include <QtTest/QTest>
#include <algorithm>

#include "ui/qt/QtConversions.h"

namespace tolvane::test {

namespace {

void collect(QAccessibleInterface* from, QList<QAccessibleInterface*>& found) {
  if (from == nullptr || from->state().invisible) return;
  found.push_back(from);
  for (int i = 0; i < from->childCount(); ++i) collect(from->child(i), found);
}

QQuickItem* findObject(QQuickItem* root, const QString& name) {
  if (root->objectName() == name) return root;
  for (QQuickItem* child : root->childItems()) {
    if (QQuickItem* found = findObject(child, name)) return found;
  }
  return nullptr;
}

/// Tests name controls in English.
QString inTheUsersLanguage(const QString& english) { return toQString(inCatalogue(english.toStdString())); }

}  // namespace

AudioObjectID WindowFixture::addDevice(const char* name) {
  SimulatedDeviceConfig device;
  device.name = name;
  return hardware.addDevice(std::move(device));
}

WindowFixture::WindowFixture(bool isPlayerApart)
    : apart(isPlayerApart ? std::make_optional<ManualRunLoop>() : std::nullopt) {
  QAccessible::setActive(true);
  openWindow();
}

WindowFixture::~WindowFixture() = default;

void WindowFixture::openWindow() {
  player.reset();
  player.emplace(content, sources, "1.0");
  window = player->window();
  if (window == nullptr) throw std::runtime_error("The window could not be made.");
  window->requestActivate();
  if (!waitFor([this] { return window->isExposed(); })) throw std::runtime_error("The window does not appear.");
  settle();
}

std::vector<FileURL> WindowFixture::addTracks(int count) {
  std::vector<FileURL> urls;
  for (int number = 1; number <= count; ++number) {
    SimulatedPCMFile file;
    file.format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
    file.sourceBitDepth = 16;
    file.data.resize(static_cast<std::size_t>(trackSeconds * 44100) * 4, std::byte{0x10});
    files.add(track(number), std::move(file));
    urls.push_back(track(number));
  }
  return urls;
}

void WindowFixture::load(int count) {
  content.loadPlaylist(addTracks(count));
  settle();
}

void WindowFixture::returnFromDialog() {
  settle();
  window->requestActivate();
  EXPECT_TRUE(waitFor([this] { return window->isActive() && window->activeFocusItem() != nullptr; }));
  settle();
}

void WindowFixture::settle() {
  for (int turn = 0; turn < 3; ++turn) {
    advance(RunLoop::Duration::zero());
    for (const auto& work : std::exchange(background, {})) work();
    advance(RunLoop::Duration::zero());
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
    // Drawing a frame lays out what has changed, and may ask for more: waveforms of rows that are new. A hidden window
    // has nothing to draw on.
    if (turn < 2 && window->isExposed()) window->grabWindow();
  }
}

void WindowFixture::advance(RunLoop::Duration duration) {
  if (apart && !isHeldUp) apart->advance(duration);
  runLoop.advance(duration);
}

void WindowFixture::finishReading() {
  settle();
  for (const auto& work : std::exchange(reading, {})) work();
  settle();
}

void WindowFixture::finishReadingTags() {
  settle();
  while (!tagReading.empty())
    for (const auto& work : std::exchange(tagReading, {})) {
      work();
      settle();
    }
}

bool WindowFixture::waitFor(const std::function<bool()>& condition) {
  const QDeadlineTimer patience(20'000);
  // Asked no more once it has held: a condition may move the pointer.
  while (!condition()) {
    if (patience.hasExpired()) return false;
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
  }
  return true;
}

QList<QAccessibleInterface*> WindowFixture::controls() const {
  QList<QAccessibleInterface*> found;
  collect(QAccessible::queryAccessibleInterface(window), found);
  return found;
}

QAccessibleInterface* WindowFixture::accessible(const QString& name) const {
  const QString shown = inTheUsersLanguage(name);
  for (QAccessibleInterface* control : controls()) {
    if (control->text(QAccessible::Name) == shown) return control;
  }
  ADD_FAILURE() << "There is no control named " << name.toStdString();
  return nullptr;
}

bool WindowFixture::isShown(const QString& name) const {
  const auto all = controls();
  const QString shown = inTheUsersLanguage(name);
  return std::ranges::any_of(all, [&](const auto* control) { return control->text(QAccessible::Name) == shown; });
}

QQuickItem* WindowFixture::item(const QString& name) const {
  auto* control = accessible(name);
  auto* found = control != nullptr ? qobject_cast<QQuickItem*>(control->object()) : nullptr;
  if (found == nullptr) throw std::runtime_error("There is no item named " + name.toStdString());
  return found;
}

QQuickItem* WindowFixture::row(int index) const {
  QQuickItem* list = findObject(window->contentItem(), QStringLiteral("TrackListScrollView"));
  QQuickItem* found = nullptr;
  if (list != nullptr)
    QMetaObject::invokeMethod(list, "itemAtIndex", Q_RETURN_ARG(QQuickItem*, found), Q_ARG(int, index));
  if (found == nullptr) throw std::runtime_error("There is no row " + std::to_string(index));
  return found;
}

std::vector<int> WindowFixture::order() const {
  std::vector<int> numbers;
  for (const auto& url : session.fileURLs()) numbers.push_back(std::stoi(std::string(url.stem().substr(6))));
  return numbers;
}

QPoint WindowFixture::placeIn(const QQuickItem& item, double x, double y) const {
  return item.mapToScene({item.width() * x, item.height() * y}).toPoint();
}

void WindowFixture::click(const QString& name) { clickAt(placeIn(*item(name), 0.5, 0.5)); }

void WindowFixture::clickAt(QPoint place) {
  QTest::mouseClick(window, Qt::LeftButton, Qt::NoModifier, place);
  settle();
}

void WindowFixture::goToTheBackground() {
  QFocusEvent gone(QEvent::FocusOut, Qt::ActiveWindowFocusReason);
  QCoreApplication::sendEvent(window, &gone);
  settle();
}

void WindowFixture::comeToTheFront() {
  QFocusEvent back(QEvent::FocusIn, Qt::ActiveWindowFocusReason);
  QCoreApplication::sendEvent(window, &back);
  settle();
}

void WindowFixture::key(int key, Qt::KeyboardModifiers modifiers) {
  QTest::keyClick(window, static_cast<Qt::Key>(key), modifiers);
  settle();
}

void WindowFixture::type(std::string_view text) {
  for (const char letter : text) QTest::keyClick(window, letter);
  settle();
}

}  // namespace tolvane::test
