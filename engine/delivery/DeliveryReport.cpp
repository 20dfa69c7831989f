#include "engine/delivery/DeliveryReport.h"

#include <fmt/format.h>

#include <array>

namespace tolvane {
namespace {

std::string matchSentence(const DeliveryReport& report) {
  const std::string all = fmt::format("All {} frames handed to the device", groupedDigits(report.totalFrames));
  const std::string rounded =
      report.roundedToBits != 0 ? fmt::format(", rounded to {} bits", report.roundedToBits) : std::string();
  switch (report.reference) {
    case DeliveryReport::Reference::signature:
      return all + " match the signature that the encoder stored in this file.";
    case DeliveryReport::Reference::fileData:
      return report.url.isPartOfFile()
                 ? fmt::format("{} are those of this track in the sample data of its file{}.", all, rounded)
                 : fmt::format("{} are those of this file's sample data{}.", all, rounded);
    case DeliveryReport::Reference::decoded:
      break;
  }
  if (report.url.isPartOfFile())
    return fmt::format(
        "{} are those that the decoder made of this part of a file{}. Whether they are the encoder's cannot be said: "
        "a signature covers a whole file.",
        all, rounded);
  return fmt::format("{} are those that the decoder made of this file{}; it has no signature of its samples.", all,
                     rounded);
}

std::string_view reasonText(DeliveryReport::Reason reason) {
  switch (reason) {
    case DeliveryReport::Reason::notFromTheBeginning:
      return "playback did not start at the beginning of the track";
    case DeliveryReport::Reason::seek:
      return "playback went to another place in the track";
    case DeliveryReport::Reason::ended:
      return "playback ended before the last frame of the track";
    case DeliveryReport::Reason::levels:
      return "volume or balance was not neutral";
    case DeliveryReport::Reason::computed:
      return "the sample rate or the channels are converted for this device";
    case DeliveryReport::Reason::channels:
      return "it is not known which channel of the device is which one of the track";
    case DeliveryReport::Reason::layout:
      return "samples of this kind cannot be compared";
    case DeliveryReport::Reason::missing:
      return "the computer was too busy to look at every frame";
    case DeliveryReport::Reason::none:
      break;
  }
  return "nothing was recorded";
}

}  // namespace

std::string groupedDigits(std::int64_t number) {
  std::string text = std::to_string(number);
  for (auto at = static_cast<std::ptrdiff_t>(text.size()) - 3; at > 0; at -= 3)
    text.insert(static_cast<std::size_t>(at), 1, ',');
  return text;
}

std::string_view resultName(DeliveryReport::Result result) {
  constexpr std::array<std::string_view, 5> names{"checking", "matches", "damaged", "differs", "unknown"};
  return names.at(static_cast<std::size_t>(result));
}

std::string_view reasonName(DeliveryReport::Reason reason) {
  constexpr std::array<std::string_view, 9> names{"none",     "notFromTheBeginning", "seek",   "ended",  "levels",
                                                  "computed", "channels",            "layout", "missing"};
  return names.at(static_cast<std::size_t>(reason));
}

std::string deliverySentence(const DeliveryReport& report) {
  switch (report.result) {
    case DeliveryReport::Result::matches:
      return matchSentence(report);
    case DeliveryReport::Result::damaged:
      return fmt::format(
          "This file is damaged: its samples do not match the signature that the encoder stored in it. All {} frames "
          "were handed to the device as they were decoded.",
          groupedDigits(report.totalFrames));
    case DeliveryReport::Result::differs:
      return fmt::format("From frame {} on the samples handed to the device differ from those of the file{}{}.",
                         groupedDigits(report.firstDifference.value_or(0)),
                         report.reason == DeliveryReport::Reason::none ? "" : ": ",
                         report.reason == DeliveryReport::Reason::none ? "" : reasonText(report.reason));
    case DeliveryReport::Result::unknown:
      return fmt::format("The samples of this pass cannot be checked as a whole: {}.", reasonText(report.reason));
    case DeliveryReport::Result::checking:
      break;
  }
  return fmt::format("The first {} of {} frames were handed to the device as they are in the file.",
                     groupedDigits(report.frames), groupedDigits(report.totalFrames));
}

}  // namespace tolvane
