// Feeds made-up texts to everything that reads what the kernel writes about sound cards: hw_params, status, the process
// of a thread, HD Audio codecs, USB streams and descriptors; and to the rule that takes their bits for proven.

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/AudioHardware.h"
#include "platform/alsa/facts/AlsaFormats.h"
#include "platform/alsa/facts/AlsaProc.h"
#include "platform/alsa/facts/ProvenBits.h"
#include "platform/alsa/facts/UsbChannelStatement.h"
#include "platform/alsa/facts/UsbSampleBits.h"

namespace tolvane {
namespace {

/// What must hold of every text. Ends the program where it does not.
void require(bool condition) {
  if (!condition) std::abort();
}

void readText(std::string_view text) {
  const auto params = parseHwParams(text);
  if (params) {
    require(!params->format.empty() && params->channels > 0);
    require(std::isfinite(params->rate) && params->rate >= 0);
  }
  (void)parseStreamStatus(text);
  const auto process = parseThreadGroup(text);
  require(!process || *process > 0);
  const auto codecBits = parseHdaSignificantBits(text);
  require(!codecBits || *codecBits >= 0);

  for (const std::uint32_t channels : {2U, 6U, 8U}) (void)statesLoudspeakers(text, channels);
  require(!statesLoudspeakers(text, 256));  // more than a descriptor can have

  for (const AlsaFormat& format : alsaFormats()) {
    for (const std::uint32_t channels : {1U, 2U, 8U}) {
      const auto usbBits = parseUsbSignificantBits(text, format.name, channels);
      require(!usbBits || *usbBits > 0);
      for (const std::uint32_t transport :
           {kAudioDeviceTransportTypeUSB, kAudioDeviceTransportTypePCI, kAudioDeviceTransportTypeVirtual}) {
        const auto bits = provenBits({format.layout, transport, 0, usbBits, codecBits});
        require(!bits || (*bits > 0 && *bits <= format.layout.bits));
        if (bits) require(physicalLayout(format.layout, *bits).bits == *bits);
      }
    }
  }
}

}  // namespace
}  // namespace tolvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tolvane::readText({reinterpret_cast<const char*>(data), size});
  return 0;
}
