// The window's tests: off the screen unless a platform is named (QT_QPA_PLATFORM).

#include <gmock/gmock.h>

#include <QGuiApplication>
#include <QQuickWindow>

int main(int argc, char* argv[]) {
  testing::InitGoogleMock(&argc, argv);
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  if (qgetenv("QT_QPA_PLATFORM") == "offscreen") QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
  const QGuiApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
