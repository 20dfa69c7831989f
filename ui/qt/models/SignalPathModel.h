#pragma once
// The signal path as QML sees it. Window's thread. The stages come with every state; the rest is requested from the
// player only while `open` is true, and costs nothing otherwise.

#include <QtQmlIntegration>

#include "ui/qt/SessionAdapter.h"
#include "ui/qt/models/SignalRowsModel.h"

namespace tolvane {

class SignalPathModel final : public SessionAdapter {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("made by the window")
  Q_PROPERTY(tolvane::SignalRowsModel* stages READ stages CONSTANT FINAL)
  Q_PROPERTY(tolvane::SignalRowsModel* delivery READ delivery CONSTANT FINAL)
  Q_PROPERTY(tolvane::SignalRowsModel* counters READ counters CONSTANT FINAL)
  Q_PROPERTY(tolvane::SignalRowsModel* history READ history CONSTANT FINAL)
  Q_PROPERTY(bool hasPath READ hasPath NOTIFY pathChanged FINAL)
  Q_PROPERTY(QString spoken READ spoken NOTIFY pathChanged FINAL)
  /// The diagnostics are there.
  Q_PROPERTY(bool ready READ isReady NOTIFY readyChanged FINAL)
  Q_PROPERTY(bool open READ isOpen WRITE setOpen NOTIFY openChanged FINAL)

 public:
  /// `version` is the player's, for the report.
  SignalPathModel(SessionProxy& session, std::string version);

  [[nodiscard]] SignalRowsModel* stages() { return &stages_; }
  [[nodiscard]] SignalRowsModel* delivery() { return &delivery_; }
  [[nodiscard]] SignalRowsModel* counters() { return &counters_; }
  [[nodiscard]] SignalRowsModel* history() { return &history_; }
  [[nodiscard]] bool hasPath() const { return state().signalPath != nullptr; }
  [[nodiscard]] QString spoken() const;
  [[nodiscard]] bool isReady() const { return state().diagnostics != nullptr; }
  [[nodiscard]] bool isOpen() const { return isOpen_; }
  void setOpen(bool isOpen);

  /// Puts the report on the clipboard. Nothing while it is not ready.
  Q_INVOKABLE void copyReport(bool namesFile) const;

 signals:
  void pathChanged();
  void readyChanged();
  void openChanged();

 private:
  void adopt();

  const std::string version_;
  bool isOpen_ = false;
  SignalRowsModel stages_{false};
  SignalRowsModel delivery_{false};
  SignalRowsModel counters_{false};
  SignalRowsModel history_{true};
  Subscription subscription_;
};

}  // namespace tolvane
