#include "app/shell/FileURI.h"

#include <algorithm>
#include <climits>
#include <filesystem>
#include <system_error>

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

/// "scheme://…". A colon alone is usual in the names of music: "Bach: Partita.wav".
bool isURI(std::string_view text) {
  const auto end = text.find("://");
  if (end == std::string_view::npos || end == 0) return false;
  return std::ranges::all_of(text.substr(0, end), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '+' || c == '-' ||
           c == '.';
  });
}

/// A ".." stays in the path: behind a link it is no step back.
std::string absolutePath(std::string_view workingDirectory, const std::string& path) {
  const auto absolute = std::filesystem::path(workingDirectory) / path;
  const bool stepsBack = std::ranges::find(absolute, std::filesystem::path("..")) != absolute.end();
  return (stepsBack ? absolute : absolute.lexically_normal()).string();
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

bool isRegularFile(const FileURL& file) {
  std::error_code error;
  return std::filesystem::is_regular_file(file.path(), error);
}

FileArguments fileArguments(std::span<const std::string> arguments, std::string_view workingDirectory) {
  FileArguments result;
  const auto complain = [&result](std::string sentence) {
    if (!result.complaint) result.complaint = std::move(sentence);
  };
  bool mayBeOption = true;
  for (const auto& argument : arguments) {
    if (mayBeOption && argument == "--") {
      mayBeOption = false;
    } else if (mayBeOption && argument.starts_with('-')) {
      complain("The player takes files and folders, and no options: " + argument);
    } else if (argument.empty()) {
      complain("An argument is empty.");
    } else if (argument.size() >= PATH_MAX * std::string_view("%00").size()) {
      complain("An argument is longer than any path.");
    } else if (const auto url = fileURLFromURI(argument)) {
      result.urls.push_back(*url);
    } else if (argument.starts_with('/') || !isURI(argument)) {
      result.urls.emplace_back(absolutePath(workingDirectory, argument));
    } else {
      complain("Only files of this machine can be played: " + argument);
    }
  }
  return result;
}

}  // namespace tolvane
