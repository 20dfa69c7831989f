#pragma once
// Strict reading of saved JSON records: a member of the right type, or nothing. Pure; throws nothing.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

namespace tolvane {

/// Nothing for anything but a JSON object.
[[nodiscard]] std::optional<nlohmann::json> parsedRecord(std::string_view text);

/// Whole numbers within 64 bits, in any JSON notation.
[[nodiscard]] std::optional<std::int64_t> integerMember(const nlohmann::json& record, const char* key);

[[nodiscard]] std::optional<double> numberMember(const nlohmann::json& record, const char* key);

}  // namespace tolvane
