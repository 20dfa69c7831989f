#pragma once
// Reads what the kernel reports about PCM streams under /proc/asound, and which process a thread belongs to. The
// parsers are pure; the readers are for the player's thread and return nothing if a file does not exist.

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tolvane {

/// Where the adapter finds the system's files; tests pass other folders.
struct AlsaPaths {
  std::string devices = "/dev/snd";
  std::string asound = "/proc/asound";
  std::string processes = "/proc";
  std::string classSound = "/sys/class/sound";
};

/// …/sub0/hw_params of an open and configured substream.
struct AlsaHwParams {
  std::string format;  ///< "S24_3LE"
  std::uint32_t channels = 0;
  double rate = 0;  ///< hertz, from the exact fraction
};

enum class AlsaStreamState : std::uint8_t { closed, open, setup, prepared, running, xrun, draining, paused, other };

/// …/sub0/status.
struct AlsaStreamStatus {
  AlsaStreamState state = AlsaStreamState::closed;
  pid_t ownerThread = 0;  ///< the id of the thread that opened it; 0 when closed
};

/// Nothing for "closed", "no setup", and for text that lacks format, channels or rate.
[[nodiscard]] std::optional<AlsaHwParams> parseHwParams(std::string_view text);
/// Nothing for text that is no status.
[[nodiscard]] std::optional<AlsaStreamStatus> parseStreamStatus(std::string_view text);
/// The thread group, that is, the process, from the text of /proc/<tid>/status.
[[nodiscard]] std::optional<pid_t> parseThreadGroup(std::string_view text);

/// The bits that every output converter of an HD Audio codec has, from the text of its codec#N; 0 if one of them does
/// not state its bits, nothing if there is no such converter.
[[nodiscard]] std::optional<int> parseHdaSignificantBits(std::string_view text);

/// The whole of a small file; nothing when it cannot be read.
[[nodiscard]] std::optional<std::string> readSmallFile(const std::string& path);

/// What the kernel states about the depth of a PCM's samples.
struct AlsaDepthTexts {
  std::optional<std::string> usbStream;  ///< the text of streamN; USB only
  std::optional<int> codecBits;          ///< as parseHdaSignificantBits(), over all of the card's codecs
};
[[nodiscard]] AlsaDepthTexts readAlsaDepthTexts(const AlsaPaths& paths, int card, unsigned device, bool isUsb);

/// A playback substream as the kernel shows it now.
struct AlsaSubstream {
  unsigned index = 0;
  AlsaStreamStatus status;
  pid_t ownerProcess = 0;  ///< 0 when closed or unknown
  std::optional<AlsaHwParams> hwParams;
};

/// Every substream of a playback PCM; empty when there is no such PCM (any more).
[[nodiscard]] std::vector<AlsaSubstream> readSubstreams(const AlsaPaths& paths, int card, unsigned device);

}  // namespace tolvane
