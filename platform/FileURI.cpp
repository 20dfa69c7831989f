#include "platform/FileURI.h"

#include <climits>
#include <string>

namespace tolvane {

namespace {

std::optional<int> hexDigit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return std::nullopt;
}

std::optional<std::string> percentDecoded(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      bytes += text[i];
      continue;
    }
    if (text.size() - i < 3) return std::nullopt;
    const auto high = hexDigit(text[i + 1]);
    const auto low = hexDigit(text[i + 2]);
    if (!high || !low) return std::nullopt;
    bytes += static_cast<char>(*high << 4 | *low);
    i += 2;
  }
  if (bytes.find('\0') != std::string::npos) return std::nullopt;
  return bytes;
}

}  // namespace

std::optional<FileURL> fileURLFromURI(std::string_view uri) {
  constexpr std::string_view scheme = "file:";
  if (asciiLowercased(uri.substr(0, scheme.size())) != scheme) return std::nullopt;
  uri.remove_prefix(scheme.size());
  if (uri.starts_with("//")) {
    uri.remove_prefix(2);
    const auto host = uri.substr(0, uri.find('/'));
    if (!host.empty() && asciiLowercased(host) != "localhost") return std::nullopt;
    uri.remove_prefix(host.size());
  }
  if (!uri.starts_with('/')) return std::nullopt;
  auto path = percentDecoded(uri.substr(0, uri.find_first_of("?#")));
  if (!path || path->size() >= PATH_MAX) return std::nullopt;
  return FileURL(std::move(*path));
}

}  // namespace tolvane
