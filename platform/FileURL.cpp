#include "platform/FileURL.h"

#include <algorithm>

namespace tolvane {

std::string_view FileURL::lastPathComponent() const {
  std::string_view rest = path_;
  while (rest.size() > 1 && rest.ends_with('/')) rest.remove_suffix(1);
  const auto slash = rest.rfind('/');
  return slash == std::string_view::npos || rest.size() == 1 ? rest : rest.substr(slash + 1);
}

std::string_view FileURL::pathExtension() const {
  const auto name = lastPathComponent();
  const auto dot = name.rfind('.');
  return dot == std::string_view::npos || dot == 0 ? std::string_view{} : name.substr(dot + 1);
}

std::string_view FileURL::stem() const {
  auto name = lastPathComponent();
  const auto extension = pathExtension();
  if (!extension.empty()) name.remove_suffix(extension.size() + 1);
  return name;
}

std::string FileURL::absoluteString() const {
  constexpr std::string_view hex = "0123456789ABCDEF";
  std::string text = "file://";
  for (const char c : path_) {
    const auto byte = static_cast<unsigned char>(c);
    const bool isAlphanumeric = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (isAlphanumeric || c == '/' || c == '-' || c == '.' || c == '_' || c == '~') {
      text += c;
    } else {
      text += '%';
      text += hex[byte >> 4];
      text += hex[byte & 15];
    }
  }
  return text;
}

std::string asciiLowercased(std::string_view text) {
  std::string result(text);
  std::ranges::transform(result, result.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return result;
}

std::string asciiUppercased(std::string_view text) {
  std::string result(text);
  std::ranges::transform(result, result.begin(),
                         [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
  return result;
}

}  // namespace tolvane
