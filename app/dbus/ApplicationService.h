#pragma once
// One running player: the first start owns the program's name on the session bus and accepts the requests of later
// starts and of the desktop (org.freedesktop.Application). Window's thread.

#include <QDBusConnection>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "app/shell/ApplicationIdentity.h"
#include "platform/FileURL.h"

namespace tolvane {

enum class InstanceRole : std::uint8_t {
  first,       ///< this is the player now, or there is no bus to ask
  handedOver,  ///< another instance runs, and has taken over the request
  refused      ///< another one runs and does not answer, or refuses
};

/// Takes the name, or passes the files to its owner; waits at most `patience` for the answer.
/// To be called once, before anything is opened that two players cannot share.
[[nodiscard]] InstanceRole claimInstance(QDBusConnection& bus, const ApplicationIdentity& identity,
                                         std::span<const FileURL> files,
                                         std::chrono::milliseconds patience = std::chrono::seconds(20));

class ApplicationService {
 public:
  struct Handlers {
    std::function<void(const std::string& activationToken)> activate;
    std::function<void(std::vector<FileURL> files, const std::string& activationToken)> open;
    /// False: there is no such action.
    std::function<bool(std::string_view action, const std::string& activationToken)> activateAction;
  };

  ApplicationService(const QDBusConnection& bus, const ApplicationIdentity& identity, Handlers handlers);
  ~ApplicationService();
  ApplicationService(const ApplicationService&) = delete;
  ApplicationService& operator=(const ApplicationService&) = delete;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace tolvane
