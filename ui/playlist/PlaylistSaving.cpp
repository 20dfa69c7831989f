#include "ui/playlist/PlaylistSaving.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <utility>
#include <vector>

#include "session/PlaylistFile.h"
#include "ui/texts/Presentation.h"

namespace tolvane {

namespace {

BilingualText whyNotSaved(std::error_code error) {
  if (error == std::errc::no_space_on_device || error.value() == EDQUOT) return bilingual("the disk is full");
  if (error == std::errc::permission_denied || error == std::errc::operation_not_permitted)
    return bilingual("nothing may be written to its folder");
  if (error == std::errc::read_only_file_system) return bilingual("its disk can only be read");
  if (error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory)
    return bilingual("its folder does not exist");
  if (error == std::errc::file_exists) return bilingual("a file of that name is there already");
  if (error == std::errc::is_a_directory) return bilingual("a folder has that name");
  if (error == std::errc::file_too_large) return bilingual("the list is too long for a file");
  return error.message();
}

}  // namespace

BilingualText savingOutcome(const FileURL& file, std::int64_t tracks, bool hasParts, std::error_code error) {
  const std::string name = displayText(file.lastPathComponent());
  if (error) return bilingual("{} was not saved: {}.", name, whyNotSaved(error));
  const auto count = static_cast<unsigned long>(tracks);
  return hasParts ? bilingualPlural("{} track saved in {}, those of CUE sheets as whole files.",
                                    "{} tracks saved in {}, those of CUE sheets as whole files.", count, tracks, name)
                  : bilingualPlural("{} track saved in {}.", "{} tracks saved in {}.", count, tracks, name);
}

PlaylistSaving::PlaylistSaving(RunLoop& runLoop, Background background, Report report)
    : runLoop_(runLoop), background_(std::move(background)), report_(std::move(report)) {}

void PlaylistSaving::save(const FileURL& chosen, ListToSave list, Replacing replacing) {
  Save save{chosen, replacing, std::move(list)};
  if (!isSavedPlaylistFile(chosen)) {
    save.file = FileURL(chosen.path() + ".m3u8");
    save.replacing = Replacing::refused;
  }
  Slot& slot = slotFor(save.file);
  if (slot.request.isUnderWay())
    slot.next = std::move(save);
  else
    start(slot, std::move(save));
}

PlaylistSaving::Slot& PlaylistSaving::slotFor(const FileURL& file) {
  const auto busy =
      std::ranges::find_if(slots_, [&](const Slot& slot) { return slot.request.isUnderWay() && slot.file == file; });
  if (busy != slots_.end()) return *busy;
  const auto idle = std::ranges::find_if(slots_, [](const Slot& slot) { return !slot.request.isUnderWay(); });
  if (idle != slots_.end()) return *idle;
  return slots_.emplace_back(runLoop_, background_);
}

void PlaylistSaving::start(Slot& slot, Save save) {
  slot.file = save.file;
  const auto count = std::ssize(save.list.tracks.entries());
  const bool hasParts =
      std::ranges::any_of(save.list.tracks, [](const PlaylistTrack& track) { return track.url.isPartOfFile(); });
  slot.request.start([save = std::move(save)] { return write(save); },
                     [this, &slot, count, hasParts](std::error_code error) {
                       if (auto next = std::exchange(slot.next, std::nullopt)) return start(slot, *std::move(next));
                       report_(savingOutcome(slot.file, count, hasParts, error));
                     });
}

std::error_code PlaylistSaving::write(const Save& save) {
  std::vector<FileURL> files;
  files.reserve(save.list.tracks.size());
  std::ranges::transform(save.list.tracks, std::back_inserter(files), &PlaylistTrack::url);
  const auto folder = std::filesystem::path(save.file.path()).parent_path().string();
  const std::string text = playlistText(files, folder, save.list.durations);
  if (text.size() > maximumPlaylistFileBytes) return make_error_code(std::errc::file_too_large);
  return writeFile(save.file, text, save.replacing);
}

}  // namespace tolvane
