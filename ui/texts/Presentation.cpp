#include "ui/texts/Presentation.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>

#include "engine/PlainWords.h"
#include "platform/PrintableText.h"

namespace tolvane {

std::string formatTime(double seconds) {
  if (!std::isfinite(seconds) || seconds < 0) return "00:00";
  const double total = std::floor(seconds);
  const double minutes = std::floor(total / 60);
  return fmt::format("{:02.0f}:{:02.0f}", minutes, total - 60 * minutes);
}

std::string displayText(std::string_view text) { return withoutControls(text, replacementCharacter); }

std::string currentTrackTitle(const std::optional<PlaylistTrack>& track) {
  return track ? displayText(track->title()) : translate("No track selected");
}

std::string trackTitle(const PlaylistTrack& track, const MusicTags* tags) {
  return displayText(tags != nullptr && !tags->title.empty() ? std::string_view(tags->title) : track.title());
}

std::string creditsLabel(const MusicTags* tags) {
  if (tags == nullptr) return "";
  const bool hasBoth = !tags->artist.empty() && !tags->album.empty();
  return displayText(tags->artist + (hasBoth ? " · " : "") + tags->album);
}

std::string detailLabel(const PlaylistTrack& track, const MusicTags* tags) {
  if (tags == nullptr) return "";
  std::string credits = creditsLabel(tags);
  if (!credits.empty()) return credits;
  const std::string_view path = track.url.path();
  const auto end = std::min(path.rfind('/'), path.size());
  return displayText(FileURL(std::string(path.substr(0, end))).lastPathComponent());
}

std::string trackPositionLabel(std::int64_t currentIndex, std::int64_t count) {
  return count > 0 ? fmt::format("{:02} / {:02}", currentIndex + 1, count) : "-- / --";
}

std::string rowNumberLabel(std::int64_t row, std::string_view title) {
  const std::int64_t number = row + 1;
  std::int64_t leading = 0;
  const auto digits = std::min(title.find_first_not_of("0123456789"), title.size());
  const auto [end, error] = std::from_chars(title.data(), title.data() + digits, leading);
  return error == std::errc() && leading == number ? "" : fmt::format("{:02}", number);
}

std::string savingLabel(bool isSaved) { return isSaved ? "" : translate("not saved for now"); }

std::string problemText(const UnplayableFile& file) {
  const BilingualText words = plainWords(file.detail, file.context);
  return words.empty() ? displayText(file.detail) : displayText(words) + '\n' + displayText(file.detail);
}

std::string trackCountLabel(std::int64_t count) {
  return translatePlural("{} track", "{} tracks", static_cast<unsigned long>(count), count);
}

std::string playlistDurationLabel(double seconds, std::int64_t known, std::int64_t count) {
  if (known == 0) return "";
  const double total = std::floor(seconds);
  const double hours = std::floor(total / 3600);
  const double minutes = std::floor(total / 60) - 60 * hours;
  const double rest = total - 60 * std::floor(total / 60);
  const std::string time = hours > 0 ? fmt::format("{:.0f}:{:02.0f}:{:02.0f}", hours, minutes, rest)
                                     : fmt::format("{:02.0f}:{:02.0f}", minutes, rest);
  return known < count ? translate("{} or more", time) : time;
}

std::string matchLabel(std::int64_t number, std::int64_t count) {
  return count > 0 ? translate("{} of {}", number, count) : translate("No match");
}

std::string selectionLabel(std::int64_t count, std::int64_t selected) {
  return translate("{} of {} selected", selected, count);
}

std::string playlistChangeLabel(const PlaylistChange& change) {
  const auto count = static_cast<unsigned long>(change.count);
  switch (change.kind) {
    case PlaylistChange::Kind::replaced:
      return translatePlural("{} track replaced", "{} tracks replaced", count, count);
    case PlaylistChange::Kind::added:
      return translatePlural("{} track added", "{} tracks added", count, count);
    case PlaylistChange::Kind::removed:
      return translatePlural("{} track removed", "{} tracks removed", count, count);
    case PlaylistChange::Kind::moved:
      break;
  }
  return translate("Track moved");
}

std::string sampleRateLabel(double hertz) {
  if (!(hertz > 0)) return translate("No active sample rate");
  const double kilohertz = hertz / 1000;
  return kilohertz == std::floor(kilohertz) ? fmt::format("{:.0f} kHz", kilohertz)
                                            : fmt::format("{:.1f} kHz", kilohertz);
}

std::string durationLabel(std::optional<double> seconds) {
  return seconds && std::isfinite(*seconds) && *seconds >= 0 ? formatTime(*seconds) : "--:--";
}

std::string outputPercentageLabel(double value) {
  constexpr double smallest = 0.01;
  constexpr double largestFraction = 99.99;
  const double percent = std::abs(value) * 100;
  if (percent == std::floor(percent)) return fmt::format("{:.0f}", percent);
  return percent < smallest ? "<0.01" : fmt::format("{:.2f}", std::min(percent, largestFraction));
}

std::string balanceLabel(double balance) {
  if (balance == 0) return translate("Center");
  const std::string percentage = outputPercentageLabel(balance);
  return balance < 0 ? translate("L {}", percentage) : translate("R {}", percentage);
}

std::string exclusiveAccessControlTitle(ExclusiveAccessStatus::Kind kind) {
  using Kind = ExclusiveAccessStatus::Kind;
  switch (kind) {
    case Kind::off:
    case Kind::requested:
      return translate("Exclusive\nAccess");
    case Kind::checking:
      return translate("Exclusive\nChecking");
    case Kind::lost:
    case Kind::unavailable:
      return translate("Exclusive\nLost");
    case Kind::active:
      break;
  }
  return translate("Exclusive\nActive");
}

ThemeColor exclusiveAccessControlColor(ExclusiveAccessStatus::Kind kind) {
  using Kind = ExclusiveAccessStatus::Kind;
  switch (kind) {
    case Kind::off:
    case Kind::requested:
      return Theme::gold.withOpacity(0.72);
    case Kind::checking:
      return Theme::copper;
    case Kind::lost:
    case Kind::unavailable:
      return Theme::ember;
    case Kind::active:
      break;
  }
  return Theme::gold;
}

ThemeColor audioPathColor(AudioPathStatus::Kind kind) {
  using Kind = AudioPathStatus::Kind;
  switch (kind) {
    case Kind::ready:
      return Theme::muted.withOpacity(0.72);
    case Kind::configuring:
      return Theme::copper.withOpacity(0.82);
    case Kind::bitPerfect:
      return Theme::gold;
    case Kind::directPCM:
    case Kind::processed:
      return Theme::copper;
    case Kind::converted:
    case Kind::error:
      break;
  }
  return Theme::ember;
}

}  // namespace tolvane
