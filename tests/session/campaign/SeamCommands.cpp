// What the player's side must make of a command, found again from the command alone: the other half of SeamWorld.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "session/PlaylistRemoval.h"
#include "tests/session/campaign/SeamWorld.h"

namespace tolvane {
namespace {

template <typename... Cases>
struct CommandCases : Cases... {
  using Cases::operator()...;
};

/// Whether a command that has not begun may be left out because of a newer one: the rule written a second time.
bool mayReplace(const SentCommand& newer, const SentCommand& older) {
  const auto isOne = [](const SentCommand& command, std::initializer_list<Wish> wishes) {
    return std::ranges::find(wishes, command.wish) != wishes.end();
  };
  if (newer.wish == Wish::load)
    return isOne(older, {Wish::play, Wish::setPlaying, Wish::seek, Wish::knownDuration, Wish::load});
  if (newer.wish == Wish::play) return isOne(older, {Wish::play, Wish::setPlaying});
  const bool isForTheLastValue =
      isOne(newer, {Wish::setPlaying, Wish::seek, Wish::volume, Wish::balance, Wish::device, Wish::exclusive,
                    Wish::setting, Wish::save, Wish::watch, Wish::watchTime, Wish::ping, Wish::checkFiles});
  return isForTheLastValue && newer.wish == older.wish && newer.about == older.about;
}

}  // namespace

void SeamWorld::ask(Wish wish, std::string about, const std::function<void(SessionProxy&)>& send) {
  meant_ = {wish, std::move(about), {}};
  send(*proxy);
  meant_ = {};
}

void SeamWorld::carryOut(const DelayedSeam::Command& command, const RunLoop::Action& action) {
  checkOrder(command);
  ++commandsCarriedOut;
  loadUnderWay_ = command.number;
  beforeCommand(command.command);
  action();
  world.resumesARecovery = false;
  afterCommand(command.command);
  followList(command.command);
}

/// What an undo must bring back: the list before the command that changed it last.
void SeamWorld::followList(const SessionCommand& command) {
  const PlaylistTracks& list = session().playlistTracks().value();
  if (std::holds_alternative<command::UndoPlaylistChange>(command)) {
    require(list == listBefore_, "undo: another list than before the last change");
    ++undone;
    listNow_ = listBefore_ = list;
  } else if (list != listNow_) {
    listBefore_ = std::exchange(listNow_, list);
  }
  const bool isOffered = listBefore_ != listNow_ && !listBefore_.empty();
  require(session().undoableChange().value().has_value() == isOffered, "an undo is offered, or not, against the rule");
}

void SeamWorld::checkOrder(const DelayedSeam::Command& command) {
  require(command.number > lastCarriedOut_, fmt::format("command {} came after {}", command.number, lastCarriedOut_));
  require(
      sent_.contains(command.number) && static_cast<std::size_t>(sent_[command.number].wish) == command.command.index(),
      fmt::format("command {} is not what was sent", command.number));
  for (auto left = sent_.upper_bound(lastCarriedOut_); left != sent_.end() && left->first < command.number; ++left) {
    ++commandsReplaced;
    const bool isReplaced = std::any_of(std::next(left), sent_.end(),
                                        [&](const auto& newer) { return mayReplace(newer.second, left->second); });
    require(isReplaced,
            fmt::format("command {} was lost, of kind {}", left->first, static_cast<std::size_t>(left->second.wish)));
  }
  lastCarriedOut_ = command.number;
  sent_.erase(sent_.begin(), sent_.lower_bound(seam().seen() ? seam().seen()->lastCommand : 0));
}

void SeamWorld::beforeCommand(const SessionCommand& command) {
  sizeBefore_ = session().playlistTracks().value().size();
  const bool isLoaded = world.isActive() && session().player().duration().value() > 0;
  const PlaylistTrack* current = session().playlistTracks().value().entryAt(session().currentIndex().value());
  const bool resumes = world.isPaused() && world.hardware.unitCount() == 0;
  std::visit(
      CommandCases{[&](const command::PlayTrack& play) {
                     const auto index = session().playlistTracks().value().indexOf(play.track);
                     const auto* track = session().playlistTracks().value().entryAt(index);
                     willSeek_ = isLoaded && track != nullptr && session().player().currentURL().value() == track->url;
                     world.resumesARecovery = resumes;
                   },
                   [&](const command::Seek& seek) {
                     willSeek_ = isLoaded && current != nullptr && current->id == seek.track &&
                                 session().player().currentURL().value() == current->url && std::isfinite(seek.seconds);
                   },
                   [&](const command::RemoveTracks& remove) {
                     // What follows may be the same file, which is loaded already: it is played from its beginning.
                     const auto removal = removalFrom(session().playlistTracks().value(), remove.tracks,
                                                      session().currentIndex().value());
                     if (!removal.hasFollower || !isLoaded || !world.isPlaying()) return;
                     const auto* follower = removal.tracks.entryAt(removal.currentIndex);
                     willSeek_ = session().player().currentURL().value() == follower->url;
                   },
                   [&](const command::SetPlaying& wanted) { world.resumesARecovery = resumes && wanted.playing; },
                   [&](const command::SetOutputVolume& wanted) {
                     world.levelsAreNeutral = wanted.volume == 1 && session().outputBalance().value() == 0;
                   },
                   [&](const command::SetOutputBalance& wanted) {
                     world.levelsAreNeutral = wanted.balance == 0 && session().outputVolume().value() == 1;
                   },
                   [&](const command::SetExclusiveAccess& wanted) { world.exclusiveAccess = wanted.enabled; },
                   [&](const command::WatchPath& wanted) {
                     if (std::exchange(isPathWatched_, wanted.watched) == wanted.watched) return;
                     wanted.watched ? ++world.timersAtRest : --world.timersAtRest;
                   },
                   [](const auto&) {}},
      command);
  world.watched.setReadsMarks(world.levelsAreNeutral);
}

void SeamWorld::afterCommand(const SessionCommand& command) {
  const auto& player = session().player();
  const bool isGoingToPlay =
      player.isPlaying().value() || (player.isPreparing().value() && !player.startsPaused().value());
  const bool hasFailed = world.pathKind() == AudioPathStatus::Kind::error;
  const auto& list = session().playlistTracks().value();
  std::visit(
      CommandCases{[&](const command::PlayTrack& play) {
                     const auto index = list.indexOf(play.track);
                     if (index < 0) return;
                     require(session().currentIndex().value() == index, "play: another entry is the current one");
                     require(isGoingToPlay || hasFailed, "play: the track neither plays nor is prepared");
                   },
                   [&](const command::SetPlaying& wanted) {
                     if (!wanted.playing) return require(!isGoingToPlay, "pause: the music goes on");
                     require(isGoingToPlay || hasFailed || list.empty(), "resume: nothing plays");
                   },
                   [&](const command::StopPlayback&) {
                     require(!world.isActive() && !world.isPreparing(), "stop: the music goes on");
                   },
                   [&](const command::LoadPlaylist& load) {
                     require(session().fileURLs() == load.urls, "load: another playlist is there");
                     require(isGoingToPlay == load.autoplay || hasFailed, "load: it does not play as was asked for");
                   },
                   [&](const command::InsertTracks& insert) {
                     require(list.size() == sizeBefore_ + insert.urls.size(), "insert: not all were added");
                   },
                   [&](const command::RemoveTracks& remove) {
                     const bool isLeft = std::ranges::any_of(
                         remove.tracks, [&](PlaylistTrackID track) { return list.indexOf(track) >= 0; });
                     require(!isLeft, "remove: an entry is still there");
                   },
                   [&](const command::SetOutputVolume& wanted) {
                     require(session().outputVolume().value() == wanted.volume, "another volume than asked for");
                   },
                   [&](const command::SetOutputBalance& wanted) {
                     require(session().outputBalance().value() == wanted.balance, "another balance than asked for");
                   },
                   [&](const command::SelectOutputDevice& wanted) {
                     const auto& devices = host->devices().devices().value();
                     const auto& selected = host->devices().selectedDevice().value();
                     const bool isThere = std::ranges::find(devices, wanted.device, &AudioDevice::id) != devices.end();
                     require(!isThere || (selected && selected->id == wanted.device), "another device than asked for");
                   },
                   [&](const command::StoreSetting& setting) {
                     require(defaults.object(setting.key) == setting.value, "a setting was not stored");
                   },
                   [](const auto&) {}},
      command);
}

std::optional<SeamWorld::Origin> SeamWorld::originOf(PlaylistTrackID id) const {
  const auto found = origins_.find(id);
  return found != origins_.end() ? std::optional(found->second) : std::nullopt;
}

bool SeamWorld::isAnswered(std::uint64_t number) const {
  const auto& seen = seams_.back()->seen();
  return seen && seen->lastCommand >= number;
}

const SentCommand* SeamWorld::oldestUnanswered() const {
  const auto& seen = seams_.back()->seen();
  const auto oldest = sent_.upper_bound(seen ? seen->lastCommand : 0);
  return oldest != sent_.end() ? &oldest->second : nullptr;
}

}  // namespace tolvane
