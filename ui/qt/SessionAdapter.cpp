#include "ui/qt/SessionAdapter.h"

namespace tolvane {

SessionAdapter::SessionAdapter(SessionProxy& session)
    : session_(session),
      subscription_(session.onChange([this](const SessionState&, const SessionState&) { scheduleChanged(); })) {}

void SessionAdapter::scheduleChanged() {
  if (isScheduled_) return;
  isScheduled_ = true;
  QMetaObject::invokeMethod(
      this,
      [this] {
        isScheduled_ = false;
        emit changed();
      },
      Qt::QueuedConnection);
}

}  // namespace tolvane
