#include "tests/session/campaign/SeamUser.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace tolvane {
namespace {

using namespace std::chrono_literals;
using Path = AudioPathStatus::Kind;

bool isActive(const SessionState& state) { return state.isPlaying || state.isPaused || state.isPreparing; }

}  // namespace

SeamUser::SeamUser(SeamWorld& world) : world_(world), random_(world.world.random) {
  world_.onShown = [this](const SessionState& before, const SessionState& now) { shown(before, now); };
  world_.onTick = [this] { checkWaiting(); };
}

void SeamUser::beginAnew() {
  lastLoad_ = 0;
  watchesPath_ = false;
  watchesTime_ = true;
  promise_.reset();
  // What has no bookmark is not there any more.
  std::vector<FileURL> left;
  for (const Origin& origin : order_)
    if (urls_.at(origin).path() != "/missing.wav") left.push_back(urls_.at(origin));
  urls_.clear();
  order_.clear();
  for (std::size_t place = 0; place < left.size(); ++place) {
    order_.push_back({0, place});
    urls_[{0, place}] = left[place];
  }
  // Numbers of this run's commands begin anew.
  ++agreements_;
  checkLists();
}

void SeamUser::act() {
  using L = SeamUser;
  static const std::vector<Choice> choices{{12, &L::playRow},      {5, &L::playNext},
                                           {3, &L::playPrevious},  {14, &L::pauseOrGoOn},
                                           {3, &L::stop},          {10, &L::seek},
                                           {6, &L::setVolume},     {3, &L::setBalance},
                                           {3, &L::selectDevice},  {6, &L::switchExclusiveAccess},
                                           {2, &L::load},          {5, &L::move},
                                           {3, &L::undo},          {3, &L::remove},
                                           {2, &L::insert},        {2, &L::learnDuration},
                                           {4, &L::storeSetting},  {1, &L::save},
                                           {1, &L::watchPath},     {2, &L::minimiseOrRestore},
                                           {1, &L::comeToTheFront}};
  world_.tick();
  if (world_.window().state().tracks.empty() && lastLoad_ == 0) return load();
  std::size_t total = 0;
  for (const Choice& choice : choices) total += choice.weight;
  std::size_t drawn = random_.below(total);
  for (const Choice& choice : choices) {
    if (drawn < choice.weight) return (this->*choice.action)();
    drawn -= choice.weight;
  }
}

// Transport.

void SeamUser::play(std::int64_t row, const std::function<void(SessionProxy&)>& send) {
  const PlaylistTrack* track = world_.window().state().tracks.entryAt(row);
  if (track == nullptr) return world_.ask(Wish::play, "", send);  // nothing is sent
  const PlaylistTrackID id = track->id;
  forgetPromise();
  world_.ask(Wish::play, "", send);
  promise("the track that was chosen is the current one, and is about to play", [id](const SessionState& now) {
    const PlaylistTrack* current = now.currentTrack();
    return now.tracks.indexOf(id) < 0 || (current != nullptr && current->id == id && now.isGoingToPlay());
  });
}

void SeamUser::playRow() {
  const auto count = static_cast<std::int64_t>(world_.window().state().tracks.size());
  const auto row = static_cast<std::int64_t>(random_.below(static_cast<std::size_t>(count) + 2)) - 1;
  const double fraction = random_.percent(60) ? 0 : random_.between(-0.1, 1.1);
  world_.world.note(fmt::format("window: play row {} from {}", row, fraction));
  play(row, [&](SessionProxy& window) { window.playTrack(row, fraction); });
}

void SeamUser::playNext() {
  world_.world.note("window: next");
  const auto& now = world_.window().state();
  play(now.canPlayNext() ? now.currentIndex + 1 : -1, [](SessionProxy& window) { window.next(); });
}

void SeamUser::playPrevious() {
  world_.world.note("window: previous");
  forgetPromise();
  world_.ask(Wish::play, "", [](SessionProxy& window) { window.previous(); });
}

