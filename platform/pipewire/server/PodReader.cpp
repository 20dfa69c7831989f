#include "platform/pipewire/server/PodReader.h"

#include <spa/pod/pod.h>
#include <spa/utils/type.h>

#include <algorithm>
#include <cstring>

namespace tolvane {
namespace {

using Bytes = std::span<const std::byte>;

constexpr std::size_t headerBytes = 8;      // a value's size and type
constexpr std::size_t alignment = 8;        // of each value in a struct or an object
constexpr std::size_t mostElements = 4096;  // of an array or a choice: many times what any server sends

/// REQUIRES: the bytes hold it.
template <typename T>
T load(Bytes bytes, std::size_t offset = 0) {
  T value;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

Bytes without(Bytes bytes, std::size_t count) { return bytes.subspan(std::min(count, bytes.size())); }

std::size_t aligned(std::size_t size) { return (size + alignment - 1) / alignment * alignment; }

/// What arrays and choices have in common: a header of one element, and the elements' bytes one after another.
struct Elements {
  std::uint32_t size = 0;
  std::uint32_t type = 0;
  std::size_t count = 0;
  Bytes bytes;
};

std::optional<Elements> elementsIn(Bytes body) {
  if (body.size() < headerBytes) return std::nullopt;
  Elements elements{load<std::uint32_t>(body), load<std::uint32_t>(body, 4), 0, without(body, headerBytes)};
  if (elements.size == 0) return elements.bytes.empty() ? std::optional(elements) : std::nullopt;
  elements.count = elements.bytes.size() / elements.size;
  if (elements.count > mostElements || elements.bytes.size() % elements.size != 0) return std::nullopt;
  return elements;
}

}  // namespace

std::optional<PodReader> PodReader::at(Bytes bytes) {
  if (bytes.size() < headerBytes) return std::nullopt;
  const auto size = load<std::uint32_t>(bytes);
  if (size > bytes.size() - headerBytes) return std::nullopt;
  return PodReader(load<std::uint32_t>(bytes, 4), bytes.subspan(headerBytes, size));
}

std::optional<PodReader> PodReader::of(const spa_pod* pod) {
  if (pod == nullptr) return std::nullopt;
  return at({reinterpret_cast<const std::byte*>(pod), headerBytes + pod->size});
}

template <typename Number>
std::optional<Number> PodReader::number(std::uint32_t type) const {
  if (type_ != type || body_.size() != sizeof(Number)) return std::nullopt;
  return load<Number>(body_);
}

std::optional<bool> PodReader::asBool() const {
  const auto value = number<std::int32_t>(SPA_TYPE_Bool);
  return value ? std::optional(*value != 0) : std::nullopt;
}
std::optional<std::uint32_t> PodReader::asId() const { return number<std::uint32_t>(SPA_TYPE_Id); }
std::optional<std::int32_t> PodReader::asInt() const { return number<std::int32_t>(SPA_TYPE_Int); }
std::optional<std::int64_t> PodReader::asLong() const { return number<std::int64_t>(SPA_TYPE_Long); }
std::optional<float> PodReader::asFloat() const { return number<float>(SPA_TYPE_Float); }
std::optional<double> PodReader::asDouble() const { return number<double>(SPA_TYPE_Double); }

std::optional<std::string> PodReader::asString() const {
  if (type_ != SPA_TYPE_String) return std::nullopt;
  const auto end = std::ranges::find(body_, std::byte{0});
  if (end == body_.end()) return std::nullopt;
  return std::string(reinterpret_cast<const char*>(body_.data()), static_cast<std::size_t>(end - body_.begin()));
}

template <typename Number>
std::optional<std::vector<Number>> PodReader::elements(std::uint32_t type) const {
  if (type_ != SPA_TYPE_Array) return std::nullopt;
  const auto found = elementsIn(body_);
  if (!found) return std::nullopt;
  if (found->count == 0) return std::vector<Number>{};
  if (found->type != type || found->size != sizeof(Number)) return std::nullopt;
  std::vector<Number> numbers(found->count);
  std::memcpy(numbers.data(), found->bytes.data(), found->count * sizeof(Number));
  return numbers;
}

std::optional<std::vector<float>> PodReader::asFloats() const { return elements<float>(SPA_TYPE_Float); }
std::optional<std::vector<std::uint32_t>> PodReader::asIds() const { return elements<std::uint32_t>(SPA_TYPE_Id); }

std::optional<std::vector<std::int32_t>> PodReader::asInts() const { return elements<std::int32_t>(SPA_TYPE_Int); }

std::optional<PodReader::Choice> PodReader::asChoice() const {
  constexpr std::size_t kindAndFlags = 8;
  if (type_ != SPA_TYPE_Choice || body_.size() < kindAndFlags) return std::nullopt;
  const auto found = elementsIn(without(body_, kindAndFlags));
  if (!found || found->count == 0) return std::nullopt;
  Choice choice{load<std::uint32_t>(body_), {}};
  for (std::size_t i = 0; i < found->count; ++i)
    choice.values.push_back(PodReader(found->type, found->bytes.subspan(i * found->size, found->size)));
  return choice;
}

PodReader PodReader::fixed() const {
  const auto choice = asChoice();
  return choice && choice->kind == SPA_CHOICE_None ? choice->values.front() : *this;
}

std::optional<std::vector<PodReader>> PodReader::asStruct() const {
  if (type_ != SPA_TYPE_Struct) return std::nullopt;
  std::vector<PodReader> fields;
  for (Bytes rest = body_; !rest.empty();) {
    const auto field = at(rest);
    if (!field) return std::nullopt;
    fields.push_back(*field);
    rest = without(rest, headerBytes + aligned(field->body_.size()));
  }
  return fields;
}

std::optional<PodReader::Object> PodReader::asObject() const {
  constexpr std::size_t typeAndId = 8;
  constexpr std::size_t keyAndFlags = 8;
  if (type_ != SPA_TYPE_Object || body_.size() < typeAndId) return std::nullopt;
  Object object{load<std::uint32_t>(body_), load<std::uint32_t>(body_, 4), {}};
  for (Bytes rest = without(body_, typeAndId); !rest.empty();) {
    if (rest.size() < keyAndFlags) return std::nullopt;
    const auto value = at(without(rest, keyAndFlags));
    if (!value) return std::nullopt;
    object.properties.push_back({load<std::uint32_t>(rest), value});
    rest = without(rest, keyAndFlags + headerBytes + aligned(value->body_.size()));
  }
  return object;
}

bool PodReader::isWellFormed(int mostNested) const {
  if (mostNested == 0) return false;
  const auto isInner = [mostNested](const PodReader& value) { return value.isWellFormed(mostNested - 1); };
  switch (type_) {
    case SPA_TYPE_Bool:
      return asBool().has_value();
    case SPA_TYPE_Id:
      return asId().has_value();
    case SPA_TYPE_Int:
      return asInt().has_value();
    case SPA_TYPE_Long:
      return asLong().has_value();
    case SPA_TYPE_Float:
      return asFloat().has_value();
    case SPA_TYPE_Double:
      return asDouble().has_value();
    case SPA_TYPE_String:
      return asString().has_value();
    case SPA_TYPE_Array:
      return asFloats() || asIds() || asInts();
    case SPA_TYPE_Choice: {
      const auto choice = asChoice();
      const bool isRange = choice && (choice->kind == SPA_CHOICE_Range || choice->kind == SPA_CHOICE_Step);
      return choice && choice->values.size() >= (isRange ? 3U : 1U) && std::ranges::all_of(choice->values, isInner);
    }
    case SPA_TYPE_Struct: {
      const auto fields = asStruct();
      return fields && std::ranges::all_of(*fields, isInner);
    }
    case SPA_TYPE_Object: {
      const auto object = asObject();
      return object &&
             std::ranges::all_of(object->properties, isInner, [](const Property& property) { return *property.value; });
    }
    default:  // nothing that is read here
      return true;
  }
}

std::optional<PodReader> PodReader::Object::find(std::uint32_t key) const {
  const auto found = std::ranges::find(properties, key, &Property::key);
  return found == properties.end() ? std::nullopt : found->value;
}

}  // namespace tolvane
