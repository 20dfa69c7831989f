#pragma once
// Saving the list as a playlist file. Window's thread; the file is written in the background. Of several saves to one
// place the newest is written last; saves to other places do not wait for them.

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <system_error>

#include "platform/Background.h"
#include "platform/BackgroundRequest.h"
#include "platform/BilingualText.h"
#include "platform/FileReplacement.h"
#include "platform/FileURL.h"
#include "platform/RunLoop.h"
#include "session/PlaylistTracks.h"

namespace tolvane {

struct ListToSave {
  PlaylistTracks tracks;
  std::map<FileURL, double> durations;  ///< seconds, of those files whose length is known
};

class PlaylistSaving {
 public:
  using Report = std::function<void(BilingualText)>;

  /// `report` is called with a sentence when a save has ended, successfully or not. The run loop outlives this object,
  /// but not its saves.
  PlaylistSaving(RunLoop& runLoop, Background background, Report report);
  PlaylistSaving(const PlaylistSaving&) = delete;
  PlaylistSaving& operator=(const PlaylistSaving&) = delete;

  /// As M3U8. A place without the extension of a playlist gets one; a file that is there under that longer name is
  /// never replaced, because the user was not asked about it.
  void save(const FileURL& chosen, ListToSave list, Replacing replacing);

 private:
  struct Save {
    FileURL file;
    Replacing replacing;
    ListToSave list;
  };
  struct Slot {
    Slot(RunLoop& runLoop, const Background& background) : request(runLoop, background) {}

    BackgroundRequest<std::error_code> request;
    FileURL file;
    std::optional<Save> next;  ///< to the same place, once this one has ended
  };

  [[nodiscard]] static std::error_code write(const Save& save);
  [[nodiscard]] Slot& slotFor(const FileURL& file);
  void start(Slot& slot, Save save);

  RunLoop& runLoop_;
  const Background background_;
  const Report report_;
  std::list<Slot> slots_;  ///< as many as saves were under way at once
};

/// "12 tracks saved in List.m3u8."; "List.m3u8 was not saved: the disk is full." `hasParts`: of files, for which the
/// list has the whole files.
[[nodiscard]] BilingualText savingOutcome(const FileURL& file, std::int64_t tracks, bool hasParts,
                                          std::error_code error);

}  // namespace tolvane
