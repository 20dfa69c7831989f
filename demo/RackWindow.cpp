#include "demo/RackWindow.h"

#include <QQmlApplicationEngine>
#include <QQuickWindow>

#include "demo/RackModel.h"

// Written by the QML modules' builds. Named here, because the linker drops what a static library only registers.
extern void qml_register_types_Tolvane();
extern void qml_register_types_TolvaneDemo();

namespace tolvane {

namespace {

constexpr int distance = 16;  // pixels between the two windows

}  // namespace

struct RackWindow::Implementation {
  Implementation(DemoRack& rack, RunLoop& realTime) : model(rack, realTime) {}

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
  made.engine.load(QUrl(QStringLiteral("qrc:/qt/qml/TolvaneDemo/qml/Rack.qml")));
}

RackWindow::~RackWindow() = default;

QQuickWindow* RackWindow::window() const {
  const auto roots = implementation_->engine.rootObjects();
  return roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(roots.first());
}

void RackWindow::showBeside(const QWindow& other) {
  auto* rack = window();
  if (!rack) return;
  rack->setPosition(other.x() + other.width() + distance, other.y());
  rack->show();
}

}  // namespace tolvane
