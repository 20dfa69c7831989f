#pragma once
// The palette as QML reads it. Constant.

#include <QColor>
#include <QObject>
#include <QtQmlIntegration>

#include "ui/qt/QtConversions.h"

namespace tolvane {

class ThemePalette : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_SINGLETON
  Q_PROPERTY(QColor ink READ ink CONSTANT FINAL)
  Q_PROPERTY(QColor muted READ muted CONSTANT FINAL)
  Q_PROPERTY(QColor ember READ ember CONSTANT FINAL)
  Q_PROPERTY(QColor copper READ copper CONSTANT FINAL)
  Q_PROPERTY(QColor gold READ gold CONSTANT FINAL)
  Q_PROPERTY(QColor wine READ wine CONSTANT FINAL)
  Q_PROPERTY(QColor deepWine READ deepWine CONSTANT FINAL)
  Q_PROPERTY(QColor night READ night CONSTANT FINAL)
  Q_PROPERTY(QColor panel READ panel CONSTANT FINAL)
  Q_PROPERTY(QColor raisedPanel READ raisedPanel CONSTANT FINAL)

 public:
  [[nodiscard]] QColor ink() const { return toQColor(Theme::ink); }
  [[nodiscard]] QColor muted() const { return toQColor(Theme::muted); }
  [[nodiscard]] QColor ember() const { return toQColor(Theme::ember); }
  [[nodiscard]] QColor copper() const { return toQColor(Theme::copper); }
  [[nodiscard]] QColor gold() const { return toQColor(Theme::gold); }
  [[nodiscard]] QColor wine() const { return toQColor(Theme::wine); }
  [[nodiscard]] QColor deepWine() const { return toQColor(Theme::deepWine); }
  [[nodiscard]] QColor night() const { return toQColor(Theme::night); }
  [[nodiscard]] QColor panel() const { return toQColor(Theme::panel); }
  [[nodiscard]] QColor raisedPanel() const { return toQColor(Theme::raisedPanel); }
};

}  // namespace tolvane
