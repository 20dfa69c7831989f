#pragma once
// What kind of DAC is plugged in, and its faults. Values only, from the command line.

#include <cstdint>
#include <expected>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tolvane {

/// One alternate setting of the streaming interface.
struct SampleFormat {
  std::string_view option;    // as the command line has it
  std::string_view alsaName;  // as the kernel's driver calls it
  int bytes;                  // of one sample on the wire
  int bits;                   // of these, significant
};

struct DacSettings {
  std::string name = "Test DAC";
  std::string serial = "0001";
  std::vector<std::uint32_t> rates{44100,  48000,  88200,  96000,  176400,
                                   192000, 352800, 384000, 705600, 768000};  // hertz, ascending
  std::vector<SampleFormat> formats;
  int channels = 2;
  std::optional<std::uint32_t> positions;  // of its channels: the bits of a WAVE mask, which are USB's; 0: states none
  std::set<std::uint32_t> refusedRates;    // listed, but refused when set
  double clockErrorPpm = 0;
  std::optional<double>
      volumeDecibels;        // a volume control that stands here at first; it never changes what is recorded
  std::string recordPrefix;  // PREFIX.N.raw and PREFIX.jsonl
  std::string commands;      // a FIFO that is made here

  /// The largest packet of the format, in bytes: one frame more than the nominal number, for a clock that runs fast.
  [[nodiscard]] int packetBytes(const SampleFormat& format) const;
};

/// The text of --help.
[[nodiscard]] std::string_view dacUsage();

/// The settings, or what is wrong with the arguments.
[[nodiscard]] std::expected<DacSettings, std::string> parseDacSettings(std::span<char* const> arguments);

}  // namespace tolvane
