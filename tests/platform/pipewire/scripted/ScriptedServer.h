#pragma once
// A sound server that follows a script, over the cards of simulated hardware. A card that it plays on cannot be taken
// until its profile is off or its sink is suspended, as with the real one. The test's thread; manual time.

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "platform/pipewire/server/SoundServer.h"
#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/SimulatedAudioHardware.h"
#include "tests/platform/pipewire/scripted/ScriptedStream.h"

namespace tolvane::test {

/// What may be made to fail.
enum class ServerStage : std::uint8_t { openStream, startStream, switchOff, switchOn };

class ScriptedServer final : public SoundServer {
 public:
  /// The profiles of each card.
  static constexpr std::uint32_t profileOff = 0, profileStereo = 1;
  /// Of its sinks and streams, in the server's numbers: front left, front right.
  static inline const std::vector<std::uint32_t> positions{3, 4};

  /// A running server, with a card for each output of `cardHardware`. All outlive it.
  ScriptedServer(ManualRunLoop& runLoop, Log& log, SimulatedAudioHardware& cardHardware, Events events);

  // SoundServer
  void open() override;
  void reconnect() override;
  bool isConnected() const override { return isConnected_; }
  const PipeWireFacts& facts() const override { return isConnected_ ? facts_ : none_; }
  const std::string& serverName() const override { return name_; }
  DeviceCalls::Wait beginWait() override { return {calls_, "the sound server"}; }
  bool waitUntil(const std::function<bool()>& condition, RunLoop::Duration limit) override;
  bool roundTrip(RunLoop::Duration limit) override;
  bool setProfile(std::uint32_t card, std::uint32_t profile) override;
  void suspend(std::uint32_t sink) override;
  std::unique_ptr<SoundServerStream> makeStream(SoundServerStream::Setup setup,
                                                std::unique_ptr<RenderPipeline> pipeline,
                                                std::function<void()> changed) override;

  // The script. What changes the facts is announced in a later turn, or in the wait that is under way.

  RunLoop::Duration startDelay = std::chrono::milliseconds(10);    ///< of a stream, until the sink asks for frames
  RunLoop::Duration profileDelay = std::chrono::milliseconds(30);  ///< until a profile is chosen
  RunLoop::Duration sinkDelay = std::chrono::milliseconds(200);    ///< from there until the sink is there

  /// Adds the card behind a device of the card path, and its sink. Returns the card's number.
  std::uint32_t addCard(AudioObjectID device);
  void removeSink(std::uint32_t sink);
  /// The card goes, and its sink.
  void unplug(std::uint32_t card);
  /// The card's sink comes (back) now.
  std::uint32_t addSink(std::uint32_t card);
  /// The server ends, or is missing from the beginning.
  void die();
  void comeBack();
  /// Changes what the server reports: levels, another program's streams, what becomes of a sink.
  void change(const std::function<void(PipeWireFacts&)>& what);
  /// Another program reserves the card: the server releases it and removes its sink. `owner` has it until returnCard().
  void yieldCard(std::uint32_t card, std::int32_t owner);
  /// The program has left the card, which is a new object for the server.
  std::uint32_t returnCard(std::uint32_t card);
  [[nodiscard]] std::optional<std::uint32_t> sinkOfCard(std::uint32_t card) const;

  /// The next so many times; a status other than noErr. For a change of profile any status means that it is not made.
  void failNext(ServerStage stage, OSStatus status, int times = 1) { faults_[stage] = {status, times}; }
  /// From now on it holds a card although its profile is off, or no longer does.
  void keepCardsOpen(bool keeps);

  /// Keeps what its streams deliver, 32-bit float samples of both channels.
  void beginListening() { heard_.emplace(); }
  [[nodiscard]] std::vector<float> endListening();

  [[nodiscard]] const std::vector<std::string>& calls() const { return trace_; }  ///< in order, since forgetCalls()
  void forgetCalls() { trace_.clear(); }
  [[nodiscard]] const std::set<ScriptedStream*>& streams() const { return streams_; }
  /// REQUIRES: there is one.
  [[nodiscard]] ScriptedStream& stream() const { return **streams_.begin(); }
  [[nodiscard]] ManualRunLoop& runLoop() { return runLoop_; }

  // For the streams.

  [[nodiscard]] OSStatus take(ServerStage stage);
  [[nodiscard]] const PipeWireSink* sinkOf(const ScriptedStream& stream) const;
  void add(ScriptedStream& stream);
  void remove(ScriptedStream& stream);
  void play(ScriptedStream& stream);
  void rest(ScriptedStream& stream);
  void hear(std::span<const std::byte> samples);
  /// Calls the events of what has changed.
  void settle();

 private:
  struct Fault {
    OSStatus status = noErr;
    int times = 0;
  };

  void announce();
  /// Opens or closes the card: while it is open, the card path refuses it.
  void hold(std::uint32_t card, bool isHeld);

  ManualRunLoop& runLoop_;
  SimulatedAudioHardware& cardHardware_;
  const Events events_;
  DeviceCalls calls_;
  const std::string name_ = "PipeWire 1.4.2";
  PipeWireFacts facts_;
  const PipeWireFacts none_;
  bool isConnected_ = false;
  bool isThere_ = true;
  bool isChanged_ = false;
  bool isLost_ = false;
  bool keepsCardsOpen_ = false;
  std::uint32_t nextId_ = 30;
  std::uint64_t nextSerial_ = 100;
  std::map<std::uint32_t, AudioObjectID> cards_;  ///< its number: the device on the card path
  std::map<ServerStage, Fault> faults_;
  std::set<ScriptedStream*> streams_;
  std::vector<std::string> trace_;
  std::optional<std::vector<float>> heard_;  ///< nothing: it is not listened to
};

}  // namespace tolvane::test
