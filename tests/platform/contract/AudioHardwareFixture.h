#pragma once
// What an adapter supplies to be tested by the contract suite: its hardware, one output device that no other program
// uses, and time that passes with the run loop running. The test's thread.

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "platform/AudioHardware.h"
#include "platform/RunLoop.h"

namespace tolvane::test {

class AudioHardwareFixture {
 public:
  virtual ~AudioHardwareFixture() = default;

  [[nodiscard]] virtual AudioHardware& hardware() = 0;
  /// Has hog mode, at least two nominal rates that can be written, and plays clientFormat().
  [[nodiscard]] virtual AudioObjectID device() = 0;
  /// Stereo, 16-bit; its rate is one that the device has.
  [[nodiscard]] virtual AudioStreamBasicDescription clientFormat() = 0;

  virtual void pump(RunLoop::Duration duration) = 0;
  /// Until the condition holds; false when `limit` passed before.
  [[nodiscard]] virtual bool pumpUntil(const std::function<bool()>& condition, RunLoop::Duration limit) = 0;
};

/// A device whose output can be listened to, sample by sample.
class AudibleHardwareFixture : public AudioHardwareFixture {
 public:
  virtual void beginListening() = 0;
  /// The frames of clientFormat() that came out since then, silence among them.
  [[nodiscard]] virtual std::vector<std::uint32_t> endListening() = 0;
};

/// A device that can be unplugged.
class RemovableHardwareFixture : public AudioHardwareFixture {
 public:
  virtual void unplug() = 0;
  virtual void plugIn() = 0;
  /// Whether a stopped unit finds the device again when it is started, as it must where a sound server may have been
  /// restarted in a pause.
  [[nodiscard]] virtual bool findsItsWayAgain() const { return false; }
};

/// A device that another process can take.
class ContestedHardwareFixture : public AudioHardwareFixture {
 public:
  /// The pid of the process that owns it now.
  virtual std::int32_t occupy() = 0;
  [[nodiscard]] virtual std::string occupantName() const = 0;
  virtual void leave() = 0;
};

/// How a test gets its fixture; the name becomes part of the test's name.
template <typename Fixture>
struct FixtureMaker {
  std::string name;
  std::function<std::unique_ptr<Fixture>()> make;

  friend void PrintTo(const FixtureMaker& maker, std::ostream* stream) { *stream << maker.name; }
};

// What this program tests: each program of the suite defines these for its adapter.
[[nodiscard]] std::vector<FixtureMaker<AudioHardwareFixture>> hardwareFixtures();
[[nodiscard]] std::vector<FixtureMaker<AudibleHardwareFixture>> audibleFixtures();
[[nodiscard]] std::vector<FixtureMaker<ContestedHardwareFixture>> contestedFixtures();
[[nodiscard]] std::vector<FixtureMaker<RemovableHardwareFixture>> removableFixtures();

}  // namespace tolvane::test
