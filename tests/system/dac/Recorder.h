#pragma once
// Writes down every byte that the stream received, a file a run, and what happened, a JSON object a line.
// A run is one unbroken stretch of packets: an underrun shows as one run split in two.

#include <nlohmann/json.hpp>

#include <cstdint>
#include <fstream>
#include <string>
#include <string_view>

#include "tests/system/dac/Bytes.h"
#include "tests/system/dac/ControlEndpoint.h"

namespace tolvane {

class Recorder {
 public:
  using Json = nlohmann::ordered_json;

  /// Writes PREFIX.jsonl and PREFIX.N.raw. Throws std::runtime_error where it cannot.
  explicit Recorder(std::string prefix);

  void event(std::string_view name, Json members);

  void beginRun(const ControlEndpoint& control, int channels);
  /// Bytes whose packets went over the wire up to the bus time `due`; they were seen at `now`. Both in seconds.
  void add(ByteSpan bytes, double due, double now);
  /// The host left the wire without packets for so many seconds, and went on in time.
  void noteDryWire(double seconds);
  void noteCancelled(std::size_t bytes) { run_.cancelledBytes += bytes; }
  void endRun(std::string_view why);
  [[nodiscard]] bool isRunning() const { return run_.isOpen; }

 private:
  struct Run {
    bool isOpen = false;
    std::uint32_t rate = 0;
    std::size_t frameBytes = 1;
    std::size_t bytes = 0;
    std::size_t firstBytes = 0;  // of the first transfer
    std::size_t cancelledBytes = 0;
    double firstDue = 0, lastDue = 0;  // seconds of bus time
    double mostLate = 0;               // seconds that this program came late
    int dryWires = 0;
  };

  std::string prefix_;
  std::ofstream log_;
  std::ofstream file_;
  Run run_;
  int number_ = 0;
};

}  // namespace tolvane
