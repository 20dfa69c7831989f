#include "session/RecordReading.h"

#include <cmath>
#include <limits>

namespace tolvane {

std::optional<nlohmann::json> parsedRecord(std::string_view text) {
  auto record = nlohmann::json::parse(text, nullptr, false);
  return record.is_object() ? std::optional(std::move(record)) : std::nullopt;
}

std::optional<std::int64_t> integerMember(const nlohmann::json& record, const char* key) {
  const auto member = record.find(key);
  if (member == record.end()) return std::nullopt;
  if (member->is_number_unsigned() &&
      member->get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
    return std::nullopt;
  if (member->is_number_integer()) return member->get<std::int64_t>();
  if (!member->is_number_float()) return std::nullopt;
  const auto number = member->get<double>();
  if (number != std::trunc(number) || !(std::abs(number) < 0x1p63)) return std::nullopt;
  return static_cast<std::int64_t>(number);
}

std::optional<double> numberMember(const nlohmann::json& record, const char* key) {
  const auto member = record.find(key);
  return member != record.end() && member->is_number() ? std::optional(member->get<double>()) : std::nullopt;
}

}  // namespace tolvane
