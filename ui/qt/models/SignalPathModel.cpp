#include "ui/qt/models/SignalPathModel.h"

#include <QClipboard>
#include <QGuiApplication>
#include <utility>

#include "engine/PathReport.h"
#include "platform/KernelName.h"
#include "ui/qt/QtConversions.h"

namespace tolvane {

SignalPathModel::SignalPathModel(SessionProxy& session, std::string version)
    : SessionAdapter(session),
      version_(std::move(version)),
      subscription_(session.onChange([this](const SessionState& before, const SessionState& now) {
        if (before.signalPath == now.signalPath && before.diagnostics == now.diagnostics) return;
        adopt();
        if (before.signalPath != now.signalPath) emit pathChanged();
        if ((before.diagnostics == nullptr) != (now.diagnostics == nullptr)) emit readyChanged();
      })) {
  adopt();
}

QString SignalPathModel::spoken() const { return toQString(spokenChain(state().signalPath.get())); }

void SignalPathModel::setOpen(bool isOpen) {
  if (std::exchange(isOpen_, isOpen) == isOpen) return;
  session().watchPath(isOpen);
  emit openChanged();
}

void SignalPathModel::adopt() {
  const PathDiagnostics* const diagnostics = state().diagnostics.get();
  stages_.setRows(stageRows(state().signalPath.get(), diagnostics));
  if (diagnostics == nullptr) return;
  delivery_.setRows(deliveryRows(*diagnostics));
  counters_.setRows(counterRows(*diagnostics));
  history_.setRows(historyRows(*diagnostics));
}

void SignalPathModel::copyReport(bool namesFile) const {
  if (!isReady()) return;
  const ReportOptions options{.playerVersion = version_, .kernel = kernelName(), .namesFile = namesFile};
  QGuiApplication::clipboard()->setText(toQString(pathReport(*state().diagnostics, options)));
}

}  // namespace tolvane
