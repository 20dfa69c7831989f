#pragma once
// Reordering by drag, as QML sees it: begins the desktop's drag of a row, and answers for the rows as places to drop
// on. Window's thread. Any other drag, such as one of files, is left to the window.

#include <QObject>
#include <QPointer>
#include <QtQmlIntegration>

#include "ui/ContentView.h"

class QMimeData;
class QQuickItem;

namespace tolvane {

class TrackDragModel final : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("made by the window")
  /// The gap that is marked, 0 … count; −1 while none is.
  Q_PROPERTY(int insertionIndex READ insertionIndex NOTIFY changed FINAL)
  /// The row that is being dragged; −1 while none is.
  Q_PROPERTY(int draggedRow READ draggedRow NOTIFY changed FINAL)

 public:
  explicit TrackDragModel(ContentView& content) : content_(content) {}

  [[nodiscard]] int insertionIndex() const;
  [[nodiscard]] int draggedRow() const { return draggedRow_; }

  /// Begins a drag and returns once it has ended; meanwhile the window goes on. `source` is where it begins.
  Q_INVOKABLE void drag(int row, QQuickItem* source);

  /// A drag of this text is `y` below the top of a row. Returns whether it may be dropped here.
  Q_INVOKABLE bool entered(int row, double y, bool offersPlainText);
  Q_INVOKABLE void exited();
  Q_INVOKABLE bool drop(int row, double y, const QString& text);

  /// Begins the drag's session and returns its data. Null for a row that does not exist.
  [[nodiscard]] QMimeData* begin(int row);
  void end();

 signals:
  void changed();

 private:
  ContentView& content_;
  int draggedRow_ = -1;
  int rowUnderPointer_ = -1;
};

}  // namespace tolvane
