#include "tools/ProbeCommands.h"
#include "engine/waveform/Waveform.h"

namespace tolvane {

void printWaveforms(std::span<const std::string> files, AudioFileServices& services, ProbeOutput& output) {
  for (const std::string& file : files) {
    const FileURL url = fileURLFromArgument(file);
    const auto result = makeWaveformData(services, url, maxWaveformSamples, {});
    if (!result) continue;  // cannot happen: no stop is requested
    const auto& waveform = *result;
    if (waveform)
      output.print({{"url", url.absoluteString()}, {"duration", waveform->duration}, {"samples", waveform->samples}});
    else
      output.print({{"url", url.absoluteString()}, {"error", waveform.error().errorDescription()}});
  }
}

}  // namespace tolvane
