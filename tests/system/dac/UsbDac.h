#pragma once
// The DAC itself: takes the host's requests, lets each packet arrive when the bus would have carried it, answers with
// its clock's feedback, and obeys a FIFO's commands (pull the cable, refuse a rate, answer no requests). One thread,
// which runs until it receives a command to quit.

#include <csignal>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "tests/system/dac/BusClock.h"
#include "tests/system/dac/ControlEndpoint.h"
#include "tests/system/dac/DacSettings.h"
#include "tests/system/dac/Recorder.h"
#include "tests/system/dac/UsbIp.h"
#include "tests/system/dac/VirtualPort.h"

namespace tolvane {

class UsbDac : private ControlListener {
 public:
  explicit UsbDac(DacSettings settings);

  /// Plugs in, and returns after "quit" or when `quitDescriptor` becomes readable; the device is pulled then.
  /// Throws std::runtime_error where it cannot go on.
  void run(int commandDescriptor, int quitDescriptor);

 private:
  void plugIn();
  void pull(std::string_view why);
  void command(const std::string& line);
  void readCommands(int descriptor);

  void receive(double now);
  void take(UsbIpSubmit& request, double now);
  void take(const UsbIpUnlink& request);
  void answerControl(const UsbIpSubmit& request);
  void answerAgain();
  void completeSamples(PendingTransfer transfer, double now);
  void completeFeedback(PendingTransfer transfer);
  void completeDue(double now);
  [[nodiscard]] double nextEvent(double now) const;

  void configured(int configuration) override;
  void alternateSelected(int alternate) override;
  void rateRequested(std::uint32_t rate, bool isAccepted) override;
  void volumeSet(double decibels) override;
  void muteSet(bool isMuted) override;

  DacSettings settings_;
  ControlEndpoint control_;
  Recorder recorder_;
  VirtualPort port_;
  UsbIpReader requests_;
  UsbIpReplies replies_;
  TransferQueue samples_;
  TransferQueue feedback_;
  FeedbackClock clock_;
  std::string commands_;  // what came of a line
  /// Requests that were not answered, by number, and by which number the host took each back, where it did: that is
  /// not answered either, so that the host's driver waits for ever.
  std::map<std::uint32_t, std::optional<std::uint32_t>> unanswered_;
  bool isSilent_ = false;
  bool mustQuit_ = false;
};

}  // namespace tolvane
