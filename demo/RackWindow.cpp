#include "demo/RackWindow.h"

#include <QEvent>
#include <QPointer>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QScreen>
#include <algorithm>

#include "demo/RackModel.h"

// Generated with the QML modules. Named here, because the linker drops what a static library only registers.
extern void qml_register_types_Tolvane();
extern void qml_register_types_TolvaneDemo();

namespace tolvane {

namespace {

constexpr int distance = 16;    // pixels between the two windows
constexpr QSize frame{12, 36};  // the usual size of a window manager's frame

}  // namespace

struct RackWindow::Implementation final : QObject {
  Implementation(DemoRack& rack, RunLoop& realTime) : model(rack, realTime) {}

  /// Where the other one is, is known once it is on the screen: window managers place it.
  bool eventFilter(QObject* watched, QEvent* event) override {
    auto* rack = engine.rootObjects().isEmpty() ? nullptr : qobject_cast<QWindow*>(engine.rootObjects().first());
    if (event->type() == QEvent::Expose && watched == neighbour && neighbour->isExposed() && rack != nullptr) {
      neighbour->removeEventFilter(this);
      show(*rack);
    }
    return QObject::eventFilter(watched, event);
  }
  void show(QWindow& rack) const {
    const QRect screen = neighbour->screen()->availableGeometry();
    rack.setFramePosition(placeBeside(neighbour->frameGeometry(), rack.size() + frame, screen));
    rack.show();
  }

  QPointer<QWindow> neighbour;
  RackModel model;
  QQmlApplicationEngine engine;  // last: what it draws reads the model to its end
};

RackWindow::RackWindow(DemoRack& rack, RunLoop& realTime)
    : implementation_(std::make_unique<Implementation>(rack, realTime)) {
  [[maybe_unused]] volatile auto parts = &qml_register_types_Tolvane;
  [[maybe_unused]] volatile auto registration = &qml_register_types_TolvaneDemo;
  auto& made = *implementation_;
  made.engine.setInitialProperties({{QStringLiteral("rack"), QVariant::fromValue(&made.model)}});
  made.engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
  made.engine.load(QUrl(QStringLiteral("qrc:/qt/qml/TolvaneDemo/Rack.qml")));
}

RackWindow::~RackWindow() = default;

QQuickWindow* RackWindow::window() const {
  const auto roots = implementation_->engine.rootObjects();
  return roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(roots.first());
}

QPoint placeBeside(const QRect& other, QSize size, const QRect& screen) {
  const int right = other.right() + 1 + distance;
  const int left = other.left() - distance - size.width();
  const int lastX = screen.right() + 1 - size.width();
  const int lastY = screen.bottom() + 1 - size.height();
  const int x = right <= lastX || left < screen.left() ? std::min(right, lastX) : left;
  return {std::max(x, screen.left()), std::max(screen.top(), std::min(other.top(), lastY))};
}

void RackWindow::showBeside(QWindow& other) {
  if (window() == nullptr) return;
  implementation_->neighbour = &other;
  if (other.isExposed()) return implementation_->show(*window());
  other.installEventFilter(implementation_.get());
}

}  // namespace tolvane
