#include "tests/app/dragsource/DragSource.h"

#include <QEvent>
#include <QObject>
#include <string>

namespace tolvane::test {
namespace {

std::vector<std::string> command(const std::vector<FileURL>& files) {
  std::vector<std::string> words{TOLVANE_DRAG_SOURCE};
  for (const auto& file : files) words.push_back(file.absoluteString());
  return words;
}

/// Counts how often the window noticed what is dragged over it.
class DragSpy final : public QObject {
 public:
  explicit DragSpy(QQuickWindow& window) { window.installEventFilter(this); }
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::DragMove) ++moves;
    return false;
  }
  int moves = 0;
};

}  // namespace

DragSource::DragSource(const XServer& server, const std::vector<FileURL>& files)
    : server_(server), program_(command(files)) {}

bool DragSource::dragTo(QPoint target, QQuickWindow& player, const WaitFor& waitFor) const {
  const QPoint from = bounds().center();
  server_.movePointer(from);
  server_.pressButton();
  const DragSpy spy(player);
  const QPoint way = target - from;
  constexpr int steps = 40;
  int step = 0;
  int onTheWay = 0;
  return waitFor([&] {
    if (step == steps) onTheWay = spy.moves;
    // At the end it trembles, as a hand does: the window answers each move.
    server_.movePointer(++step <= steps ? from + way * step / steps : target + QPoint(step % 2, 0));
    return step > steps && spy.moves > onTheWay;
  });
}

}  // namespace tolvane::test
