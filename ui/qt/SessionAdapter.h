#pragma once
// Shared by the adapters: one signal for everything that the player publishes. Window's thread.
// Many changes of one operation become one signal, after the operation has ended.

#include <QObject>

#include "session/SessionProxy.h"

namespace tolvane {

class SessionAdapter : public QObject {
  Q_OBJECT

 public:
  explicit SessionAdapter(SessionProxy& session);

 signals:
  void changed();

 protected:
  [[nodiscard]] SessionProxy& session() const { return session_; }
  [[nodiscard]] const SessionState& state() const { return session_.state(); }
  /// Emits changed() in a later turn, once.
  void scheduleChanged();

 private:
  SessionProxy& session_;
  bool isScheduled_ = false;
  Subscription subscription_;
};

}  // namespace tolvane
