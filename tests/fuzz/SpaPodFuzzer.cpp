// Feeds made-up bytes to everything that reads the server's binary notation: the reader itself, to every depth, and the
// parameters of sinks, streams and cards.

#include <cstring>
#include <memory>
#include <span>

#include "platform/pipewire/facts/ChannelNumbers.h"
#include "platform/pipewire/server/PodReader.h"
#include "platform/pipewire/server/SpaParameters.h"

namespace tolvane {
namespace {

constexpr int deepest = 64;

void walk(const PodReader& value, int depth) {
  (void)value.asBool();
  (void)value.asId();
  (void)value.asInt();
  (void)value.asLong();
  (void)value.asFloat();
  (void)value.asDouble();
  (void)value.asString();
  (void)value.asFloats();
  (void)value.asIds();
  if (depth == deepest) return;
  if (const auto choice = value.asChoice())
    for (const PodReader& one : choice->values) walk(one, depth + 1);
  if (const auto fields = value.asStruct())
    for (const PodReader& field : *fields) walk(field, depth + 1);
  if (const auto object = value.asObject())
    for (const PodReader::Property& property : object->properties) walk(*property.value, depth + 1);
}

/// As the library hands a pod over: aligned, and with as many bytes as it announces.
void readParameters(std::span<const std::byte> bytes) {
  if (bytes.size() < sizeof(spa_pod)) return;
  const auto memory = std::make_unique<std::byte[]>(bytes.size());
  std::memcpy(memory.get(), bytes.data(), bytes.size());
  const auto size = static_cast<std::uint32_t>(bytes.size() - sizeof(spa_pod));
  std::memcpy(memory.get(), &size, sizeof size);
  const auto* pod = reinterpret_cast<const spa_pod*>(memory.get());
  if (const auto format = parseFormat(pod))
    for (const std::uint32_t position : format->positions) (void)channelName(position);
  (void)parseFormatChoice(pod);
  (void)parseProfile(pod);
  NodeProps props;
  applyProps(pod, props);
  (void)settingAlterations(props, "this device");
}

}  // namespace
}  // namespace tolvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // In memory of exactly their size, so that a sanitizer sees a byte that is read behind them.
  const auto memory = std::make_unique<std::byte[]>(size);
  if (size != 0) std::memcpy(memory.get(), data, size);
  const std::span<const std::byte> bytes(memory.get(), size);
  if (const auto value = tolvane::PodReader::at(bytes)) tolvane::walk(*value, 0);
  tolvane::readParameters(bytes);
  return 0;
}
