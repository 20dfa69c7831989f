#pragma once
// What the adapters share: one signal for all that the session and the engine publish. Main thread.
// Many changes of one operation become one signal, after the operation has ended.

#include <QObject>

#include "session/PlayerSession.h"

namespace tolvane {

class SessionAdapter : public QObject {
  Q_OBJECT

 public:
  explicit SessionAdapter(PlayerSession& session);

 signals:
  void changed();

 protected:
  [[nodiscard]] PlayerSession& session() const { return session_; }
  [[nodiscard]] const BitPerfectAudioPlayer& player() const { return session_.player(); }
  /// Emits changed() in a later turn, once.
  void scheduleChanged();

 private:
  PlayerSession& session_;
  bool isScheduled_ = false;
  Subscription subscription_;
};

}  // namespace tolvane
