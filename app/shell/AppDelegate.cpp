#include "app/shell/AppDelegate.h"

#include <array>
#include <utility>

#include "platform/BilingualText.h"

namespace tolvane {

namespace {

constexpr int windowWidth = 600;   // points
constexpr int windowHeight = 700;  // points

}  // namespace

void AppDelegate::configurePlayerWindow(ShellWindow& window) {
  if (playerWindow_ == &window) return;
  playerWindow_ = &window;
  window.setContentAndMinimumSize(windowWidth, windowHeight);
  window.setCloseAction([this] { hidePlayerWindow(); });
}

void AppDelegate::hidePlayerWindow() {
  if (!playerWindow_) return;
  if (isReachable_ && !isReachable_()) return playerWindow_->miniaturise();
  playerWindow_->orderOut();
}

void AppDelegate::showPlayerFromMenu(const std::string& activationToken) {
  if (!playerWindow_) return;
  if (playerWindow_->isMiniaturised()) playerWindow_->deminiaturise();
  playerWindow_->makeKeyAndOrderFront(activationToken);
}

bool AppDelegate::applicationShouldHandleReopen(const std::string& activationToken) {
  if (!playerWindow_) return true;
  showPlayerFromMenu(activationToken);
  return false;
}

void AppDelegate::applicationWillTerminate() {
  if (session_) session_->save();
}

bool AppDelegate::hasCurrentTrack() const { return session_ && session_->state().currentTrack() != nullptr; }

std::vector<MenuItem> AppDelegate::transportItems() const {
  const bool isPlaying = session_ && session_->state().isGoingToPlay();
  return {
      {translate("Previous"), "backward.end.fill", hasCurrentTrack(), ShellAction::previousTrack},
      {isPlaying ? translate("Pause") : translate("Play"), isPlaying ? "pause.fill" : "play.fill", hasCurrentTrack(),
       ShellAction::togglePlayback},
      {translate("Next"), "forward.end.fill", session_ && session_->state().canPlayNext(), ShellAction::nextTrack},
  };
}

std::vector<MenuItem> AppDelegate::playerSystemMenu() const {
  const auto url = session_ ? session_->currentTrackURL() : std::nullopt;
  std::vector<MenuItem> items{
      MenuItem::text(url ? std::string(url->lastPathComponent()) : translate("No track selected")),
      MenuItem::separator()};
  for (auto& item : transportItems()) items.push_back(std::move(item));
  items.push_back(MenuItem::separator());
  items.push_back({translate("Show Player"), "macwindow", true, ShellAction::showPlayerFromMenu});
  items.push_back({translate("Quit Tolvane Music Player"), {}, true, ShellAction::terminate});
  return items;
}

void AppDelegate::perform(ShellAction action) {
  switch (action) {
    case ShellAction::previousTrack:
      return previousTrack();
    case ShellAction::togglePlayback:
      return togglePlayback();
    case ShellAction::nextTrack:
      return nextTrack();
    case ShellAction::showPlayerFromMenu:
      return showPlayerFromMenu();
    case ShellAction::terminate:
      return terminate_();
  }
}

std::optional<ShellAction> AppDelegate::desktopAction(std::string_view name) {
  constexpr std::array<std::pair<std::string_view, ShellAction>, 4> actions{{
      {"previous", ShellAction::previousTrack},
      {"play-pause", ShellAction::togglePlayback},
      {"next", ShellAction::nextTrack},
      {"show-player", ShellAction::showPlayerFromMenu},
  }};
  for (const auto& [known, action] : actions) {
    if (known == name) return action;
  }
  return std::nullopt;
}

void AppDelegate::previousTrack() {
  if (session_) session_->previous();
}

void AppDelegate::togglePlayback() {
  if (session_) session_->togglePausePlayback();
}

void AppDelegate::nextTrack() {
  if (session_) session_->next();
}

}  // namespace tolvane
