#pragma once
// Pods as bytes, well-formed or not: for tests of what reads them. Independent of the library's own builder.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string_view>
#include <vector>

namespace tolvane::test {

using PodBytes = std::vector<std::byte>;

inline void append(PodBytes& bytes, const void* data, std::size_t size) {
  const auto* from = static_cast<const std::byte*>(data);
  bytes.insert(bytes.end(), from, from + size);
}
inline void append(PodBytes& bytes, std::uint32_t word) { append(bytes, &word, sizeof word); }
inline void append(PodBytes& bytes, const PodBytes& more) { append(bytes, more.data(), more.size()); }

/// A value with the announced size of its body, padded as in a struct.
inline PodBytes pod(std::uint32_t type, const PodBytes& body, std::uint32_t announced) {
  PodBytes bytes;
  append(bytes, announced);
  append(bytes, type);
  append(bytes, body);
  bytes.resize((bytes.size() + 7) / 8 * 8);
  return bytes;
}
inline PodBytes pod(std::uint32_t type, const PodBytes& body) {
  return pod(type, body, static_cast<std::uint32_t>(body.size()));
}

template <typename Number>
PodBytes numberPod(std::uint32_t type, Number number) {
  PodBytes body;
  append(body, &number, sizeof number);
  return pod(type, body);
}

inline PodBytes textBody(std::string_view text) {
  PodBytes body;
  append(body, text.data(), text.size());
  return body;
}

/// What arrays have, and choices behind their kind: the size and type of an element, and the bytes of all.
inline PodBytes elementsBody(std::uint32_t size, std::uint32_t type, const PodBytes& elements) {
  PodBytes body;
  append(body, size);
  append(body, type);
  append(body, elements);
  return body;
}

struct PodProperty {
  std::uint32_t key;
  PodBytes value;
};

inline PodBytes objectBody(std::uint32_t type, std::uint32_t id, const std::vector<PodProperty>& properties) {
  PodBytes body;
  append(body, type);
  append(body, id);
  for (const PodProperty& property : properties) {
    append(body, property.key);
    append(body, std::uint32_t{0});
    append(body, property.value);
  }
  return body;
}

}  // namespace tolvane::test
