#include "tools/CaptureComparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "engine/DeliveryMonitor.h"
#include "engine/delivery/DeliveryCheck.h"
#include "engine/delivery/SampleReading.h"

namespace tolvane {
namespace {

/// The first frame in which some sample is not zero; nothing where all are.
std::optional<std::int64_t> firstSound(const SampleForm& form, std::span<const std::byte> bytes) {
  std::vector<double> frame(form.channels);
  for (std::size_t at = 0; at + form.frameBytes() <= bytes.size(); at += form.frameBytes()) {
    readNumbers(form, bytes.subspan(at, form.frameBytes()), frame);
    if (std::ranges::any_of(frame, [](double value) { return value != 0; }))
      return static_cast<std::int64_t>(at / form.frameBytes());
  }
  return std::nullopt;
}

/// Where nothing states the recording's channels, they are the track's.
DeliveryRecord::Form namedForm(const PreparedAudio& track, DeliveryRecord::Form form) {
  if (form.channels.positions.empty() && form.format.mChannelsPerFrame == track.context->format().mChannelsPerFrame)
    form.channels = track.channels.positions.empty() ? usualLayout(form.format.mChannelsPerFrame) : track.channels;
  return form;
}

CaptureComparison unknown(CaptureComparison found, std::string detail) {
  found.result = CaptureComparison::Result::unknown;
  found.detail = std::move(detail);
  return found;
}

CaptureComparison differs(CaptureComparison found, std::int64_t frame, std::string detail) {
  found.result = CaptureComparison::Result::differs;
  found.firstDifference = frame;
  found.detail = std::move(detail);
  return found;
}

}  // namespace

CaptureComparison compareCapture(const PreparedAudio& track, const Recording::Frames& recorded) {
  CaptureComparison found;
  found.totalFrames = track.context->totalFrames();
  const auto source = SampleForm::of(track.context->format());
  const auto captured = SampleForm::of(recorded.form.format);
  if (!source || !captured) return unknown(found, "Samples of this kind cannot be compared.");
  const auto trackSound = firstSound(*source, track.context->buffer().bytes());
  if (!trackSound) return unknown(found, "The track is silent: where it begins in the recording is not known.");
  const auto sound = firstSound(*captured, recorded.bytes);
  if (!sound) return differs(found, *trackSound, "Nothing but silence was recorded.");
  if (!recorded.isWhole) return unknown(found, "The recording has a gap: the card went, or the computer was too busy.");

  const std::int64_t begin = std::max<std::int64_t>(*sound - *trackSound, 0);
  const std::int64_t skipped = std::max<std::int64_t>(*trackSound - *sound, 0);  // of the track's silence, not recorded
  const auto heard = std::span(recorded.bytes).subspan(static_cast<std::size_t>(begin) * captured->frameBytes());
  DeliveryCheck check(deliveredTrack(track));
  if (skipped > 0)
    return differs(found, 0,
                   fmt::format("The recording begins {} frames into the track's silence.", groupedDigits(skipped)));
  check.runBegins(0);
  check.add(0, namedForm(track, recorded.form), heard);
  check.end();
  const DeliveryReport report = check.report();
  found.frames = report.frames;
  if (report.firstDifference)
    return differs(found, *report.firstDifference,
                   fmt::format("From frame {} on the recorded samples differ from those of the file.",
                               groupedDigits(*report.firstDifference)));
  if (report.reason == DeliveryReport::Reason::ended)
    return differs(found, report.frames,
                   fmt::format("Only {} of {} frames were recorded.", groupedDigits(report.frames),
                               groupedDigits(report.totalFrames)));
  if (report.result == DeliveryReport::Result::unknown)
    return unknown(found, "It is not known which recorded channel is which one of the track.");
  if (firstSound(*captured, heard.subspan(static_cast<std::size_t>(found.totalFrames) * captured->frameBytes())))
    return differs(found, found.totalFrames, "Something was recorded behind the end of the track.");
  found.result = CaptureComparison::Result::matches;
  found.detail = fmt::format("All {} frames were recorded as they are in the file.", groupedDigits(found.frames));
  return found;
}

std::string_view resultName(CaptureComparison::Result result) {
  constexpr std::array<std::string_view, 3> names{"matches", "differs", "unknown"};
  return names.at(static_cast<std::size_t>(result));
}

}  // namespace tolvane
