#include "platform/AudioHardware.h"

namespace tolvane {
namespace {

struct ValueSize {
  std::size_t operator()(std::uint32_t) const { return 4; }
  std::size_t operator()(std::int32_t) const { return 4; }
  std::size_t operator()(double) const { return 8; }
  std::size_t operator()(const std::string&) const { return 8; }
  std::size_t operator()(const std::vector<std::uint32_t>& ids) const { return 4 * ids.size(); }
  std::size_t operator()(const AudioStreamBasicDescription&) const { return 40; }
  std::size_t operator()(const std::vector<AudioValueRange>& ranges) const { return 16 * ranges.size(); }
  std::size_t operator()(const std::vector<SampleAlteration>& alterations) const { return 16 * alterations.size(); }
};

}  // namespace

std::uint32_t audioPropertyValueSize(const AudioPropertyValue& value) {
  return static_cast<std::uint32_t>(std::visit(ValueSize{}, value));
}

}  // namespace tolvane
