#include "platform/tags/FolderCover.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include "platform/codecs/bytes/FileReader.h"
#include "platform/tags/Pictures.h"

namespace tolvane {

namespace {

constexpr std::array<std::string_view, 9> coverNames = {"cover.jpg",  "cover.jpeg",  "cover.png",
                                                        "folder.jpg", "folder.jpeg", "folder.png",
                                                        "front.jpg",  "front.jpeg",  "front.png"};
constexpr int mostEntries = 20'000;

struct Candidate {
  std::size_t rank = coverNames.size();
  FileURL file;
};

/// The first of the names that the folder has.
Candidate bestCandidate(const std::filesystem::path& folder, const std::stop_token& stop) {
  Candidate best;
  std::error_code error;
  std::filesystem::directory_iterator entry(folder, error);
  for (int i = 0; i < mostEntries && !error && entry != std::filesystem::directory_iterator(); ++i) {
    if (stop.stop_requested()) return {};
    const std::string name = asciiLowercased(entry->path().filename().string());
    const auto rank = static_cast<std::size_t>(std::ranges::find(coverNames, name) - coverNames.begin());
    if (rank < best.rank) best = {rank, FileURL(entry->path().string())};
    entry.increment(error);
  }
  return best;
}

}  // namespace

std::optional<Cover> folderCover(const FileURL& music, const std::stop_token& stop) {
  const auto best = bestCandidate(std::filesystem::path(music.path()).parent_path(), stop);
  if (best.rank == coverNames.size()) return std::nullopt;
  const auto reader = FileReader::open(best.file);
  if (!reader || (*reader)->size() > maximumPictureBytes) return std::nullopt;
  auto cover = coverOf(readBytes(**reader, 0, maximumPictureBytes));
  if (cover) cover->file = best.file;
  return cover;
}

}  // namespace tolvane
