// Feeds made-up bytes to everything that strangers on the desktop hand over: URIs and paths of an Open call, an OpenUri
// call, a drop or a command line. Each line of the input is one of them. An input that begins with the line "player"
// also gives each to the remote controls of a player that plays, as a URI or as a command with any number: that costs
// more.

#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "app/shell/AppDelegate.h"
#include "app/shell/FileArguments.h"
#include "app/shell/MediaControls.h"
#include "platform/FileURI.h"
#include "platform/PrintableText.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/MemoryUserDefaults.h"
#include "platform/simulated/SimulatedAudioFileServices.h"
#include "platform/simulated/SimulatedAudioHardware.h"
#include "platform/simulated/SimulatedFileBookmarks.h"
#include "session/AudioFileDiscovery.h"
#include "session/SessionHost.h"
#include "session/SessionProxy.h"

namespace tolvane {
namespace {

/// What must hold of every value. Ends the program where it does not.
void require(bool condition) {
  if (!condition) std::abort();
}

std::vector<std::string> linesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    lines.emplace_back(line);
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
  return lines;
}

void readURI(const std::string& uri) {
  if (const auto url = fileURLFromURI(uri)) {
    require(url->path().starts_with('/') && url->path().size() < PATH_MAX && !url->path().contains('\0'));
    require(fileURLFromURI(url->absoluteString()) == url);
    (void)isSupportedAudioFile(*url);
    (void)url->stem();
  }
  const std::string printable = printableText(uri);
  require(printableText(printable) == printable);
  for (std::string_view rest = printable; !rest.empty(); rest.remove_prefix(firstCharacter(rest).length))
    require(!firstCharacter(rest).isControl);
  (void)AppDelegate::desktopAction(uri);
}

/// A player with two tracks, of which the first plays, and its remote controls.
class World {
 public:
  World() {
    (void)hardware_.addDevice({});
    std::vector<FileURL> urls;
    for (const char* path : {"/music/1.wav", "/music/2.wav"}) {
      SimulatedPCMFile file;
      file.format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
      file.sourceBitDepth = 16;
      file.data.resize(441 * 4);
      files_.add(FileURL(path), std::move(file));
      bookmarks_.add(FileURL(path));
      urls.emplace_back(path);
    }
    host_.session().loadPlaylist(urls, true);
    runLoop_.runUntilIdle();
  }

  void command(std::string_view line) {
    if (line.empty()) return;
    std::int64_t number = 0;
    const std::string_view rest = line.substr(1);
    std::memcpy(&number, rest.data(), std::min(rest.size(), sizeof number));
    switch (line.front()) {
      case 's':
        controls_.seek(number);
        break;
      case 'p':
        controls_.setPosition(controls_.state().trackID, number);
        break;
      case 't':
        controls_.setPosition(static_cast<PlaylistTrackID>(number), 1000);
        break;
      case 'v':
        controls_.setVolume(std::bit_cast<double>(number));
        break;
      case 'r':
        controls_.setRate(std::bit_cast<double>(number));
        break;
      case 'n':
        controls_.next();
        break;
      case 'b':
        controls_.previous();
        break;
      case ' ':
        controls_.playPause();
        break;
      default:
        open(line);
    }
    runLoop_.advance(std::chrono::milliseconds(1));
    check();
  }

 private:
  void open(std::string_view uri) {
    int answers = 0;
    const int before = opened_;
    controls_.openURI(uri, [&](const auto& result) {
      ++answers;
      require(result || !result.error().empty());
      require(result.has_value() == (opened_ != before));
    });
    require(answers == 1);
  }

  void check() {
    const MediaState state = controls_.state();
    require(state.volume >= 0 && state.volume <= 1);
    require(state.length >= 0 && controls_.position() >= 0);
    require(proxy_.state().tracks.size() == 2);
  }

  ManualRunLoop runLoop_;
  MemoryLog log_;
  SimulatedAudioHardware hardware_{runLoop_};
  SimulatedAudioFileServices files_;
  MemoryUserDefaults defaults_;
  SimulatedFileBookmarks bookmarks_;
  SessionLink link_;
  SessionHost host_{{hardware_, files_, defaults_, bookmarks_, runLoop_, log_}, link_};
  SessionProxy proxy_{link_, runLoop_};
  int opened_ = 0;
  MediaControls controls_{proxy_, runLoop_, [this](const FileURL& url, const auto& answer) {
                            // Half of all files are there.
                            const bool isThere = url.path().size() % 2 == 0;
                            opened_ += isThere;
                            answer(isThere);
                          }};
};

}  // namespace
}  // namespace tolvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto lines = tolvane::linesOf({reinterpret_cast<const char*>(data), size});
  for (const std::string& line : lines) tolvane::readURI(line);
  const auto arguments = tolvane::fileArguments(lines, "/home/somebody");
  for (const tolvane::FileURL& url : arguments.urls) tolvane::require(url.path().starts_with('/'));
  if (lines.empty() || lines.front() != "player") return 0;
  tolvane::World world;
  for (const std::string& line : std::span(lines).subspan(1)) world.command(line);
  return 0;
}
