#pragma once
// The interface of a sound server and of a stream to a sink: separates decisions about devices from the library that
// connects to the server. Player's thread, unless stated otherwise.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/AudioOutputUnit.h"
#include "platform/DeliveryRecord.h"
#include "platform/DeviceCalls.h"
#include "platform/RunLoop.h"
#include "platform/conversion/RenderPipeline.h"
#include "platform/pipewire/facts/PipeWireFacts.h"

namespace tolvane {

/// Gives the graph what a render callback renders, as 32-bit float at the client's rate. Must not outlive its server.
class SoundServerStream {
 public:
  struct Setup {
    std::uint32_t sink = 0;  ///< its object
    std::string serial;      ///< the sink's
    std::uint32_t rate = 0;  ///< hertz, the client's
    /// Ask the graph, and with it the sink, to run at the client's rate while this stream plays.
    bool leadsRate = false;
    std::uint32_t channels = 0;
    ChannelLayout layout{};                        ///< of the channels
    std::shared_ptr<DeliveryRecord> deliveries{};  ///< of the server's buffers; null: not recorded
  };

  SoundServerStream() = default;
  virtual ~SoundServerStream() = default;
  SoundServerStream(const SoundServerStream&) = delete;
  SoundServerStream& operator=(const SoundServerStream&) = delete;

  /// Makes the stream known to the server, not playing. Bounded.
  [[nodiscard]] virtual OSStatus open() = 0;
  /// REQUIRES: open, stopped. Returns when the sink asks for frames at a settled rate; the first frame that is rendered
  /// is the first that is heard. Bounded. The callback runs on a thread of the server's library.
  [[nodiscard]] virtual OSStatus start(const AURenderCallback& callback) = 0;
  /// No callback is in progress afterwards. What has been rendered counts as heard.
  virtual void stop() = 0;
  /// The server or the sink is gone: frames that the hardware had not played yet count as not heard.
  virtual void markLost(OSStatus status) = 0;

  [[nodiscard]] virtual bool isAlive() const = 0;
  [[nodiscard]] virtual bool isLost() const = 0;
  /// The status that markLost() was given; noErr before.
  [[nodiscard]] virtual OSStatus lostStatus() const = 0;
  /// Client frames between the last start() and the last stop() or loss.
  [[nodiscard]] virtual std::int64_t framesPlayed() const = 0;
  /// Client frames that the hardware has played since the stream was made, as far as the graph reports that; nothing
  /// before the first start(). Never goes back.
  [[nodiscard]] virtual std::optional<std::int64_t> sampleTime() const = 0;
  /// Reading clears it.
  virtual OSStatus takeLastError() = 0;
  [[nodiscard]] virtual std::uint64_t underruns() const = 0;
  /// Frames that the graph asks for at a time; 0: not known yet.
  [[nodiscard]] virtual std::uint32_t quantum() const = 0;
  /// Calls of the sink for frames so far, silence included.
  [[nodiscard]] virtual std::uint64_t cycles() const = 0;
  /// How long the hardware still plays what it was given up to now.
  [[nodiscard]] virtual RunLoop::Duration delay() const = 0;
  [[nodiscard]] virtual PipeWireStreamFacts facts() const = 0;
  [[nodiscard]] virtual const Setup& setup() const = 0;
};

class SoundServer {
 public:
  /// `changed` runs after the facts have changed, `lost` when the server has gone, while its facts can still be read;
  /// every stream must have been marked lost when it returns. Neither runs inside a call of the library.
  struct Events {
    std::function<void()> changed;
    std::function<void()> lost;
  };

  SoundServer() = default;
  virtual ~SoundServer() = default;
  SoundServer(const SoundServer&) = delete;
  SoundServer& operator=(const SoundServer&) = delete;

  /// Call once. Returns when a running server has reported its objects, or after two seconds.
  virtual void open() = 0;
  /// Connects to the server now instead of at the next attempt.
  virtual void reconnect() = 0;
  [[nodiscard]] virtual bool isConnected() const = 0;
  /// Empty until the server has reported all initial objects: a partial list would be misleading.
  [[nodiscard]] virtual const PipeWireFacts& facts() const = 0;
  /// "PipeWire 1.4.2"; without a version until the server states it.
  [[nodiscard]] virtual const std::string& serverName() const = 0;

  /// Names the server as what is waited for, also between the waits below that follow each other.
  [[nodiscard]] virtual DeviceCalls::Wait beginWait() = 0;
  /// Handles what the server reports until the condition holds. False: it did not within the limit, the server has
  /// gone, or the user wants something else (DeviceCalls::interrupt()).
  virtual bool waitUntil(const std::function<bool()>& condition, RunLoop::Duration limit) = 0;
  /// Waits until the server has answered all requests so far.
  virtual bool roundTrip(RunLoop::Duration limit) = 0;

  /// Chooses a card's profile without saving the choice. False: there is no such card (any more).
  virtual bool setProfile(std::uint32_t card, std::uint32_t profile) = 0;
  /// Makes a sink close its hardware, until a stream plays to it again.
  virtual void suspend(std::uint32_t sink) = 0;

  /// `changed` runs on the player's thread, not from inside the stream's functions, when its state or volume have
  /// changed. The stream uses this server until it is destroyed.
  [[nodiscard]] virtual std::unique_ptr<SoundServerStream> makeStream(SoundServerStream::Setup setup,
                                                                      std::unique_ptr<RenderPipeline> pipeline,
                                                                      std::function<void()> changed) = 0;
};

}  // namespace tolvane