void SeamUser::pauseOrGoOn() {
  const SessionState& now = world_.window().state();
  const bool plays = random_.percent(80) ? !now.isGoingToPlay() : random_.percent(50);
  const bool isAsked = plays != now.isGoingToPlay() && now.currentTrack() != nullptr;
  world_.world.note(plays ? "window: go on" : "window: pause");
  if (isAsked) forgetPromise();
  world_.ask(Wish::setPlaying, "", [plays](SessionProxy& window) { window.setPlaying(plays); });
  if (isAsked && !plays)
    promise("what was paused does not play", [](const auto& state) { return !state.isGoingToPlay(); });
}

void SeamUser::stop() {
  world_.world.note("window: stop");
  forgetPromise();
  world_.ask(Wish::stop, "", [](SessionProxy& window) { window.stopPlayback(); });
  promise("nothing plays after a stop", [](const auto& state) { return !isActive(state) && state.position == 0; });
}

void SeamUser::seek() {
  const SessionState& now = world_.window().state();
  const PlaylistTrack* track = now.currentTrack();
  const double duration = now.duration;
  const double nowhere[] = {-1, duration + 1, std::numeric_limits<double>::quiet_NaN(),
                            std::numeric_limits<double>::infinity()};
  const std::size_t kind = random_.below(20);
  const double seconds = kind < 4   ? nowhere[kind]
                         : kind < 8 ? std::max(0.0, duration - random_.between(0, 1))
                                    : random_.between(0, duration);
  const std::string about = track != nullptr ? std::to_string(track->id) : "";
  world_.world.note(fmt::format("window: seek to {} s of {} s", seconds, duration));
  world_.ask(Wish::seek, about, [seconds](SessionProxy& window) { window.seek(seconds); });
}

// Output.

void SeamUser::setVolume() {
  // Where every byte is listened to, levels stay neutral; elsewhere no sample becomes silence.
  const double volume = world_.world.isCloseUp || random_.percent(70) ? 1 : random_.between(0.75, 1);
  world_.world.note(fmt::format("window: volume {}", volume));
  volume_ = volume;
  world_.ask(Wish::volume, "", [volume](SessionProxy& window) { window.setOutputVolume(volume); });
  require(world_.window().state().outputVolume == volume, "the volume is not shown at once");
}

void SeamUser::setBalance() {
  const double balance = world_.world.isCloseUp || random_.percent(80) ? 0 : random_.between(-0.25, 0.25);
  world_.world.note(fmt::format("window: balance {}", balance));
  balance_ = balance;
  world_.ask(Wish::balance, "", [balance](SessionProxy& window) { window.setOutputBalance(balance); });
}

void SeamUser::selectDevice() {
  const AudioObjectID device = random_.pick(world_.world.devices);
  world_.world.note(fmt::format("window: choose device {}", device));
  world_.ask(Wish::device, "", [device](SessionProxy& window) { window.selectOutputDevice(device); });
}

void SeamUser::switchExclusiveAccess() {
  const bool enabled = random_.percent(60);
  world_.world.note(enabled ? "window: exclusive access on" : "window: exclusive access off");
  exclusive_ = enabled;
  world_.ask(Wish::exclusive, "", [enabled](SessionProxy& window) { window.setExclusiveAccessEnabled(enabled); });
}

// Playlist and settings.

std::vector<FileURL> SeamUser::drawFiles() {
  std::vector<FileURL> urls;
  for (std::size_t count = 1 + random_.below(8); count > 0; --count)
    urls.push_back(random_.pick(world_.world.tracks).url);
  return urls;
}

void SeamUser::load() {
  const auto urls = drawFiles();
  const bool autoplay = random_.percent(60);
  world_.world.note(fmt::format("window: load {} tracks{}", urls.size(), autoplay ? " and play" : ""));
  forgetPromise();
  world_.ask(Wish::load, "", [&](SessionProxy& window) { window.loadPlaylist(urls, autoplay); });
  lastLoad_ = world_.seam().sentCount();
  isOrderKnown_ = true;
  order_.clear();
  for (std::size_t place = 0; place < urls.size(); ++place) {
    order_.push_back({lastLoad_, place});
    urls_[{lastLoad_, place}] = urls[place];
  }
}

