#include "platform/storage/CoverFolder.h"

#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/Digest.h"
#include "platform/FileReplacement.h"

namespace tolvane {

namespace {

constexpr std::size_t digestLetters = 64;

std::optional<std::string> coverFileName(const Cover& cover) {
  Digest digest(Digest::Algorithm::sha256);
  digest.add(cover.bytes);
  const auto result = digest.result();
  if (!result) return std::nullopt;
  return hexText(*result) + (cover.format == Cover::Format::jpeg ? ".jpg" : ".png");
}

/// Other files in the folder are left alone.
bool isCoverFileName(const std::filesystem::path& name) {
  const std::string stem = name.stem().string();
  return stem.size() == digestLetters && stem.find_first_not_of("0123456789abcdef") == std::string::npos;
}

bool holds(const std::filesystem::path& file, const Cover& cover) {
  struct stat info {};
  return ::lstat(file.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
         static_cast<std::size_t>(info.st_size) == cover.bytes.size();
}

bool makeCoverFolder(const std::filesystem::path& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder.parent_path(), error);
  ::mkdir(folder.c_str(), S_IRWXU);
  return std::filesystem::is_directory(folder, error);
}

}  // namespace

std::optional<FileURL> CoverFolder::store(const Cover& cover) const {
  const auto name = coverFileName(cover);
  if (!name || !makeCoverFolder(folder_)) return std::nullopt;
  const auto file = folder_ / *name;
  std::error_code error;
  if (holds(file, cover)) {
    std::filesystem::last_write_time(file, std::filesystem::file_time_type::clock::now(), error);
    return FileURL(file.string());
  }
  const std::string_view bytes(reinterpret_cast<const char*>(cover.bytes.data()), cover.bytes.size());
  if (writeFile(FileURL(file.string()), bytes, Replacing::allowed)) return std::nullopt;
  std::filesystem::permissions(file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write, error);
  removeOldest(file);
  return FileURL(file.string());
}

void CoverFolder::removeOldest(const std::filesystem::path& kept) const {
  std::vector<std::pair<std::filesystem::file_time_type, std::filesystem::path>> files;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder_, error);
       !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    std::error_code isGone;
    const auto used = entry->last_write_time(isGone);
    if (!isGone && isCoverFileName(entry->path()) && entry->path() != kept) files.emplace_back(used, entry->path());
  }
  std::ranges::sort(files, std::ranges::greater());
  for (std::size_t i = mostFiles - 1; i < files.size(); ++i) std::filesystem::remove(files[i].second, error);
}

}  // namespace tolvane
