#pragma once
// The playlist as a list model, with the rows that are selected. Window's thread. Reordering is reported as moves, and
// rows that come and go as such, so that views keep and move the others. A row's waveform and tags are requested when
// the row is shown: 100,000 rows cost what the visible ones cost.

#include <QAbstractListModel>
#include <QtQmlIntegration>
#include <map>

#include "ui/ContentView.h"
#include "ui/playlist/ListDifference.h"
#include "ui/playlist/PlaylistDuration.h"
#include "ui/playlist/TrackSelection.h"
#include "ui/qt/items/WaveformSamples.h"

namespace tolvane {

class TrackListModel final : public QAbstractListModel {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("made by the window")
  Q_PROPERTY(int count READ count NOTIFY countChanged FINAL)
  Q_PROPERTY(QString countLabel READ countLabel NOTIFY countChanged FINAL)
  /// How long all of them last, as far as it is known.
  Q_PROPERTY(QString durationLabel READ durationLabel NOTIFY durationChanged FINAL)
  Q_PROPERTY(QString savingLabel READ savingLabel NOTIFY savingChanged FINAL)
  Q_PROPERTY(int selectedCount READ selectedCount NOTIFY selectionChanged FINAL)
  /// "3 of 12 selected".
  Q_PROPERTY(QString selectionLabel READ selectionLabel NOTIFY selectionChanged FINAL)
  /// The last change of the list, while it can be undone; else empty.
  Q_PROPERTY(QString undoLabel READ undoLabel NOTIFY undoChanged FINAL)
  /// The row that played when the view last looked; stays with its track through moves. −1: none.
  Q_PROPERTY(int playedRow READ playedRow WRITE setPlayedRow FINAL)

 public:
  enum Role {
    titleRole = Qt::UserRole + 1,
    numberRole,
    samplesRole,
    durationRole,
    loadingRole,
    currentRole,
    pickedRole,
    problemRole,  ///< why the file could not be played; empty where that is not known
    creditsRole,  ///< artist and album by the tags; empty where they state none
    detailRole    ///< the line below the title
  };

  explicit TrackListModel(ContentView& content);

  [[nodiscard]] int count() const { return rowCount({}); }
  [[nodiscard]] QString countLabel() const;
  [[nodiscard]] QString durationLabel() const;
  [[nodiscard]] QString savingLabel() const;
  [[nodiscard]] int selectedCount() const { return static_cast<int>(selection_.count()); }
  [[nodiscard]] QString selectionLabel() const;
  [[nodiscard]] QString undoLabel() const;
  [[nodiscard]] int playedRow() const { return playedRow_.row(); }
  void setPlayedRow(int row) { playedRow_ = index(row); }

  [[nodiscard]] int rowCount(const QModelIndex& parent) const override;
  [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
  [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

  /// A view shows this row now.
  Q_INVOKABLE void rowShown(int row);
  /// The window has come to the front: files that could not be played may have changed meanwhile.
  Q_INVOKABLE void lookAgain() { content_.session().checkUnplayableFiles(); }
  Q_INVOKABLE void playTrack(int row, double fraction) { content_.playTrack(row, fraction); }
  /// The keyboard's counterpart of a drag: into the gap above or below the neighbour. Returns the row's new place.
  Q_INVOKABLE int moveRow(int row, int direction);

  // The selection. Rows that are not there are ignored. A row costs the same however many there are; all of them, or a
  // list that has changed, cost some milliseconds for 100,000.

  Q_INVOKABLE void toggleSelected(int row);
  /// From the row that was toggled last, or from this one where none is selected.
  Q_INVOKABLE void extendSelection(int from, int to);
  Q_INVOKABLE void selectAll();
  Q_INVOKABLE void clearSelection();
  /// Removes the selected rows from the list; where none is, this one.
  Q_INVOKABLE void removeSelected(int row);

  /// Brings back the list as it was before its last change, and the place in it.
  Q_INVOKABLE void undo() { content_.session().undoPlaylistChange(); }
  /// The time at a fraction of the row's track; "--:--" while its length is not known.
  [[nodiscard]] Q_INVOKABLE QString timeAt(int row, double fraction) const;
  /// How far a list of this height hides rows above and below.
  Q_INVOKABLE bool fadesTop(double visibleHeight, double rowsTop) const;
  Q_INVOKABLE bool fadesBottom(double visibleHeight, double rowsTop) const;

 signals:
  void countChanged();
  void durationChanged();
  void savingChanged();
  void undoChanged();
  void selectionChanged();
  /// There are other tracks, and everything that depends on them is up to date; in a later turn than the model's reset.
  void renewed();

 private:
  /// A track that a view has shown, and the row that it was in then.
  struct Shown {
    PlaylistTrackID track;
    std::size_t row;
  };
  void adoptTracks(const PlaylistTracks& tracks);
  [[nodiscard]] bool adoptMove(const PlaylistTracks& tracks);
  [[nodiscard]] bool adoptRemoval(const PlaylistTracks& tracks);
  [[nodiscard]] bool adoptInsertion(const PlaylistTracks& tracks);
  void announceSelection();
  void countDurations();
  void announceFrom(std::size_t row);
  void announceCurrent(std::int64_t row);
  void adoptUnplayable(std::shared_ptr<const UnplayableFileMap> files);
  void announceWaveform(const FileURL& url);
  void announce(const FileURL& url, const QList<int>& roles);
  [[nodiscard]] QString problem(const FileURL& url) const;
  [[nodiscard]] QVariant text(int row, int role) const;
  [[nodiscard]] std::optional<int> rowOf(Shown& shown) const;

  ContentView& content_;
  PlaylistTracks tracks_;                                // as last reported to the views
  std::map<FileURL, std::vector<Shown>> shown_;          // the same file may be in the list more than once
  std::int64_t currentIndex_;                            // as last reported to the views
  std::shared_ptr<const UnplayableFileMap> unplayable_;  // likewise; null: none
  QPersistentModelIndex playedRow_;
  TrackSelection selection_;
  PlaylistDuration duration_;
  Subscription subscriptions_;
};

}  // namespace tolvane
