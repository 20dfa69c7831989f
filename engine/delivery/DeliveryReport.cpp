#include "engine/delivery/DeliveryReport.h"

#include <array>

namespace tolvane {
namespace {

/// Whole sentences, because other languages have another order of words.
BilingualText matchSentence(const DeliveryReport& report) {
  const std::string frames = groupedDigits(report.totalFrames);
  const std::uint32_t bits = report.roundedToBits;
  switch (report.reference) {
    case DeliveryReport::Reference::signature:
      return bilingual("All {} frames handed to the device match the signature that the encoder stored in this file.",
                       frames);
    case DeliveryReport::Reference::fileData:
      if (report.url.isPartOfFile())
        return bits != 0 ? bilingual(
                               "All {} frames handed to the device are those of this track in the sample data of its "
                               "file, rounded to {} bits.",
                               frames, bits)
                         : bilingual(
                               "All {} frames handed to the device are those of this track in the sample data of its "
                               "file.",
                               frames);
      return bits != 0 ? bilingual(
                             "All {} frames handed to the device are those of this file's sample data, rounded to "
                             "{} bits.",
                             frames, bits)
                       : bilingual("All {} frames handed to the device are those of this file's sample data.", frames);
    case DeliveryReport::Reference::decoded:
      break;
  }
  if (report.url.isPartOfFile())
    return bits != 0
               ? bilingual(
                     "All {} frames handed to the device are those that the decoder made of this part of a file, "
                     "rounded to {} bits. Whether they are the encoder's cannot be said: a signature covers a whole "
                     "file.",
                     frames, bits)
               : bilingual(
                     "All {} frames handed to the device are those that the decoder made of this part of a file. "
                     "Whether they are the encoder's cannot be said: a signature covers a whole file.",
                     frames);
  return bits != 0 ? bilingual(
                         "All {} frames handed to the device are those that the decoder made of this file, rounded "
                         "to {} bits; it has no signature of its samples.",
                         frames, bits)
                   : bilingual(
                         "All {} frames handed to the device are those that the decoder made of this file; it has "
                         "no signature of its samples.",
                         frames);
}

BilingualText reasonText(DeliveryReport::Reason reason) {
  switch (reason) {
    case DeliveryReport::Reason::notFromTheBeginning:
      return bilingual("playback did not start at the beginning of the track");
    case DeliveryReport::Reason::seek:
      return bilingual("playback went to another place in the track");
    case DeliveryReport::Reason::ended:
      return bilingual("playback ended before the last frame of the track");
    case DeliveryReport::Reason::levels:
      return bilingual("volume or balance was not neutral");
    case DeliveryReport::Reason::computed:
      return bilingual("the sample rate or the channels are converted for this device");
    case DeliveryReport::Reason::channels:
      return bilingual("it is not known which channel of the device is which one of the track");
    case DeliveryReport::Reason::layout:
      return bilingual("samples of this kind cannot be compared");
    case DeliveryReport::Reason::missing:
      return bilingual("the computer was too busy to look at every frame");
    case DeliveryReport::Reason::none:
      break;
  }
  return bilingual("nothing was recorded");
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

BilingualText deliverySentence(const DeliveryReport& report) {
  switch (report.result) {
    case DeliveryReport::Result::matches:
      return matchSentence(report);
    case DeliveryReport::Result::damaged:
      return bilingual(
          "This file is damaged: its samples do not match the signature that the encoder stored in it. All {} frames "
          "were handed to the device as they were decoded.",
          groupedDigits(report.totalFrames));
    case DeliveryReport::Result::differs:
      return report.reason == DeliveryReport::Reason::none
                 ? bilingual("From frame {} on the samples handed to the device differ from those of the file.",
                             groupedDigits(report.firstDifference.value_or(0)))
                 : bilingual("From frame {} on the samples handed to the device differ from those of the file: {}.",
                             groupedDigits(report.firstDifference.value_or(0)), reasonText(report.reason));
    case DeliveryReport::Result::unknown:
      return bilingual("The samples of this pass cannot be checked as a whole: {}.", reasonText(report.reason));
    case DeliveryReport::Result::checking:
      break;
  }
  return bilingual("The first {} of {} frames were handed to the device as they are in the file.",
                   groupedDigits(report.frames), groupedDigits(report.totalFrames));
}

}  // namespace tolvane