void SeamUser::move() {
  const SessionState& now = world_.window().state();
  if (now.tracks.empty()) return;
  const auto row = static_cast<std::int64_t>(random_.below(now.tracks.size()));
  const auto destination = static_cast<std::int64_t>(random_.below(now.tracks.size() + 2)) - 1;
  const auto origin = world_.originOf(now.tracks[static_cast<std::size_t>(row)].id);
  world_.world.note(fmt::format("window: move row {} to {}", row, destination));
  world_.ask(Wish::move, "", [&](SessionProxy& window) { window.moveTrack(row, destination); });
  // One of an older playlist moves nothing.
  const auto found = origin ? std::ranges::find(order_, *origin) : order_.end();
  if (found == order_.end()) return;
  const auto last = std::ssize(order_) - 1;
  moveElement(order_, found - order_.begin(), std::clamp<std::int64_t>(destination, 0, last));
}

void SeamUser::insert() {
  const SessionState& now = world_.window().state();
  const auto row = static_cast<std::int64_t>(random_.below(now.tracks.size() + 1));
  const PlaylistTrack* follower = now.tracks.entryAt(row);
  const auto before = follower != nullptr ? follower->id : 0;
  const auto urls = drawFiles();
  world_.world.note(fmt::format("window: insert {} tracks before row {}", urls.size(), row));
  forgetPromise();
  world_.ask(Wish::insert, "", [&](SessionProxy& window) { window.insertTracks(urls, before); });
  // Before one of an older playlist: at the end.
  const auto origin = world_.originOf(before);
  auto place = origin ? std::ranges::find(order_, *origin) : order_.end();
  const auto number = world_.seam().sentCount();
  for (std::size_t index = 0; index < urls.size(); ++index) {
    const Origin added{number, index};
    place = std::next(order_.insert(place, added));
    urls_[added] = urls[index];
  }
}

void SeamUser::remove() {
  const SessionState& now = world_.window().state();
  if (now.tracks.empty()) return;
  std::vector<PlaylistTrackID> tracks;
  for (std::size_t count = 1 + random_.below(3); count > 0; --count)
    tracks.push_back(now.tracks[random_.below(now.tracks.size())].id);
  world_.world.note(fmt::format("window: remove {} rows", tracks.size()));
  forgetPromise();
  world_.ask(Wish::remove, "", [&](SessionProxy& window) { window.removeTracks(tracks); });
  // One of an older playlist is not there any more.
  for (const PlaylistTrackID track : tracks)
    if (const auto origin = world_.originOf(track)) std::erase(order_, *origin);
}

/// Whether it brings back the list is checked where it is carried out: a load that was replaced there has changed
/// nothing. The order is known again once everything has arrived, or with the next load.
void SeamUser::undo() {
  if (!world_.window().state().undoableChange) return;
  world_.world.note("window: undo");
  forgetPromise();
  world_.ask(Wish::undo, "", [](SessionProxy& window) { window.undoPlaylistChange(); });
  require(!world_.window().state().undoableChange, "an undo that was asked for is still offered");
  isOrderKnown_ = false;
}

void SeamUser::adoptOrder() {
  order_.clear();
  for (const auto& track : world_.session().playlistTracks().value())
    if (const auto origin = world_.originOf(track.id)) order_.push_back(*origin);
  isOrderKnown_ = true;
}

void SeamUser::learnDuration() {
  const auto url = world_.window().currentTrackURL();
  if (!url) return;
  const auto found = std::ranges::find_if(world_.world.tracks, [&](const auto& track) { return track.url == *url; });
  if (found == world_.world.tracks.end() || !found->isPlayable) return;
  world_.world.note("window: the current track's length is known");
  world_.ask(Wish::knownDuration, "", [&](SessionProxy& window) { window.setKnownDuration(found->seconds(), *url); });
}

void SeamUser::storeSetting() {
  const std::string key = random_.pick(std::array{"Window.A", "Window.B", "Window.C"});
  const std::int64_t value = ++lastSetting_;
  settings_[key] = value;
  world_.ask(Wish::setting, key,
             [&](SessionProxy& window) { window.storeSetting(key, UserDefaults::Value(static_cast<double>(value))); });
}

