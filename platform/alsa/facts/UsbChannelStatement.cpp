#include "platform/alsa/facts/UsbChannelStatement.h"

#include <cstddef>
#include <vector>

namespace tolvane {
namespace {

// Numbers of the USB specification and of its audio classes.
constexpr std::uint32_t interfaceDescriptor = 4, classInterfaceDescriptor = 0x24;
constexpr std::uint32_t audioClass = 1, controlSubclass = 1, streamingSubclass = 2;
constexpr std::uint32_t audioClass1 = 0x00, audioClass2 = 0x20;  // protocols
constexpr std::uint32_t inputTerminal = 2;                       // of a control interface
constexpr std::uint32_t general = 1, formatType = 2;             // of a streaming interface
constexpr std::uint32_t usbStreaming = 0x0101;                   // the terminal type of what the host sends

/// A little-endian number at `offset`; 0 beyond the end.
std::uint32_t numberAt(std::string_view descriptor, std::size_t offset, std::size_t bytes) {
  std::uint32_t number = 0;
  if (offset + bytes > descriptor.size()) return number;
  for (std::size_t i = 0; i < bytes; ++i)
    number |= std::uint32_t{static_cast<unsigned char>(descriptor[offset + i])} << (8 * i);
  return number;
}

/// Channels, and a bit for each loudspeaker; 0: none is stated.
struct Cluster {
  std::uint32_t channels = 0;
  std::uint32_t loudspeakers = 0;
};

struct Terminal {
  std::uint32_t id = 0;
  Cluster cluster;
};

struct StreamSetting {
  std::uint32_t terminal = 0;
  Cluster cluster;
};

struct AudioFunction {
  std::vector<Terminal> terminals;  ///< where the host's samples enter
  std::vector<StreamSetting> settings;
};

void readControl(std::string_view descriptor, bool isClass2, AudioFunction& function) {
  if (numberAt(descriptor, 2, 1) != inputTerminal || numberAt(descriptor, 4, 2) != usbStreaming) return;
  const Cluster cluster = isClass2 ? Cluster{numberAt(descriptor, 8, 1), numberAt(descriptor, 9, 4)}
                                   : Cluster{numberAt(descriptor, 7, 1), numberAt(descriptor, 8, 2)};
  function.terminals.push_back({numberAt(descriptor, 3, 1), cluster});
}

void readStreaming(std::string_view descriptor, bool isClass2, AudioFunction& function) {
  const std::uint32_t kind = numberAt(descriptor, 2, 1);
  if (kind == general) {
    StreamSetting setting{numberAt(descriptor, 3, 1), {}};
    if (isClass2) setting.cluster = {numberAt(descriptor, 10, 1), numberAt(descriptor, 11, 4)};
    function.settings.push_back(setting);
  } else if (kind == formatType && !isClass2 && !function.settings.empty()) {
    function.settings.back().cluster.channels = numberAt(descriptor, 4, 1);
  }
}

AudioFunction readFunction(std::string_view descriptors) {
  AudioFunction function;
  std::uint32_t subclass = 0;
  std::uint32_t protocol = 0;
  while (!descriptors.empty()) {
    const std::size_t length = numberAt(descriptors, 0, 1);
    if (length < 2 || length > descriptors.size()) return {};
    const std::string_view descriptor = descriptors.substr(0, length);
    descriptors.remove_prefix(length);
    const std::uint32_t type = numberAt(descriptor, 1, 1);
    if (type == interfaceDescriptor) {
      protocol = numberAt(descriptor, 7, 1);
      const bool isKnown = protocol == audioClass1 || protocol == audioClass2;
      subclass = numberAt(descriptor, 5, 1) == audioClass && isKnown ? numberAt(descriptor, 6, 1) : 0;
    } else if (type == classInterfaceDescriptor) {
      if (subclass == controlSubclass) readControl(descriptor, protocol == audioClass2, function);
      if (subclass == streamingSubclass) readStreaming(descriptor, protocol == audioClass2, function);
    }
  }
  return function;
}

}  // namespace

bool statesLoudspeakers(std::string_view descriptors, std::uint32_t channels) {
  const AudioFunction function = readFunction(descriptors);
  bool isStated = false;
  for (const StreamSetting& setting : function.settings) {
    if (setting.cluster.channels != channels) continue;
    for (const Terminal& terminal : function.terminals) {
      if (terminal.id != setting.terminal) continue;  // of a recording
      // What a setting does not state, its terminal does, where that has as many channels.
      const bool isOfTerminal = terminal.cluster.channels == channels && terminal.cluster.loudspeakers != 0;
      if (setting.cluster.loudspeakers == 0 && !isOfTerminal) return false;
      isStated = true;
    }
  }
  return isStated;
}

}  // namespace tolvane
