#include "platform/FileURL.h"

#include <algorithm>
#include <utility>

namespace tolvane {

FileURL::FileURL(std::string path, std::optional<FileExcerpt> excerpt)
    : path_(std::move(path)), excerpt_(excerpt ? std::make_shared<const FileExcerpt>(*std::move(excerpt)) : nullptr) {}

bool FileURL::operator==(const FileURL& other) const {
  if (path_ != other.path_) return false;
  if (excerpt_ == other.excerpt_) return true;
  return excerpt_ && other.excerpt_ && *excerpt_ == *other.excerpt_;
}

std::strong_ordering FileURL::operator<=>(const FileURL& other) const {
  if (const auto order = path_ <=> other.path_; order != 0) return order;
  if (excerpt_ == other.excerpt_) return std::strong_ordering::equal;
  if (!excerpt_ || !other.excerpt_) return excerpt_ ? std::strong_ordering::greater : std::strong_ordering::less;
  return *excerpt_ <=> *other.excerpt_;
}

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
  std::size_t written = 0;
  for (std::size_t at = 0; at < path_.size(); ++at) {
    const char c = path_[at];
    const bool isAlphanumeric = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (isAlphanumeric || c == '/' || c == '-' || c == '.' || c == '_' || c == '~') continue;
    const auto byte = static_cast<unsigned char>(c);
    text.append(path_, written, at - written).append({'%', hex[byte >> 4], hex[byte & 15]});
    written = at + 1;
  }
  return text.append(path_, written);
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
