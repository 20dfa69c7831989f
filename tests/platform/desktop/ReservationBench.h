#pragma once
// A bus of the test's own, and other programs on it that reserve cards, well behaved or not. For the
// test's thread; each other program lives on a thread of its own, so that it answers while the test's thread waits.

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QThread>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane::test {

/// Runs the events of the test's thread until the condition holds. False after ten seconds, which only a failure takes.
bool eventually(const std::function<bool()>& condition);

/// A dbus-daemon that is ready when the constructor returns, and gone when it is killed or destroyed.
class PrivateBus {
 public:
  PrivateBus();

  [[nodiscard]] const std::string& address() const { return address_; }
  void kill() { daemon_.reset(); }
  /// Another one, at the same address. REQUIRES: killed.
  void comeBack();
  /// It stands still, with its socket open, until it goes on; the destructor sets it going again.
  void stop();
  void goOn();
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

 private:
  TemporaryFolder folder_;
  std::optional<ChildProcess> daemon_;
  std::string socket_ = (folder_.path() / "bus").string();
  std::string address_;
};

/// Another program with a connection of its own. What it answers to the question for its priority, and to the request
/// to let go, is up to the test; nothing stands for no answer at all.
class OtherProgram : private QDBusVirtualObject {
 public:
  struct Manners {
    std::optional<QVariant> priority = -20;
    std::optional<QVariant> release = true;
    bool releasesName = false;  ///< on its own, before it answers
    bool allowsReplacement = true;
  };

  OtherProgram(const PrivateBus& bus, Manners manners);
  explicit OtherProgram(const PrivateBus& bus) : OtherProgram(bus, Manners{}) {}
  ~OtherProgram() override;

  /// RequestName; true when the card is its now.
  bool take(int card, bool replaces = false);
  void drop(int card);
  /// Queries the owner of the card; the answer comes while the test's thread runs its events. Nothing: an error.
  std::optional<bool> requestRelease(int card, const QVariant& priority);
  /// A property of the reservation, as its owner reports it.
  std::optional<QVariant> property(int card, const QString& name);
  /// The unique name of the card's owner; empty when there is none.
  QString ownerOf(int card);
  /// The priorities with which others asked it to let go.
  std::vector<int> requests() const;

 private:
  [[nodiscard]] QString introspect(const QString& /*path*/) const override { return {}; }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override;
  QDBusMessage busCall(const char* method, const QVariantList& arguments) const;

  const Manners manners_;
  QThread thread_;
  QDBusConnection connection_;
  mutable std::mutex mutex_;
  std::vector<int> requests_;  // guarded by mutex_
};

}  // namespace tolvane::test
