#include <chrono>
#include <filesystem>

#include "engine/PlainWords.h"
#include "platform/Digest.h"
#include "session/PlaylistFile.h"
#include "tools/ProbeCommands.h"

namespace tolvane {
namespace {

std::string sha256(std::span<const std::byte> bytes) {
  Digest digest(Digest::Algorithm::sha256);
  digest.add(bytes);
  return hexText(digest.result().value_or(std::vector<std::byte>()));
}

Json describeTrack(const FileURL& url, const PreparedAudio& prepared, double seconds) {
  const AudioRenderContext& context = *prepared.context;
  Json line;
  describe(line, url);
  describe(line, context.format());
  line["frames"] = context.totalFrames();
  line["bytes"] = context.byteCount();
  line["sourceBitDepth"] = prepared.sourceBitDepth;
  line["sourceIsFloat"] = prepared.sourceIsFloat;
  line["isLossless"] = prepared.isLossless;
  line["sourceLabel"] = prepared.sourceLabel;
  line["sha256"] = sha256(context.buffer().bytes());
  line["seconds"] = seconds;
  if (prepared.cut) line["plainly"] = plainCut(*prepared.cut);
  return line;
}

Json describeFailure(const FileURL& url, const AudioPlayerError& error) {
  Json line;
  describe(line, url);
  line["error"] = error.errorDescription();
  if (const std::string words = plainWords(error.errorDescription(), error.context()); !words.empty())
    line["plainly"] = words;
  return line;
}

/// Of playlists what they name, where that is anything.
std::vector<FileURL> tracksOf(std::span<const std::string> files) {
  std::vector<FileURL> tracks;
  for (const std::string& file : files) {
    const FileURL url = fileURLFromArgument(file);
    const auto listed = isPlaylistFile(url) ? readPlaylistFile(url) : std::vector<FileURL>();
    tracks.insert(tracks.end(), listed.begin(), listed.end());
    if (listed.empty()) tracks.push_back(url);
  }
  return tracks;
}

}  // namespace

FileURL fileURLFromArgument(const std::string& argument) {
  std::error_code error;
  const auto path = std::filesystem::absolute(argument, error);
  return FileURL(error ? argument : path.string());
}

void prepareFiles(std::span<const std::string> files, AudioFileServices& services, ProbeOutput& output) {
  const TrackPreparation preparation(services, std::make_shared<AtomicOutputLevels>());
  for (const FileURL& url : tracksOf(files)) {
    const auto begin = std::chrono::steady_clock::now();
    const auto prepared = preparation.prepare(url);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    if (prepared)
      output.print(describeTrack(url, *prepared, taken.count()));
    else
      output.print(describeFailure(url, prepared.error()));
  }
}

}  // namespace tolvane
