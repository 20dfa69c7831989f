#include "tests/app/wayland/Sway.h"

#include <pwd.h>
#include <unistd.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <fstream>
#include <functional>
#include <stdexcept>

#include "tests/app/wayland/FolderWatch.h"

namespace tolvane::test {
namespace {

constexpr int longestAnswer = 30'000;  // milliseconds
constexpr int mostPresses = 600;       // longer than a test

constexpr std::string_view settings = R"(focus_on_window_activation focus
default_border none
output * resolution 1280x1000
xwayland disable
)";

/// The first window for which it holds; empty: none.
QJsonObject findWindow(const QJsonObject& tree, const std::function<bool(const QJsonObject&)>& holds) {
  if (tree.contains(QStringLiteral("app_id")) && holds(tree)) return tree;
  for (const auto& inner : tree.value(QStringLiteral("nodes")).toArray())
    if (auto found = findWindow(inner.toObject(), holds); !found.isEmpty()) return found;
  return {};
}

QString applicationOf(const QJsonObject& window) { return window.value(QStringLiteral("app_id")).toString(); }

}  // namespace

Sway::Sway() {
  std::string folder = (std::filesystem::temp_directory_path() / "sway-XXXXXX").string();
  if (::mkdtemp(folder.data()) == nullptr) throw std::runtime_error("There is no folder for sway.");
  folder_ = folder;
  std::ofstream(folder_ / "config") << settings;
  std::vector<std::string> command{"setpriv", "--pdeathsig", "KILL"};
  // It refuses to run as root.
  if (const passwd* other = ::getuid() == 0 ? ::getpwnam("nobody") : nullptr; other != nullptr) {
    if (::chown(folder.c_str(), other->pw_uid, other->pw_gid) != 0) throw std::runtime_error("chown");
    command.insert(command.end(), {"--reuid", std::to_string(other->pw_uid), "--regid", std::to_string(other->pw_gid),
                                   "--clear-groups"});
  }
  command.insert(command.end(),
                 {"env", "XDG_RUNTIME_DIR=" + folder, "SWAYSOCK=" + folder + "/control", "WLR_BACKENDS=headless",
                  "WLR_RENDERER=pixman", "WLR_LIBINPUT_NO_DEVICES=1", "sway", "--config", folder + "/config"});
  process_.emplace(command);
  waitForFile(folder_ / "control", process_->pid());
  waitForFile(folder_ / "wayland-1", process_->pid());
}

Sway::~Sway() {
  process_.reset();
  std::error_code error;
  std::filesystem::remove_all(folder_, error);
}

void Sway::addTo(QProcessEnvironment& environment) const {
  environment.insert(QStringLiteral("WAYLAND_DISPLAY"), QString::fromStdString((folder_ / "wayland-1").string()));
  environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("wayland"));
}

bool Sway::shows(const QString& application) const {
  const auto tree = QJsonDocument::fromJson(ask({QStringLiteral("-t"), QStringLiteral("get_tree")})).object();
  return !findWindow(tree, [&](const QJsonObject& window) { return applicationOf(window) == application; }).isEmpty();
}

QString Sway::focused() const {
  const auto tree = QJsonDocument::fromJson(ask({QStringLiteral("-t"), QStringLiteral("get_tree")})).object();
  return applicationOf(
      findWindow(tree, [](const QJsonObject& window) { return window.value(QStringLiteral("focused")).toBool(); }));
}

void Sway::close(const QString& application) const {
  ask({QStringLiteral("[app_id=\"%1\"]").arg(application), QStringLiteral("kill")});
}

std::unique_ptr<QProcess> Sway::press(const QString& key, const QStringList& modifiers) const {
  QStringList words;
  for (int press = 0; press < mostPresses; ++press) {
    words << QStringLiteral("-s") << QStringLiteral("100");
    for (const auto& modifier : modifiers) words << QStringLiteral("-M") << modifier;
    words << QStringLiteral("-k") << key;
    for (const auto& modifier : modifiers) words << QStringLiteral("-m") << modifier;
  }
  auto process = std::make_unique<QProcess>();
  auto environment = QProcessEnvironment::systemEnvironment();
  addTo(environment);
  process->setProcessEnvironment(environment);
  process->setProcessChannelMode(QProcess::ForwardedChannels);
  process->start(QStringLiteral("wtype"), words);
  if (!process->waitForStarted()) throw std::runtime_error("wtype does not start");
  return process;
}

QByteArray Sway::ask(const QStringList& words) const {
  QProcess process;
  process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  process.start(QStringLiteral("swaymsg"),
                QStringList{QStringLiteral("-s"), QString::fromStdString((folder_ / "control").string())} + words);
  if (!process.waitForFinished(longestAnswer) || process.exitCode() != 0)
    throw std::runtime_error("swaymsg gets no answer");
  return process.readAllStandardOutput();
}

}  // namespace tolvane::test
