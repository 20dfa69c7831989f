#pragma once
// The list in its states: long and strange names, files that cannot be played, rows that are selected, found, moved,
// removed, dropped and saved. Used by the program that draws the window's pictures.

#include <QMimeData>
#include <QPoint>
#include <memory>

#include "tests/ui/qt/SheetScenes.h"

namespace tolvane::test {

class ListScenes : public SheetScenes {
 public:
  /// Rows whose files could not be played, while another one plays.
  void unplayable();
  void unplayableKeyboard();
  void unplayablePointer();
  void unplayableWide();
  void names();
  void thousands();
  void dragging();
  void selecting();
  void selectingWide();
  void removed();
  void removedWide();
  void saved();
  void finding();
  void findingWide();
  void inserting();
  void insertingWide();
  void dropping();
  void droppingEmpty();

 protected:
  explicit ListScenes(bool isPlayerApart) : SheetScenes(isPlayerApart) {}

 private:
  /// Holds files over the window, as a drag from another program does.
  void hover(QPoint place = {300, 340});

  std::unique_ptr<QMimeData> data_;
};

}  // namespace tolvane::test