void SeamUser::save() {
  world_.ask(Wish::save, "", [](SessionProxy& window) { window.save(); });
}

void SeamUser::watchPath() {
  watchesPath_ = !watchesPath_;
  world_.world.note(watchesPath_ ? "window: the sheet opens" : "window: the sheet closes");
  world_.ask(Wish::watch, "", [this](SessionProxy& window) { window.watchPath(watchesPath_); });
}

void SeamUser::minimiseOrRestore() {
  watchesTime_ = !watchesTime_;
  world_.world.note(watchesTime_ ? "window: restored" : "window: minimised");
  world_.ask(Wish::watchTime, "", [this](SessionProxy& window) { window.watchTime(watchesTime_); });
}

void SeamUser::comeToTheFront() {
  world_.world.note("window: comes to the front");
  world_.ask(Wish::checkFiles, "", [](SessionProxy& window) { window.checkUnplayableFiles(); });
}

// What is shown.

void SeamUser::promise(std::string what, std::function<bool(const SessionState&)> holds) {
  require(holds(world_.window().state()), "not at once: " + what);
  promise_ = Promise{world_.seam().sentCount(), std::move(what), std::move(holds)};
}

void SeamUser::shown(const SessionState& before, const SessionState& now) {
  const auto& seen = world_.seam().seen();
  require(now.isPlaying + now.isPaused + now.isPreparing <= 1, "the window shows two states of the transport at once");
  if (now.audioPathStatus.kind == Path::bitPerfect) {
    ++bitPerfectShown_;
    require(seen && seen->audioPathStatus.kind == Path::bitPerfect,
            "the window shows BIT-PERFECT, the state that it has been given does not");
    require(now.isPlaying || now.isPaused, "the window shows BIT-PERFECT while nothing is loaded");
  }
  require(watchesPath_ || !now.diagnostics, "diagnostics came that were not asked for");
  if (now.diagnostics) ++diagnosticsShown_;
  require(!now.signalPath || now.audioPathStatus.isOfAPath(),
          "the window shows the stages of a path without a verdict");
  require(now.signalPath || !now.audioPathStatus.isOfAPath(), "the window shows a verdict without the stages");
  require(!now.signalPath || now.signalPath->isUnaltered() == (now.audioPathStatus.kind == Path::bitPerfect),
          "the stages that the window shows contradict its verdict");
  if (!now.heldUpBy.empty()) {
    ++waitsShown_;
    require(now.audioPathStatus.kind == Path::configuring, "an old verdict stands while the player is waited for");
  }
  require(now.outputVolume == volume_, "the window shows a volume that was not asked for last");
  require(now.outputBalance == balance_, "the window shows a balance that was not asked for last");
  require(now.isExclusiveAccessEnabled == exclusive_, "the window shows the switch otherwise than it was set");
  if (promise_ && world_.isAnswered(promise_->number)) promise_.reset();
  if (promise_) require(promise_->holds(now), "shown before the answer: " + promise_->what);

  require(std::isfinite(now.position) && now.position >= 0, "a position before the beginning");
  require(now.duration <= 0 || now.position <= now.duration, "a position behind the end");
  const bool goesOn = before.isPlaying && now.isPlaying && before.loadedURL == now.loadedURL &&
                      before.playbackCompletionCount == now.playbackCompletionCount;
  if (goesOn) ++positionsShown_;
  if (goesOn && before.startedAt == now.startedAt && before.duration == now.duration)
    require(now.position >= before.position, "the position goes back while the track plays");
}

void SeamUser::checkWaiting() {
  constexpr auto noticeable = 1s;
  constexpr auto noticedWithin = 251ms;
  const SessionState& now = world_.window().state();
  const SentCommand* oldest = world_.oldestUnanswered();
  const auto age = oldest != nullptr ? world_.windowsTime.now() - oldest->at : 0ns;
  if (age < noticeable) require(now.heldUpBy.empty(), "the window says that the player is waited for, and it is not");
  if (watchesTime_ && age >= noticeable + noticedWithin)
    require(!now.heldUpBy.empty(), "the player has not answered for long, and the window does not say so");
}

