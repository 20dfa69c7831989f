#include "platform/desktop/RealtimeScheduling.h"

#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QObject>
#include <algorithm>
#include <string>

namespace tolvane {

namespace {

constexpr int realtimePriority = 15;              // below the 20 that RealtimeKit grants at most
constexpr rlim_t realtimeMicroseconds = 200'000;  // the longest burst without sleeping that RealtimeKit accepts
constexpr int replyTimeoutMilliseconds = 2'000;

bool setRealtimeDirectly(pid_t tid) {
  sched_param parameters{};
  parameters.sched_priority = realtimePriority;
  return ::sched_setscheduler(tid, SCHED_FIFO | SCHED_RESET_ON_FORK, &parameters) == 0;
}

bool threadExists(pid_t tid) { return ::syscall(SYS_tgkill, ::getpid(), tid, 0) == 0; }

/// RealtimeKit refuses processes whose real-time threads could hog a processor for longer than this.
bool limitRealtimeBursts() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_RTTIME, &limit) != 0) return false;
  limit.rlim_max = std::min(limit.rlim_max, realtimeMicroseconds);
  limit.rlim_cur = std::min(limit.rlim_cur, limit.rlim_max);
  return ::setrlimit(RLIMIT_RTTIME, &limit) == 0;
}

}  // namespace

struct RealtimeScheduling::Implementation {
  RunLoop& runLoop;
  Log& log;
  QObject replies;  // owns the calls under way
  bool hasLogged = false;

  Implementation(RunLoop& mainLoop, Log& messages) : runLoop(mainLoop), log(messages) {}

  void askRealtimeKit(pid_t tid) {
    if (!threadExists(tid)) return;
    if (!limitRealtimeBursts()) return refused("the limit on real-time bursts could not be set");
    const auto bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) return refused("there is no system bus");
    auto call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.RealtimeKit1"), QStringLiteral("/org/freedesktop/RealtimeKit1"),
        QStringLiteral("org.freedesktop.RealtimeKit1"), QStringLiteral("MakeThreadRealtimeWithPID"));
    call << static_cast<qulonglong>(::getpid()) << static_cast<qulonglong>(tid) << static_cast<uint>(realtimePriority);
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, replyTimeoutMilliseconds), &replies);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &replies, [this, tid, watcher] {
      const QDBusPendingReply<> reply = *watcher;
      if (reply.isError() && threadExists(tid)) refused(reply.error().message().toStdString());
      watcher->deleteLater();
    });
  }

  void refused(const std::string& reason) {
    if (hasLogged) return;
    hasLogged = true;
    log.write(LogLevel::standard, "RealtimeScheduling",
              "The render thread plays at normal priority, because real-time scheduling was refused: " + reason);
  }
};

RealtimeScheduling::RealtimeScheduling(RunLoop& runLoop, Log& log)
    : implementation_(std::make_shared<Implementation>(runLoop, log)) {}

RealtimeScheduling::~RealtimeScheduling() = default;

bool RealtimeScheduling::makeThreadRealtime(pid_t tid) {
  if (setRealtimeDirectly(tid)) return true;
  implementation_->runLoop.post([held = std::weak_ptr(implementation_), tid] {
    if (const auto implementation = held.lock()) implementation->askRealtimeKit(tid);
  });
  return false;
}

}  // namespace tolvane
