// The contract suite over ALSA, and over PipeWire where it is built with that, on a machine that has the devices. They
// are named by the environment, so that a device that is missing is a failure; a suite without a device fails too,
// unless --gtest_filter leaves it out:
//   TOLVANE_CONTRACT_DEVICES    devices, comma-separated: all suites that need only a device
//   TOLVANE_CONTRACT_LOOPBACK   a loopback card's playing device, '=', the ALSA name to record from
//   TOLVANE_CONTRACT_CONTESTED  a device with one substream, '=', its ALSA name
//   TOLVANE_CONTRACT_REMOVABLE  a device, '=', a command that is given "unplug" or "plug"
// A device is given by a part of its name or of its identity: the latter stays when a sound server names it anew.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "platform/FourCharText.h"
#include "platform/alsa/AlsaAudioHardware.h"
#ifdef TOLVANE_HAS_PIPEWIRE
#include "platform/pipewire/PipeWireAudioHardware.h"
#endif
#include "platform/simulated/MemoryLog.h"
#include "tests/platform/contract/AudioHardwareFixture.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/PollRunLoop.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane::test {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

constexpr std::uint32_t kPreferredRate = 44100;

std::string setting(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

struct NamedDevice {
  std::string name;    // part of the device's name or identity
  std::string detail;  // behind the '='
};

NamedDevice namedDevice(const std::string& text) {
  const auto equals = text.find('=');
  if (equals == std::string::npos) return {text, ""};
  return {text.substr(0, equals), text.substr(equals + 1)};
}

template <typename Interface>
class AlsaFixture : public Interface {
 public:
  /// The test before may have given the device back, or plugged it in, just now: a server has it again some moments later.
  explicit AlsaFixture(NamedDevice named) : named_(std::move(named)) {
    if (!runLoop_.runUntil([this] { return isThere(); }, 10s)) {
      throw std::runtime_error("no device has \"" + named_.name + "\" in its name or identity");
    }
  }

  AudioHardware& hardware() override { return hardware_; }
  AudioObjectID device() override { return device_; }

  AudioStreamBasicDescription clientFormat() override {
    const auto ranges = get<std::vector<AudioValueRange>>(device(), kAudioDevicePropertyAvailableNominalSampleRates);
    double rate = ranges.front().mMinimum;
    for (const auto& range : ranges) {
      if (range.mMinimum <= kPreferredRate && kPreferredRate <= range.mMaximum) rate = kPreferredRate;
    }
    return linearPCM(rate, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
  }

  void pump(RunLoop::Duration duration) override { runLoop_.runFor(duration); }
  bool pumpUntil(const std::function<bool()>& condition, RunLoop::Duration limit) override {
    return runLoop_.runUntil(condition, limit);
  }

 protected:
  [[nodiscard]] const std::string& detail() const { return named_.detail; }

 private:
  /// Whether the device has come by now.
  bool isThere() {
    const auto ids = get<std::vector<std::uint32_t>>(kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
    const auto found = std::ranges::find_if(ids, [this](AudioObjectID id) {
      return get<std::string>(id, kAudioObjectPropertyName).find(named_.name) != std::string::npos ||
             get<std::string>(id, kAudioDevicePropertyDeviceUID).find(named_.name) != std::string::npos;
    });
    if (found != ids.end()) device_ = *found;
    return device_ != kAudioObjectUnknown;
  }

  template <typename T>
  T get(AudioObjectID object, FourCharCode selector) {
    const auto value =
        hardware_.propertyData(object, {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain});
    if (!value) throw std::runtime_error("cannot read '" + fourCharText(selector) + "'");
    return std::get<T>(*value);
  }

  NamedDevice named_;
  PollRunLoop runLoop_;
  MemoryLog log_;
#ifdef TOLVANE_HAS_PIPEWIRE
  AlsaAudioHardware cardHardware_{runLoop_, log_, {}};
  PipeWireAudioHardware hardware_{runLoop_, log_, cardHardware_};
#else
  AlsaAudioHardware hardware_{runLoop_, log_, {}};
#endif
  AudioObjectID device_ = kAudioObjectUnknown;
};

class AlsaLoopbackFixture final : public AlsaFixture<AudibleHardwareFixture> {
 public:
  using AlsaFixture::AlsaFixture;

  void beginListening() override {
    const auto rate = std::to_string(static_cast<std::uint32_t>(clientFormat().mSampleRate));
    recording_ = folder_.path() / "heard.raw";
    recorder_.emplace(std::vector<std::string>{"arecord", "-q", "-D", detail(), "-t", "raw", "-f", "S16_LE", "-c", "2",
                                               "-r", rate, recording_.string()});
    std::error_code none;
    if (!pumpUntil([&] { return std::filesystem::file_size(recording_, none) > 0 && !none; }, 10s)) {
      throw std::runtime_error("nothing is recorded from " + detail());
    }
  }

  std::vector<std::uint32_t> endListening() override {
    pump(1s);  // what is on its way
    recorder_.reset();
    std::ifstream file(recording_, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    std::vector<std::uint32_t> frames(bytes.size() / sizeof(std::uint32_t));
    std::memcpy(frames.data(), bytes.data(), frames.size() * sizeof(std::uint32_t));
    return frames;
  }

 private:
  TemporaryFolder folder_;
  std::filesystem::path recording_;
  std::optional<ChildProcess> recorder_;
};

class AlsaContestedFixture final : public AlsaFixture<ContestedHardwareFixture> {
 public:
  using AlsaFixture::AlsaFixture;

  std::int32_t occupy() override {
    const auto rate = std::to_string(static_cast<std::uint32_t>(clientFormat().mSampleRate));
    other_.emplace(std::vector<std::string>{"aplay", "-q", "-D", detail(), "-t", "raw", "-f", "S16_LE", "-c", "2", "-r",
                                            rate, "/dev/zero"});
    pump(1s);  // it opens the device
    return other_->pid();
  }
  std::string occupantName() const override { return "aplay"; }
  void leave() override { other_.reset(); }

 private:
  std::optional<ChildProcess> other_;
};

class AlsaRemovableFixture final : public AlsaFixture<RemovableHardwareFixture> {
 public:
  using AlsaFixture::AlsaFixture;
  ~AlsaRemovableFixture() override {
    if (isUnplugged_) plugIn();
  }

  void unplug() override {
    isUnplugged_ = true;
    sendCommand("unplug");
  }
  void plugIn() override {
    isUnplugged_ = false;
    sendCommand("plug");
    pump(3s);  // the kernel and udev take their time
  }

 private:
  void sendCommand(const std::string& what) {
    if (std::system((detail() + " " + what).c_str()) != 0)
      std::fprintf(stderr, "%s %s failed\n", detail().c_str(), what.c_str());
  }

  bool isUnplugged_ = false;
};

template <typename Interface, typename Fixture>
std::vector<FixtureMaker<Interface>> makers(const char* variable) {
  std::vector<FixtureMaker<Interface>> found;
  std::string rest = setting(variable);
  while (!rest.empty()) {
    const auto comma = rest.find(',');
    // A command or an ALSA name may hold commas: only a list of plain names is split.
    const bool isList = rest.find('=') == std::string::npos && comma != std::string::npos;
    const NamedDevice named = namedDevice(isList ? rest.substr(0, comma) : rest);
    rest = isList ? rest.substr(comma + 1) : "";
    std::string name = "alsa";
    for (const char c : named.name) {
      if (std::isalnum(static_cast<unsigned char>(c)) != 0) name += c;
    }
    found.push_back({name, [named] { return std::make_unique<Fixture>(named); }});
  }
  return found;
}

}  // namespace

std::vector<FixtureMaker<AudioHardwareFixture>> hardwareFixtures() {
  return makers<AudioHardwareFixture, AlsaFixture<AudioHardwareFixture>>("TOLVANE_CONTRACT_DEVICES");
}
std::vector<FixtureMaker<AudibleHardwareFixture>> audibleFixtures() {
  return makers<AudibleHardwareFixture, AlsaLoopbackFixture>("TOLVANE_CONTRACT_LOOPBACK");
}
std::vector<FixtureMaker<ContestedHardwareFixture>> contestedFixtures() {
  return makers<ContestedHardwareFixture, AlsaContestedFixture>("TOLVANE_CONTRACT_CONTESTED");
}
std::vector<FixtureMaker<RemovableHardwareFixture>> removableFixtures() {
  return makers<RemovableHardwareFixture, AlsaRemovableFixture>("TOLVANE_CONTRACT_REMOVABLE");
}

}  // namespace tolvane::test
