#include "tests/system/dac/UsbDac.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <sstream>
#include <stdexcept>

namespace tolvane {
namespace {

constexpr double kLongestWait = 1;    // seconds
constexpr double kIdleEndsRun = 0.2;  // seconds without packets
constexpr double kDryWire = 0.002;    // seconds without packets that count as the host's delay

double secondsNow() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

timespec timespecFrom(double seconds) {
  const double whole = std::floor(seconds);
  return {static_cast<time_t>(whole), static_cast<long>((seconds - whole) * 1e9)};
}

/// The packets' bytes without the holes that a host may leave between them.
Bytes packed(const UsbIpSubmit& request) {
  Bytes bytes;
  bytes.reserve(request.data.size());
  for (const IsoPacket& packet : request.packets) {
    if (packet.offset > request.data.size() || packet.length > request.data.size() - packet.offset)
      throw std::runtime_error("a packet lies outside of its transfer");
    const auto begin = request.data.begin() + packet.offset;
    bytes.insert(bytes.end(), begin, begin + packet.length);
  }
  return bytes;
}

}  // namespace

UsbDac::UsbDac(DacSettings settings)
    : settings_(std::move(settings)), control_(settings_, *this), recorder_(settings_.recordPrefix) {}

void UsbDac::run(int commandDescriptor, int quitDescriptor) {
  plugIn();
  while (!mustQuit_) {
    std::array<pollfd, 3> watched{
        {{port_.descriptor(), POLLIN, 0}, {commandDescriptor, POLLIN, 0}, {quitDescriptor, POLLIN, 0}}};
    const timespec wait = timespecFrom(std::max(0.0, nextEvent(secondsNow()) - secondsNow()));
    if (ppoll(watched.data(), watched.size(), &wait, nullptr) < 0 && errno != EINTR)
      throw std::runtime_error("cannot wait for the host");
    const double now = secondsNow();
    if (port_.isPluggedIn() && watched[0].revents != 0) receive(now);
    completeDue(now);
    if (port_.isPluggedIn() && !port_.send(replies_.bytes())) pull("host");
    replies_.clear();
    if (recorder_.isRunning() && samples_.isEmpty() && now > samples_.end() + kIdleEndsRun) recorder_.endRun("idle");
    if (watched[1].revents != 0) readCommands(commandDescriptor);
    if (watched[2].revents != 0) mustQuit_ = true;
  }
  pull("quit");
}

double UsbDac::nextEvent(double now) const {
  double next = now + kLongestWait;
  for (const TransferQueue* queue : {&samples_, &feedback_})
    if (const auto due = queue->nextDue()) next = std::min(next, *due);
  if (recorder_.isRunning() && samples_.isEmpty()) next = std::min(next, samples_.end() + kIdleEndsRun);
  return next;
}

void UsbDac::plugIn() {
  if (port_.isPluggedIn()) return;
  requests_.clear();
  replies_.clear();
  samples_ = {};
  feedback_ = {};
  unanswered_.clear();
  control_.reset();
  if (const auto done = port_.plugIn(); !done) throw std::runtime_error(done.error());
  recorder_.event("attach", {{"name", settings_.name}});
}

void UsbDac::pull(std::string_view why) {
  if (!port_.isPluggedIn()) return;
  recorder_.endRun("detach");
  port_.pull();
  samples_ = {};
  feedback_ = {};
  recorder_.event("detach", {{"why", why}});
}

void UsbDac::readCommands(int descriptor) {
  std::array<char, 4096> text{};
  const ssize_t count = read(descriptor, text.data(), text.size());
  if (count <= 0) return;
  commands_.append(text.data(), static_cast<std::size_t>(count));
  for (std::size_t end; (end = commands_.find('\n')) != commands_.npos; commands_.erase(0, end + 1))
    command(commands_.substr(0, end));
}

void UsbDac::command(const std::string& line) {
  std::istringstream words(line);
  std::string word;
  std::uint32_t rate = 0;
  words >> word;
  const bool hasRate = static_cast<bool>(words >> rate);
  if (word == "detach") {
    pull("command");
  } else if (word == "attach") {
    plugIn();
  } else if (word == "quit") {
    mustQuit_ = true;
  } else if (word == "refuse" && hasRate) {
    settings_.refusedRates.insert(rate);
  } else if (word == "allow" && hasRate) {
    settings_.refusedRates.erase(rate);
  } else if (word == "silent") {
    isSilent_ = true;
  } else if (word == "answer") {
    answerAgain();
  } else {
    throw std::runtime_error("unknown command: " + line);
  }
  recorder_.event("command", {{"line", line}});
}

void UsbDac::receive(double now) {
  const auto bytes = port_.receive();
  if (!bytes) return pull("host");
  requests_.append(*bytes);
  for (;;) {
    auto request = requests_.next();
    if (!request) throw std::runtime_error(request.error());
    if (!*request) return;
    if (auto* const submit = std::get_if<UsbIpSubmit>(&**request))
      take(*submit, now);
    else
      take(std::get<UsbIpUnlink>(**request));
  }
}

void UsbDac::take(UsbIpSubmit& request, double now) {
  if (request.endpoint == 0) return answerControl(request);
  if (request.endpoint != 1 || request.packets.empty()) return replies_.submitted(request.sequence, -EPIPE, 0, {}, {});
  const bool isContinued = recorder_.isRunning();
  TransferQueue& queue = request.isToHost ? feedback_ : samples_;
  const double gap = queue.push(std::move(request), now, isContinued);
  if (&queue == &samples_ && isContinued && gap > kDryWire) recorder_.noteDryWire(gap);
}

void UsbDac::take(const UsbIpUnlink& request) {
  if (const auto held = unanswered_.find(request.victim); held != unanswered_.end()) {
    held->second = request.sequence;
    return;
  }
  auto victim = samples_.cancel(request.victim);
  if (victim) {
    recorder_.noteCancelled(victim->request.data.size());
    if (samples_.isEmpty()) recorder_.endRun("unlink");
  } else {
    victim = feedback_.cancel(request.victim);
  }
  replies_.unlinked(request.sequence, victim ? -ECONNRESET : 0);
}

/// Pending requests are refused, or cancelled.
void UsbDac::answerAgain() {
  isSilent_ = false;
  for (const auto& [sequence, unlink] : unanswered_) {
    if (unlink) {
      replies_.unlinked(*unlink, -ECONNRESET);
    } else {
      replies_.submitted(sequence, -EPIPE, 0, {}, {});
    }
  }
  unanswered_.clear();
}

void UsbDac::answerControl(const UsbIpSubmit& request) {
  if (isSilent_) {
    unanswered_.emplace(request.sequence, std::nullopt);
    recorder_.event("unanswered", {{"type", request.setup[0]}, {"code", request.setup[1]}});
    return;
  }
  auto answer = control_.answer(request.setup, request.data);
  if (!answer) return replies_.submitted(request.sequence, -EPIPE, 0, {}, {});
  if (answer->size() > request.length) answer->resize(request.length);
  const auto actual = request.isToHost ? static_cast<std::uint32_t>(answer->size()) : request.length;
  replies_.submitted(request.sequence, 0, actual, *answer, {});
}

void UsbDac::completeDue(double now) {
  while (auto transfer = samples_.takeDue(now)) completeSamples(std::move(*transfer), now);
  while (auto transfer = feedback_.takeDue(now)) completeFeedback(std::move(*transfer));
}

void UsbDac::completeSamples(PendingTransfer transfer, double now) {
  const Bytes bytes = packed(transfer.request);
  for (IsoPacket& packet : transfer.request.packets) {
    packet.actualLength = packet.length;
    packet.status = 0;
  }
  replies_.submitted(transfer.request.sequence, 0, static_cast<std::uint32_t>(bytes.size()), {},
                     transfer.request.packets);
  if (!recorder_.isRunning()) recorder_.beginRun(control_, settings_.channels);
  recorder_.add(bytes, transfer.due, now);
}

void UsbDac::completeFeedback(PendingTransfer transfer) {
  LittleEndian values;
  for (IsoPacket& packet : transfer.request.packets) {
    values.doubleWord(clock_.next(control_.rate(), settings_.clockErrorPpm));
    packet.actualLength = 4;
    packet.status = 0;
  }
  replies_.submitted(transfer.request.sequence, 0, values.size(), values.value(), transfer.request.packets);
}

void UsbDac::configured(int configuration) { recorder_.event("configured", {{"configuration", configuration}}); }

void UsbDac::alternateSelected(int alternate) {
  recorder_.endRun("alternate");
  recorder_.event("alternate", {{"alternate", alternate}});
}

void UsbDac::rateRequested(std::uint32_t rate, bool isAccepted) {
  if (isAccepted) recorder_.endRun("rate");
  recorder_.event("rate", {{"rate", rate}, {"isAccepted", isAccepted}});
}

void UsbDac::volumeSet(double decibels) { recorder_.event("volume", {{"decibels", decibels}}); }

void UsbDac::muteSet(bool isMuted) { recorder_.event("mute", {{"isMuted", isMuted}}); }

}  // namespace tolvane
