#include "app/shell/FileArguments.h"

#include <algorithm>
#include <climits>
#include <filesystem>
#include <system_error>

#include "platform/FileURI.h"

namespace tolvane {

namespace {

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
