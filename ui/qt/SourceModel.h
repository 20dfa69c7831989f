#pragma once
// Opening and dropping of files and folders, as QML calls it. Window's thread.

#include <QObject>
#include <QStringList>
#include <QUrl>
#include <QtQmlIntegration>

#include "ui/SourceActions.h"

namespace tolvane {

class SourceModel final : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("made by the window")
  /// "Audio files (*.wav …)", as file dialogs take them.
  Q_PROPERTY(QStringList nameFilters READ nameFilters CONSTANT FINAL)
  /// Where file dialogs begin: the music folder, or the home folder without one.
  Q_PROPERTY(QUrl startFolder READ startFolder CONSTANT FINAL)

  /// Why nothing was opened the last time; empty when something was.
  Q_PROPERTY(QString notice READ notice NOTIFY noticeChanged FINAL)

 public:
  explicit SourceModel(SourceActions& actions);
  ~SourceModel() override;

  [[nodiscard]] QStringList nameFilters() const;
  [[nodiscard]] QUrl startFolder() const;

  Q_INVOKABLE void openFiles(const QList<QUrl>& urls);
  Q_INVOKABLE void openFolder(const QUrl& url);
  /// Whether a drop of these would bring files; a link of a web page does not.
  [[nodiscard]] Q_INVOKABLE bool wants(const QList<QUrl>& urls) const;
  Q_INVOKABLE void drop(const QList<QUrl>& urls);
  [[nodiscard]] QString notice() const;
  Q_INVOKABLE void dismissNotice() { actions_.dismissNotice(); }

 signals:
  void noticeChanged();

 private:
  SourceActions& actions_;
};

}  // namespace tolvane
