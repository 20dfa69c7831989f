#include "session/UnplayableFiles.h"

namespace tolvane {

void UnplayableFiles::add(const PreparationFailure& failure) {
  if (failure.error.status() == kAudioFileTooManyOpenFilesError) return;
  UnplayableFileMap known = known_.value() ? *known_.value() : UnplayableFileMap();
  known.insert_or_assign(failure.url,
                         UnplayableFile{failure.error.errorDescription(), failure.error.context(), failure.version});
  publish(std::move(known));
}

void UnplayableFiles::remove(const FileURL& url) {
  if (!contains(url)) return;
  UnplayableFileMap known = *known_.value();
  known.erase(url);
  publish(std::move(known));
}

void UnplayableFiles::keepOnly(const PlaylistTracks& tracks) {
  if (!known_.value()) return;
  UnplayableFileMap kept;
  for (const PlaylistTrack& track : tracks)
    if (const auto found = known_.value()->find(track.url); found != known_.value()->end()) kept.insert(*found);
  publish(std::move(kept));
}

void UnplayableFiles::check() {
  if (!known_.value() || check_.isUnderWay()) return;
  check_.start(
      [&files = files_, known = known_.value()] {
        Changed changed;
        for (const auto& [url, file] : *known)
          if (files.fileVersion(url) != file.version) changed.emplace_back(url, file);
        return changed;
      },
      [this](const Changed& changed) { forget(changed); });
}

/// Except files that have been played, and have failed, again meanwhile.
void UnplayableFiles::forget(const Changed& changed) {
  if (!known_.value()) return;
  UnplayableFileMap known = *known_.value();
  for (const auto& [url, file] : changed)
    if (const auto found = known.find(url); found != known.end() && found->second == file) known.erase(found);
  publish(std::move(known));
}

void UnplayableFiles::publish(UnplayableFileMap known) {
  if (known_.value() ? known == *known_.value() : known.empty()) return;
  known_.assign(known.empty() ? nullptr : std::make_shared<const UnplayableFileMap>(std::move(known)));
}

}  // namespace tolvane
