#pragma once
// What is found in the track list, as QML sees it: the text, the match that is shown, and which of how many it is.
// Window's thread, which a long list does not hold: the search goes on when the window has nothing else to do.

#include <QBasicTimer>
#include <QObject>
#include <QtQmlIntegration>

#include "ui/ContentView.h"
#include "ui/playlist/TrackFinder.h"

namespace tolvane {

class TrackFindModel final : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("made by the window")
  /// Setting it goes to the first match.
  Q_PROPERTY(QString text READ text WRITE setText NOTIFY changed FINAL)
  /// Of the match that is shown; −1: there is none, or none so far.
  Q_PROPERTY(int row READ row NOTIFY changed FINAL)
  /// "2 of 17", "No match"; empty without a text, and until it is known whether there is a match. The count grows while
  /// a long list is searched.
  Q_PROPERTY(QString label READ label NOTIFY changed FINAL)

 public:
  explicit TrackFindModel(ContentView& content);

  [[nodiscard]] QString text() const { return text_; }
  void setText(const QString& text);
  [[nodiscard]] int row() const { return row_; }
  [[nodiscard]] QString label() const;

  /// Searches once more for the last text, and stays with its match where that still is one.
  Q_INVOKABLE void reopen();
  /// To the next match (1) or the one before (−1); behind the last one follows the first one.
  Q_INVOKABLE void step(int direction);
  /// Frees the data of the search. The text stays for the next time.
  Q_INVOKABLE void close();

 signals:
  void changed();

 protected:
  /// Searches the next part of the list.
  void timerEvent(QTimerEvent* event) override;

 private:
  /// Shows the first match at `row` or behind it, as soon as it is known.
  void search(int row);
  void show(int row, int direction);

  ContentView& content_;
  TrackFinder finder_;
  QString text_;
  int row_ = -1;
  int sought_ = -1;      ///< the match at this row or behind it is to be shown, and not known yet; −1: none is sought
  QBasicTimer idle_;     ///< runs while the list is not searched to its end
  bool isOpen_ = false;  ///< else a list that changes is not searched
  Subscription subscriptions_;
};

}  // namespace tolvane
