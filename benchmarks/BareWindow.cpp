// bench_bare_window: a window of the toolkit with one text, and nothing else: what a program with such a window cannot
// start quicker than.

#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <memory>

int main(int argc, char* argv[]) {
  const QGuiApplication application(argc, argv);
  QQmlEngine engine;
  QQmlComponent component(&engine);
  component.setData(R"(import QtQuick
Window { width: 600; height: 700; visible: true; color: "black"; Text { anchors.centerIn: parent; color: "white"; text: "A window" } })",
                    {});
  const std::unique_ptr<QObject> window(component.create());
  return window ? QGuiApplication::exec() : 1;
}
