#include "ui/qt/window/PlayerWindow.h"

#include <QFont>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>

#include "ui/qt/items/AccessibleAdjustment.h"
#include "ui/qt/models/NowPlayingModel.h"
#include "ui/qt/models/OutputModel.h"
#include "ui/qt/QtConversions.h"
#include "ui/qt/models/SignalPathModel.h"
#include "ui/qt/models/SourceModel.h"
#include "ui/qt/models/TrackDragModel.h"
#include "ui/qt/models/TrackFindModel.h"
#include "ui/qt/models/TrackListModel.h"

// Generated with the QML module. Named here, because the linker drops what a static library only registers.
extern void qml_register_types_Tolvane();

namespace tolvane {

struct PlayerWindow::Implementation {
  Implementation(ContentView& content, SourceActions& sources, const std::string& version)
      : nowPlaying(content),
        tracks(content),
        trackDrag(content),
        trackFind(content),
        output(content.session()),
        path(content.session(), version),
        source(content, sources) {}

  NowPlayingModel nowPlaying;
  TrackListModel tracks;
  TrackDragModel trackDrag;
  TrackFindModel trackFind;
  OutputModel output;
  SignalPathModel path;
  SourceModel source;
  QQmlApplicationEngine engine;  // last: what it draws reads the models to its end
};

PlayerWindow::PlayerWindow(ContentView& content, SourceActions& sources, const std::string& version)
    : implementation_(std::make_unique<Implementation>(content, sources, version)) {
  QFont font = QGuiApplication::font();
  font.setFamilies({QStringLiteral("Inter"), QStringLiteral("Cantarell"), QStringLiteral("Noto Sans"),
                    QStringLiteral("DejaVu Sans")});
  QGuiApplication::setFont(font);
  AccessibleAdjustment::install();
  [[maybe_unused]] volatile auto registration = &qml_register_types_Tolvane;
  auto& made = *implementation_;
  made.engine.setInitialProperties({
      {QStringLiteral("nowPlaying"), QVariant::fromValue(&made.nowPlaying)},
      {QStringLiteral("tracks"), QVariant::fromValue(&made.tracks)},
      {QStringLiteral("trackDrag"), QVariant::fromValue(&made.trackDrag)},
      {QStringLiteral("trackFind"), QVariant::fromValue(&made.trackFind)},
      {QStringLiteral("output"), QVariant::fromValue(&made.output)},
      {QStringLiteral("path"), QVariant::fromValue(&made.path)},
      {QStringLiteral("source"), QVariant::fromValue(&made.source)},
      {QStringLiteral("version"), toQString(version)},
  });
  made.engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
  made.engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Tolvane/Main.qml")));
  if (const auto* const shown = window()) {
    QObject::connect(shown, &QWindow::visibilityChanged, &made.nowPlaying, [&content](QWindow::Visibility visibility) {
      content.session().watchTime(visibility != QWindow::Hidden && visibility != QWindow::Minimized);
    });
  }
}

PlayerWindow::~PlayerWindow() = default;

QQuickWindow* PlayerWindow::window() const {
  const auto roots = implementation_->engine.rootObjects();
  return roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(roots.first());
}

}  // namespace tolvane
