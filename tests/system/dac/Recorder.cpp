#include "tests/system/dac/Recorder.h"

#include <algorithm>
#include <stdexcept>

namespace tolvane {

Recorder::Recorder(std::string prefix) : prefix_(std::move(prefix)), log_(prefix_ + ".jsonl") {
  if (!log_) throw std::runtime_error("cannot write " + prefix_ + ".jsonl");
}

void Recorder::event(std::string_view name, Json members) {
  Json line{{"event", name}};
  line.update(members);
  log_ << line.dump() << '\n' << std::flush;
}

void Recorder::beginRun(const ControlEndpoint& control, int channels) {
  const SampleFormat* const format = control.format();
  run_ = Run{};
  run_.isOpen = true;
  run_.rate = control.rate();
  run_.frameBytes = static_cast<std::size_t>(format ? format->bytes * channels : 1);
  const std::string name = prefix_ + "." + std::to_string(++number_) + ".raw";
  file_ = std::ofstream(name, std::ios::binary);
  if (!file_) throw std::runtime_error("cannot write " + name);
  event("start", {{"run", number_},
                  {"file", name},
                  {"format", format ? format->alsaName : "none"},
                  {"rate", run_.rate},
                  {"channels", channels},
                  {"volume", control.volumeDecibels()}});
}

void Recorder::add(ByteSpan bytes, double due, double now) {
  file_.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (run_.firstDue == 0) {
    run_.firstDue = due;
    run_.firstBytes = bytes.size();
  }
  run_.lastDue = due;
  run_.bytes += bytes.size();
  run_.mostLate = std::max(run_.mostLate, now - due);
}

void Recorder::noteDryWire(double seconds) {
  ++run_.dryWires;
  event("dry", {{"seconds", seconds}});
}

void Recorder::endRun(std::string_view why) {
  if (!run_.isOpen) return;
  run_.isOpen = false;
  file_.close();
  if (!file_) throw std::runtime_error("a recording could not be written whole");
  const double seconds = run_.lastDue - run_.firstDue;
  const double frames = static_cast<double>(run_.bytes - run_.firstBytes) / static_cast<double>(run_.frameBytes);
  event("stop", {{"run", number_},
                 {"why", why},
                 {"bytes", run_.bytes},
                 {"frames", run_.bytes / run_.frameBytes},
                 {"rate", run_.rate},
                 {"framesPerSecond", seconds > 0 ? frames / seconds : 0},
                 {"cancelledBytes", run_.cancelledBytes},
                 {"dryWires", run_.dryWires},
                 {"mostLateMilliseconds", run_.mostLate * 1e3}});
}

}  // namespace tolvane
