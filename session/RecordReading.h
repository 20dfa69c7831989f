#pragma once
// Strict reading of saved JSON records: a member is there and of its type, or there is none. Pure, throws nothing.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

namespace tolvane {

/// Nothing for anything but a JSON object.
[[nodiscard]] std::optional<nlohmann::json> parsedRecord(std::string_view text);

/// Whole numbers within 64 bits, however they are written.
[[nodiscard]] std::optional<std::int64_t> integerMember(const nlohmann::json& record, const char* key);

[[nodiscard]] std::optional<double> numberMember(const nlohmann::json& record, const char* key);

}  // namespace tolvane
