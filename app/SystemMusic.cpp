#include "app/SystemMusic.h"

#include <utility>

#include "platform/storage/CoverFolder.h"
#include "platform/storage/StorageFolder.h"
#include "platform/tags/SystemMusicTags.h"

namespace tolvane {

MusicStore::Source systemMusic(LowPriorityWorkers& workers) {
  const auto findCover = [folder = CoverFolder(cacheFolder() / "covers")](const FileURL& url,
                                                                          const std::stop_token& stop) {
    auto cover = SystemMusicTags().cover(url, stop);
    if (cover && !cover->file && !stop.stop_requested()) cover->file = folder.store(*cover);
    return cover;
  };
  return {.tags = [](const FileURL& url, const std::stop_token& stop) { return SystemMusicTags().tags(url, stop); },
          .cover = findCover,
          .background = [&workers](BackgroundWork work) { workers.run(std::move(work)); }};
}

}  // namespace tolvane