// Where both must be in the end.

void SeamUser::expectAgreement() {
  world_.settle();
  world_.window().updatePlaybackPosition();
  world_.session().updatePlaybackPosition();
  world_.settle();
  ++agreements_;
  const SessionState& now = world_.window().state();
  PlayerSession& session = world_.session();
  const auto& player = session.player();
  require(now.lastCommand == world_.seam().sentCount(), "not every command was answered");
  require(now.isPlaying == player.isPlaying().value() && now.isPaused == player.isPaused().value() &&
              now.isPreparing == player.isPreparing().value() && now.startsPaused == player.startsPaused().value(),
          "the transport differs between window and player");
  require(now.currentIndex == session.currentIndex().value(), "the current row differs between window and player");
  require(now.loadedURL == player.currentURL().value() && now.sampleRate == player.sampleRate().value(),
          "the track differs between window and player");
  require(now.playbackCompletionCount == player.playbackCompletionCount().value(), "a completion was not seen");
  require(now.duration == session.playbackDuration().value(), "the length differs between window and player");
  require(now.startedAt == session.playbackStartedAt(), "the clock differs between window and player");
  require(
      std::abs(now.position - session.playbackPosition().value()) < 1e-6,
      fmt::format("the window stands at {} s, the player at {} s", now.position, session.playbackPosition().value()));
  require(now.audioPathStatus == player.audioPathStatus().value(), "the verdict differs between window and player");
  require(now.signalPath == player.signalPath().value(), "the stages differ between window and player");
  require((now.diagnostics != nullptr) == watchesPath_, "diagnostics are there, or not, against what was asked for");
  require(now.exclusiveAccessStatus == player.exclusiveAccessStatus().value(),
          "exclusive access differs between window and player");
  require(now.devices == world_.host->devices().devices().value() &&
              now.selectedDevice == world_.host->devices().selectedDevice().value(),
          "the devices differ between window and player");
  require(now.heldUpBy.empty(), "the window waits for a player that has answered");
  require(session.outputVolume().value() == volume_, "the last volume does not count");
  require(session.outputBalance().value() == balance_, "the last balance does not count");
  require(now.isExclusiveAccessEnabled == exclusive_ && world_.world.exclusiveAccess == exclusive_,
          "the last choice of exclusive access does not count");
  for (const auto& [key, value] : settings_)
    require(world_.defaults.value<double>(key) == static_cast<double>(value),
            "the last value of a setting does not count");
  checkLists();
  checkUnplayableFiles();
}

void SeamUser::checkUnplayableFiles() {
  const SessionState& now = world_.window().state();
  require(now.unplayableFiles == world_.session().unplayableFiles().files().value(),
          "the unplayable files differ between window and player");
  if (!now.unplayableFiles) return;
  ++unplayableShown_;
  for (const auto& [url, file] : *now.unplayableFiles)
    require(std::ranges::any_of(now.tracks.entries(), [&](const PlaylistTrack& track) { return track.url == url; }),
            "a file is marked that is not in the playlist");
  const bool isLoaded = now.isPlaying || now.isPaused;
  require(!isLoaded || !now.loadedURL || !now.unplayableFiles->contains(*now.loadedURL),
          "a file is marked as unplayable while it is loaded");
}

void SeamUser::checkLists() {
  const PlaylistTracks& list = world_.session().playlistTracks().value();
  require(world_.window().state().tracks == list, "the playlist differs between window and player");
  if (!isOrderKnown_) adoptOrder();
  require(list.size() == order_.size(), fmt::format("{} entries instead of {}", list.size(), order_.size()));
  for (std::size_t row = 0; row < std::min(list.size(), order_.size()); ++row)
    require(world_.originOf(list[row].id) == order_[row] && list[row].url == urls_.at(order_[row]),
            fmt::format("row {} holds another entry than was put there", row));
}

}  // namespace tolvane
