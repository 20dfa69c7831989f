// Feeds made-up bytes to everything that reads what an earlier run has saved: the playlist, its bookmarks, the place in
// it, the window's size; each alone, and a session that is restored from them. The records of one input are apart by a
// byte 0xFF, which none of them contains.

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "app/shell/WindowSize.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/MemoryUserDefaults.h"
#include "platform/simulated/SimulatedAudioFileServices.h"
#include "platform/simulated/SimulatedAudioHardware.h"
#include "platform/simulated/SimulatedFileBookmarks.h"
#include "platform/storage/BookmarkToken.h"
#include "platform/storage/SystemFileBookmarks.h"
#include "session/Base64.h"
#include "session/PlayerSession.h"
#include "session/SavedPlaybackState.h"
#include "session/SavedPlaylist.h"

namespace tolvane {
namespace {

/// What must hold of every record. Ends the program where it does not.
void require(bool condition) {
  if (!condition) std::abort();
}

/// Bookmarks whose files are all there, where their bytes say: no test asks the disk for a made-up path.
class BookmarksOfPaths final : public FileBookmarks {
 public:
  std::expected<FileBookmark, std::string> make(const FileURL& url) override {
    return encoded(BookmarkToken{.path = std::string(url.path()), .identity = {}});
  }
  std::optional<FileBookmark> makeOfPath(const FileURL& url) const override { return system_.makeOfPath(url); }
  std::optional<FileURL> storedURL(const FileBookmark& bookmark) const override { return system_.storedURL(bookmark); }
  std::vector<std::optional<ResolvedBookmark>> resolve(std::span<const FileBookmark> bookmarks) override {
    std::vector<std::optional<ResolvedBookmark>> resolved;
    for (const FileBookmark& bookmark : bookmarks) {
      const auto url = storedURL(bookmark);
      resolved.push_back(url ? std::optional(ResolvedBookmark{.url = *url}) : std::nullopt);
    }
    return resolved;
  }

 private:
  SystemFileBookmarks system_;
};

void readAlone(std::string_view text) {
  if (const auto playlist = decodedPlaylist(text)) {
    std::vector<FileBookmark> kept;
    for (const FileBookmark& bookmark : playlist->bookmarks)
      if (!bookmark.empty()) kept.push_back(bookmark);
    const auto again = decodedPlaylist(encodedPlaylist(kept));
    require(again && again->bookmarks == kept);
  }
  if (const auto state = decodedState(text)) {
    const auto written = encodedState(*state);
    require(written.has_value() == (std::isfinite(state->position) && std::isfinite(state->duration)));
    require(!written || decodedState(*written) == state);
  }
  if (const auto bytes = decodedBase64(text)) {
    std::string again;
    appendBase64(again, *bytes);
    require(decodedBase64(again) == bytes);
  }
  if (const auto token = decodedToken(text)) {
    require(token->path.starts_with('/') && !token->path.contains('\0'));
    require(encoded(*token) == text);
  }
}

/// What is restored must make sense whatever was saved, and be saved so that the next run restores the same.
void restore(std::string_view playlist, std::string_view state, std::string_view size) {
  MemoryUserDefaults::Values stored;
  stored["TolvanePlayer.SavedPlaylist"] = UserDefaults::Data(playlist);
  stored["TolvanePlayer.SavedPlaybackState"] = UserDefaults::Data(state);
  stored["SavedWindowSize"] = UserDefaults::Data(size);
  std::vector<FileURL> before;
  for (const bool isFirst : {true, false}) {
    ManualRunLoop runLoop;
    MemoryLog log;
    SimulatedAudioHardware hardware(runLoop);
    SimulatedAudioFileServices files;
    MemoryUserDefaults defaults(stored);
    BookmarksOfPaths bookmarks;
    const WindowSize window = loadSavedWindowSize(defaults);
    require(std::isfinite(window.width) && std::isfinite(window.height));
    PlayerSession session(hardware, files, defaults, bookmarks, runLoop, log);
    runLoop.advance(std::chrono::seconds(1));
    const auto urls = session.fileURLs();
    const auto index = session.currentIndex().value();
    require(urls.empty() || (index >= 0 && index < std::ssize(urls)));
    require(session.playbackPosition().value() >= 0 && session.playbackDuration().value() >= 0);
    require(session.playbackProgress() >= 0 && session.playbackProgress() <= 1);
    require(isFirst || urls == before);
    before = urls;
    session.saveAll();
    runLoop.advance(std::chrono::seconds(1));
    stored = defaults.stored();
  }
}

}  // namespace
}  // namespace tolvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  tolvane::readAlone(text);
  std::array<std::string_view, 3> records;
  std::string_view rest = text;
  for (std::string_view& record : records) {
    record = rest.substr(0, rest.find('\xFF'));
    rest.remove_prefix(std::min(record.size() + 1, rest.size()));
    tolvane::readAlone(record);
  }
  tolvane::restore(records[0], records[1], records[2]);
  return 0;
}
