#include "app/dbus/DBusMenuAdaptor.h"

#include <array>
#include <string_view>
#include <utility>

namespace tolvane {

namespace {

/// The symbols of the menus, as icon themes call them.
QString iconName(std::string_view symbol) {
  constexpr std::array<std::pair<std::string_view, const char*>, 5> names{{
      {"backward.end.fill", "media-skip-backward"},
      {"play.fill", "media-playback-start"},
      {"pause.fill", "media-playback-pause"},
      {"forward.end.fill", "media-skip-forward"},
      {"macwindow", "org.tolvane.Player"},
  }};
  for (const auto& [known, name] : names) {
    if (known == symbol) return QLatin1String(name);
  }
  return {};
}

/// An underscore would mark the next letter as an access key.
QString label(const std::string& title) {
  return QString::fromStdString(title).replace(QLatin1Char('_'), QStringLiteral("__"));
}

}  // namespace

QVariantMap menuItemProperties(const MenuItem& item) {
  if (item.isSeparator()) return {{QStringLiteral("type"), QStringLiteral("separator")}};
  QVariantMap properties{{QStringLiteral("label"), label(item.title)}};
  if (!item.isEnabled) properties.insert(QStringLiteral("enabled"), false);
  const QString icon = iconName(item.symbol);
  if (!icon.isEmpty()) properties.insert(QStringLiteral("icon-name"), icon);
  return properties;
}

DBusMenuAdaptor::DBusMenuAdaptor(QObject* parent, const QDBusConnection& bus, std::function<void(ShellAction)> perform)
    : QDBusAbstractAdaptor(parent), bus_(bus), perform_(std::move(perform)) {
  registerDBusMenuTypes();
}

void DBusMenuAdaptor::setItems(std::vector<MenuItem> items) {
  const auto before = std::exchange(items_, std::move(items));
  if (before.size() != items_.size()) {
    if (!before.empty()) emit LayoutUpdated(++revision_, 0);
    return;
  }
  QList<DBusMenuItem> updated;
  QList<DBusMenuItemKeys> removed;
  for (std::size_t row = 0; row < items_.size(); ++row) {
    const int id = static_cast<int>(row) + 1;
    const auto was = menuItemProperties(before[row]);
    const auto is = menuItemProperties(items_[row]);
    DBusMenuItem changed{id, {}};
    for (auto property = is.begin(); property != is.end(); ++property) {
      if (was.value(property.key()) != property.value()) changed.properties.insert(property.key(), property.value());
    }
    DBusMenuItemKeys gone{id, {}};
    for (const auto& name : was.keys()) {
      if (!is.contains(name)) gone.properties << name;
    }
    if (!changed.properties.isEmpty()) updated << changed;
    if (!gone.properties.isEmpty()) removed << gone;
  }
  if (!updated.isEmpty() || !removed.isEmpty()) emit ItemsPropertiesUpdated(updated, removed);
}

const MenuItem* DBusMenuAdaptor::item(int id) const {
  return id >= 1 && id <= std::ssize(items_) ? &items_[static_cast<std::size_t>(id) - 1] : nullptr;
}

QVariantMap DBusMenuAdaptor::properties(int id, const QStringList& names) const {
  const auto* line = item(id);
  QVariantMap all =
      line ? menuItemProperties(*line) : QVariantMap{{QStringLiteral("children-display"), QStringLiteral("submenu")}};
  if (names.isEmpty()) return all;
  for (const auto& name : all.keys()) {
    if (!names.contains(name)) all.remove(name);
  }
  return all;
}

uint DBusMenuAdaptor::GetLayout(int parentId, int recursionDepth, const QStringList& propertyNames,
                                const QDBusMessage& call, DBusMenuLayout& layout) {
  if (!exists(parentId)) {
    refuse(call);
    return 0;
  }
  layout = {parentId, properties(parentId, propertyNames), {}};
  if (parentId != 0 || recursionDepth == 0) return revision_;
  for (int id = 1; id <= std::ssize(items_); ++id)
    layout.children << DBusMenuLayout{id, properties(id, propertyNames), {}};
  return revision_;
}

QList<DBusMenuItem> DBusMenuAdaptor::GetGroupProperties(const QList<int>& ids, const QStringList& propertyNames) {
  QList<DBusMenuItem> found;
  if (ids.isEmpty()) {
    for (int id = 0; id <= std::ssize(items_); ++id) found << DBusMenuItem{id, properties(id, propertyNames)};
  }
  for (const int id : ids) {
    if (exists(id)) found << DBusMenuItem{id, properties(id, propertyNames)};
  }
  return found;
}

QDBusVariant DBusMenuAdaptor::GetProperty(int id, const QString& name, const QDBusMessage& call) {
  const auto value = exists(id) ? properties(id, {name}).value(name) : QVariant();
  if (!value.isValid()) refuse(call);
  return QDBusVariant(value.isValid() ? value : QVariant(QString()));
}

void DBusMenuAdaptor::Event(int id, const QString& eventId, const QDBusVariant& /*data*/, uint /*timestamp*/,
                            const QDBusMessage& call) {
  if (!exists(id)) return refuse(call);
  if (eventId == QLatin1String("clicked")) activate(id);
}

QList<int> DBusMenuAdaptor::EventGroup(const QList<DBusMenuEvent>& events) {
  QList<int> unknown;
  for (const auto& event : events) {
    if (!exists(event.id)) {
      unknown << event.id;
    } else if (event.eventId == QLatin1String("clicked")) {
      activate(event.id);
    }
  }
  return unknown;
}

bool DBusMenuAdaptor::AboutToShow(int id, const QDBusMessage& call) {
  if (!exists(id)) refuse(call);
  return false;  // nothing needs to be queried again: changes are notified as they happen
}

QList<int> DBusMenuAdaptor::AboutToShowGroup(const QList<int>& ids, QList<int>& idErrors) {
  for (const int id : ids) {
    if (!exists(id)) idErrors << id;
  }
  return {};
}

void DBusMenuAdaptor::activate(int id) {
  const auto* line = item(id);
  if (line && line->isEnabled && line->action) perform_(*line->action);
}

void DBusMenuAdaptor::refuse(const QDBusMessage& call) const {
  call.setDelayedReply(true);
  bus_.send(call.createErrorReply(QDBusError::InvalidArgs, QStringLiteral("The menu has no such item.")));
}

}  // namespace tolvane
