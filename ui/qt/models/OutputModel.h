#pragma once
// The output for QML: the devices, Exclusive Access and the verdict. Window's thread.

#include <QColor>
#include <QStringList>
#include <QtQmlIntegration>

#include "ui/qt/SessionAdapter.h"

namespace tolvane {

class OutputModel final : public SessionAdapter {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("made by the window")
  Q_PROPERTY(QStringList devices READ devices NOTIFY devicesChanged FINAL)
  Q_PROPERTY(int selectedDevice READ selectedDevice NOTIFY devicesChanged FINAL)
  Q_PROPERTY(double volume READ volume WRITE setVolume NOTIFY levelsChanged FINAL)
  Q_PROPERTY(QString volumeLabel READ volumeLabel NOTIFY levelsChanged FINAL)
  Q_PROPERTY(double balance READ balance WRITE setBalance NOTIFY levelsChanged FINAL)
  Q_PROPERTY(QString balanceText READ balanceText NOTIFY levelsChanged FINAL)
  Q_PROPERTY(bool exclusiveAccess READ isExclusiveAccessEnabled NOTIFY changed FINAL)
  Q_PROPERTY(QString exclusiveTitle READ exclusiveTitle NOTIFY changed FINAL)
  Q_PROPERTY(QString exclusiveState READ exclusiveState NOTIFY changed FINAL)
  Q_PROPERTY(QString exclusiveMessage READ exclusiveMessage NOTIFY changed FINAL)
  Q_PROPERTY(QColor exclusiveColor READ exclusiveColor NOTIFY changed FINAL)
  Q_PROPERTY(QString pathLabel READ pathLabel NOTIFY changed FINAL)
  Q_PROPERTY(QString pathDetail READ pathDetail NOTIFY changed FINAL)
  /// The same in plainer words; empty where there are none.
  Q_PROPERTY(QString pathPlainly READ pathPlainly NOTIFY changed FINAL)
  Q_PROPERTY(QColor pathColor READ pathColor NOTIFY changed FINAL)

 public:
  explicit OutputModel(SessionProxy& session);

  [[nodiscard]] QStringList devices() const;
  [[nodiscard]] int selectedDevice() const;  ///< row in devices; −1: none
  [[nodiscard]] double volume() const { return state().outputVolume; }
  void setVolume(double volume) { session().setOutputVolume(volume); }
  [[nodiscard]] QString volumeLabel() const;
  [[nodiscard]] double balance() const { return state().outputBalance; }
  void setBalance(double balance) { session().setOutputBalance(balance); }
  [[nodiscard]] QString balanceText() const;
  [[nodiscard]] bool isExclusiveAccessEnabled() const { return state().isExclusiveAccessEnabled; }
  [[nodiscard]] QString exclusiveTitle() const;
  [[nodiscard]] QString exclusiveState() const;
  [[nodiscard]] QString exclusiveMessage() const;
  [[nodiscard]] QColor exclusiveColor() const;
  [[nodiscard]] QString pathLabel() const;
  [[nodiscard]] QString pathDetail() const;
  [[nodiscard]] QString pathPlainly() const;
  [[nodiscard]] QColor pathColor() const;

  Q_INVOKABLE void selectDevice(int row);
  Q_INVOKABLE void setExclusiveAccess(bool enabled) { session().setExclusiveAccessEnabled(enabled); }

 signals:
  void devicesChanged();
  void levelsChanged();

 private:
  [[nodiscard]] QString exclusiveTitleLine(int line) const;

  Subscription subscription_;
};

}  // namespace tolvane
