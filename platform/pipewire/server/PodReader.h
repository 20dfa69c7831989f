#pragma once
// Reads values in the server's binary notation (SPA pods). Any client of the server can have written them: every size,
// count and type is checked before a byte is read, and no byte outside of the given ones is. Values; any thread.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

struct spa_pod;

namespace tolvane {

class PodReader {
 public:
  struct Choice;
  struct Property;
  struct Object;

  /// The value at the beginning of the bytes; nothing where they do not hold it in full.
  static std::optional<PodReader> at(std::span<const std::byte> bytes);
  /// What the library hands over: it has checked that its message holds as many bytes as the value announces.
  static std::optional<PodReader> of(const spa_pod* pod);

  [[nodiscard]] std::uint32_t type() const { return type_; }

  // Nothing for a value of another type, or of another size than its type has.
  [[nodiscard]] std::optional<bool> asBool() const;
  [[nodiscard]] std::optional<std::uint32_t> asId() const;
  [[nodiscard]] std::optional<std::int32_t> asInt() const;
  [[nodiscard]] std::optional<std::int64_t> asLong() const;
  [[nodiscard]] std::optional<float> asFloat() const;
  [[nodiscard]] std::optional<double> asDouble() const;
  /// Up to its end mark, without which there is none.
  [[nodiscard]] std::optional<std::string> asString() const;

  /// The elements of an array; nothing where they are of another type or size, or more than channels can be.
  [[nodiscard]] std::optional<std::vector<float>> asFloats() const;
  [[nodiscard]] std::optional<std::vector<std::uint32_t>> asIds() const;
  [[nodiscard]] std::optional<std::vector<std::int32_t>> asInts() const;

  [[nodiscard]] std::optional<Choice> asChoice() const;
  /// The value itself, or the only one of a choice that leaves none.
  [[nodiscard]] PodReader fixed() const;

  /// Nothing where one of the fields does not fit.
  [[nodiscard]] std::optional<std::vector<PodReader>> asStruct() const;
  [[nodiscard]] std::optional<Object> asObject() const;

  /// Whether all that lies in it has the size that its type asks for, down to values in so many others.
  [[nodiscard]] bool isWellFormed(int mostNested = 16) const;

 private:
  PodReader(std::uint32_t type, std::span<const std::byte> body) : type_(type), body_(body) {}

  template <typename Number>
  [[nodiscard]] std::optional<Number> number(std::uint32_t type) const;
  template <typename Number>
  [[nodiscard]] std::optional<std::vector<Number>> elements(std::uint32_t type) const;

  std::uint32_t type_;
  std::span<const std::byte> body_;
};

/// The first of the values is the preferred one.
struct PodReader::Choice {
  std::uint32_t kind = 0;
  std::vector<PodReader> values;
};

struct PodReader::Property {
  std::uint32_t key = 0;
  std::optional<PodReader> value;  ///< always there in what asObject() returns
};

struct PodReader::Object {
  std::uint32_t type = 0;
  std::uint32_t id = 0;
  std::vector<Property> properties;

  /// The first property of that key; nothing where there is none.
  [[nodiscard]] std::optional<PodReader> find(std::uint32_t key) const;
};

}  // namespace tolvane
