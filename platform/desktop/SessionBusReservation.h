#pragma once
// The reservation of sound cards on the session bus (org.freedesktop.ReserveDevice1), which sound servers and audio
// programs keep to. Main thread. A question waits half a second at most, acquire() two seconds in all, and none runs
// the event loop; a bus that is missing, dies or does not answer is logged once, and then nothing is reserved.

#include <memory>

#include "platform/DeviceReservation.h"
#include "platform/Log.h"
#include "platform/RunLoop.h"

namespace tolvane {

class SessionBusReservation final : public DeviceReservation {
 public:
  struct Settings {
    std::string applicationName = "Tolvane Music Player";
    /// Above the sound servers (-20 and 0), below what must never be interrupted.
    std::int32_t priority = 30;
    std::string busAddress;  ///< empty: that of the session
  };

  /// Run loop and log outlive it. Needs a QCoreApplication.
  SessionBusReservation(RunLoop& runLoop, Log& log, Settings settings);
  SessionBusReservation(RunLoop& runLoop, Log& log) : SessionBusReservation(runLoop, log, Settings{}) {}
  ~SessionBusReservation() override;

  void setHandlers(Handlers handlers) override;
  [[nodiscard]] std::optional<Owner> owner(int card) override;
  [[nodiscard]] std::expected<Hold, Refusal> acquire(int card, const std::string& deviceName) override;

 private:
  class Implementation;
  std::shared_ptr<Implementation> implementation_;
};

}  // namespace tolvane
