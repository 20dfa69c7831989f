#pragma once
// Finds the files that a CUE sheet names, which were often renamed or converted since. Asks the disk, for a bounded
// number of folders; one thread at a time.

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tolvane {

class CueFileFinder {
 public:
  /// Of a sheet in this folder, an absolute path.
  explicit CueFileFinder(std::string folder) : folder_(std::move(folder)) {}

  /// The path of a file that is played, as cueSheetEntries() says; nothing where there is none.
  [[nodiscard]] std::optional<std::string> find(const std::string& name);

 private:
  /// The files of a folder that can be played, by their stems in lower case. Sorted, so that the same file is found
  /// each time.
  using FolderNames = std::map<std::string, std::set<std::string>>;

  [[nodiscard]] std::optional<std::string> search(std::string_view name);
  [[nodiscard]] std::vector<std::string> places(std::string_view name) const;
  [[nodiscard]] std::optional<std::string> similarFile(const std::string& path);
  [[nodiscard]] const FolderNames& namesIn(const std::string& folder);

  const std::string folder_;
  std::map<std::string, std::optional<std::string>> known_;        ///< by the name in the sheet
  std::map<std::string, FolderNames> namesByFolder_;               ///< of folders that were searched
};

}  // namespace tolvane
