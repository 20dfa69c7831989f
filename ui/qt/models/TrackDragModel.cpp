#include "ui/qt/models/TrackDragModel.h"

#include <QDrag>
#include <QMimeData>
#include <QPainter>
#include <QPixmap>
#include <QQuickItem>
#include <QQuickWindow>

#include "ui/texts/Presentation.h"
#include "ui/qt/QtConversions.h"

namespace tolvane {

namespace {

/// The dragged row's title on a small plate, as it hangs on the pointer.
QPixmap plate(const QString& title, double scale) {
  constexpr double height = 34;
  constexpr double padding = 14;
  constexpr double widest = 280;
  QFont font;
  font.setPixelSize(13);
  font.setWeight(QFont::DemiBold);
  const QFontMetricsF metrics(font);
  const QString text = metrics.elidedText(title, Qt::ElideRight, widest);
  const QSizeF size(metrics.horizontalAdvance(text) + 2 * padding, height);
  QPixmap picture((size * scale).toSize());
  picture.setDevicePixelRatio(scale);
  picture.fill(toQColor(Theme::raisedPanel));  // square: not every desktop can show a drag with clear corners
  QPainter painter(&picture);
  painter.setPen(toQColor(Theme::gold.withOpacity(0.55)));
  painter.drawRect(QRectF({0.5, 0.5}, size - QSizeF(1, 1)));
  painter.setFont(font);
  painter.setPen(toQColor(Theme::ink));
  painter.drawText(QRectF(QPointF(0, 0), size), Qt::AlignCenter, text);
  return picture;
}

}  // namespace

int TrackDragModel::insertionIndex() const { return static_cast<int>(content_.playlistInsertionIndex().value_or(-1)); }

QMimeData* TrackDragModel::begin(int row) {
  const PlaylistTrack* track = content_.session().state().tracks.entryAt(row);
  if (track == nullptr) return nullptr;
  auto data = std::make_unique<QMimeData>();
  data->setText(toQString(content_.beginPlaylistTrackDrag(track->id)));
  draggedRow_ = row;
  emit changed();
  return data.release();
}

void TrackDragModel::end() {
  content_.endPlaylistTrackDrag();
  draggedRow_ = -1;
  rowUnderPointer_ = -1;
  emit changed();
}

void TrackDragModel::drag(int row, QQuickItem* source) {
  if (draggedRow_ >= 0 || source == nullptr || source->window() == nullptr) return;
  QMimeData* data = begin(row);
  if (data == nullptr) return;
  const auto& track = content_.session().state().tracks[static_cast<std::size_t>(row)];
  const QPointer<TrackDragModel> self = this;
  auto* drag = new QDrag(source);  // Qt deletes it after the drag
  drag->setMimeData(data);
  drag->setPixmap(plate(toQString(displayText(track.title())), source->window()->effectiveDevicePixelRatio()));
  drag->setHotSpot(QPoint(18, 17));
  drag->exec(Qt::MoveAction);
  if (self) end();
}

bool TrackDragModel::entered(int row, double y, bool offersPlainText) {
  const PlaylistDropInfo info{offersPlainText, y, {}};
  auto target = content_.dropDelegate(row);
  if (!target.validateDrop(info)) return false;
  if (rowUnderPointer_ == row) {
    target.dropUpdated(info);
  } else {
    target.dropEntered(info);
    if (rowUnderPointer_ >= 0) content_.dropDelegate(rowUnderPointer_).dropExited();
    rowUnderPointer_ = row;
  }
  emit changed();
  return true;
}

void TrackDragModel::exited() {
  if (rowUnderPointer_ >= 0) content_.dropDelegate(rowUnderPointer_).dropExited();
  rowUnderPointer_ = -1;
  emit changed();
}

bool TrackDragModel::drop(int row, double y, const QString& text) {
  const PlaylistDropInfo info{true, y,
                              [text](const PlaylistDropInfo::Completion& done) { done(text.toUtf8().toStdString()); }};
  const bool isTaken = content_.dropDelegate(row).performDrop(info);
  rowUnderPointer_ = -1;
  emit changed();
  return isTaken;
}

}  // namespace tolvane
