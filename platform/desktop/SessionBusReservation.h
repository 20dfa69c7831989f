#pragma once
// The reservation of sound cards on the session bus (org.freedesktop.ReserveDevice1), which sound servers and audio
// programs use. Player's thread. owner() waits a second at most, acquire() two, and neither runs the event loop; a bus
// that is missing, dies or does not answer is logged once and left alone for a while. Cards stay reserved while the
// connection exists, and are reserved again when there is a new one.

#include <memory>

#include "platform/DeviceReservation.h"
#include "platform/Log.h"
#include "platform/RunLoop.h"

namespace tolvane {

class SessionBusReservation final : public DeviceReservation {
 public:
  struct Settings {
    std::string applicationName = "Tolvane Music Player";
    /// Above the sound servers (-20 and 0), below programs that must never be interrupted.
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
