// drag_source URL...: another program, from whose small window these files can be dragged. It prints the action that
// the target took, as a number of Qt::DropAction, after each drag.

#include <QDrag>
#include <QGuiApplication>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QRasterWindow>
#include <QUrl>
#include <cstdio>

#include "tests/app/dragsource/SourceWindow.h"

namespace tolvane::test {
namespace {

class SourceWindow final : public QRasterWindow {
 public:
  SourceWindow() {
    setFlags(Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
    setGeometry(source::place, source::place, source::side, source::side);
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter(this).fillRect(QRect(QPoint(), size()), QColor::fromRgb(source::colour));
  }
  void mouseMoveEvent(QMouseEvent* event) override {
    if (!event->buttons().testFlag(Qt::LeftButton)) return;
    auto* files = new QMimeData;
    QList<QUrl> urls;
    for (const QString& url : QCoreApplication::arguments().mid(1)) urls.append(QUrl(url));
    files->setUrls(urls);
    auto* drag = new QDrag(this);
    drag->setMimeData(files);
    std::printf("%d\n", static_cast<int>(drag->exec(Qt::CopyAction)));
    std::fflush(stdout);
  }
};

}  // namespace
}  // namespace tolvane::test

int main(int argc, char* argv[]) {
  const QGuiApplication application(argc, argv);
  tolvane::test::SourceWindow window;
  window.show();
  return QGuiApplication::exec();
}
