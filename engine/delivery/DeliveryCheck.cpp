#include "engine/delivery/DeliveryCheck.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tolvane {
namespace {

using Reason = DeliveryReport::Reason;
using Result = DeliveryReport::Result;

constexpr std::size_t pieceFrames = 1024;

/// The other pair of surround channels (rear or side), for a device that has only one of the two.
ChannelPosition otherPair(ChannelPosition position) {
  switch (position) {
    case ChannelPosition::rearLeft:
      return ChannelPosition::sideLeft;
    case ChannelPosition::rearRight:
      return ChannelPosition::sideRight;
    case ChannelPosition::sideLeft:
      return ChannelPosition::rearLeft;
    case ChannelPosition::sideRight:
      return ChannelPosition::rearRight;
    default:
      return position;
  }
}

/// The nearest value that an integer of `bits` bits can represent; its error is at most half a step.
bool isNearest(double source, double delivered, unsigned bits) {
  const double step = std::ldexp(1.0, 1 - static_cast<int>(bits));
  const double wanted = std::clamp(std::isfinite(source) ? source : 0.0, -1.0, 1.0 - step);
  return std::fabs(delivered - wanted) <= step / 2;
}

}  // namespace

std::optional<std::vector<std::uint32_t>> placesOfChannels(const ChannelLayout& track, const ChannelLayout& device) {
  if (track.channelCount() > device.channelCount()) return std::nullopt;
  std::vector<std::uint32_t> places;
  const bool isUnnamed = std::ranges::count(device.positions, ChannelPosition::unknown) != 0;
  if (track.positions == device.positions || (isUnnamed && device.channelCount() <= 2)) {
    for (std::uint32_t channel = 0; channel < track.channelCount(); ++channel) places.push_back(channel);
    return places;
  }
  for (const ChannelPosition position : track.positions) {
    auto found = std::ranges::find(device.positions, position);
    if (found == device.positions.end() && !track.has(otherPair(position)))
      found = std::ranges::find(device.positions, otherPair(position));
    if (found == device.positions.end() || position == ChannelPosition::unknown) return std::nullopt;
    places.push_back(static_cast<std::uint32_t>(found - device.positions.begin()));
  }
  auto sorted = places;
  std::ranges::sort(sorted);
  if (std::ranges::adjacent_find(sorted) != sorted.end()) return std::nullopt;
  return places;
}

DeliveryCheck::DeliveryCheck(Track track) : track_(std::move(track)), source_(SampleForm::of(track_.context->format())) {
  if (!source_) reason_ = Reason::layout;
}

/// The track's samples are integers, and the block holds each of them exactly.
bool DeliveryCheck::isExact() const {
  if (track_.isFloat || track_.bitDepth == 0) return false;
  return source_->isFloat ? track_.bitDepth <= 24 : track_.bitDepth <= 32;
}

void DeliveryCheck::beginPass() {
  next_ = 0;
  frames_ = 0;
  reason_ = source_ ? Reason::none : Reason::layout;
  firstDifference_.reset();
  roundedToBits_ = 0;
  digest_ = Digest(Digest::Algorithm::md5);
}

void DeliveryCheck::runBegins(std::int64_t trackFrame) {
  if (trackFrame == next_) return;
  if (trackFrame == 0) return beginPass();
  interrupt(next_ == 0 ? Reason::notFromTheBeginning : Reason::seek);
  next_ = trackFrame;
}

void DeliveryCheck::interrupt(Reason reason) {
  const bool isFirst = reason_ == Reason::none || reason == Reason::levels;
  if (isFirst && !isComplete()) reason_ = reason;
}

void DeliveryCheck::end() { interrupt(Reason::ended); }

bool DeliveryCheck::setForm(const DeliveryRecord::Form& form) {
  if (form_ == form) return delivered_ && !places_.empty();
  form_ = form;
  delivered_ = SampleForm::of(form.format);
  places_.clear();
  if (!delivered_) {
    interrupt(Reason::layout);
    return false;
  }
  const auto places = placesOfChannels(
      track_.channels.positions.empty() ? usualLayout(source_->channels) : track_.channels, form.channels);
  if (!places || places->size() != source_->channels || form.channels.channelCount() != delivered_->channels) {
    interrupt(Reason::channels);
    return false;
  }
  places_ = *places;
  isInOrder_ = places_.size() == delivered_->channels && std::ranges::is_sorted(places_);
  isSilent_.assign(delivered_->channels, true);
  for (const std::uint32_t place : places_) isSilent_[place] = false;
  return true;
}

void DeliveryCheck::add(std::int64_t trackFrame, const DeliveryRecord::Form& form, std::span<const std::byte> bytes) {
  const std::int64_t total = track_.context->totalFrames();
  if (trackFrame != next_) {
    if (trackFrame >= total) return;
    interrupt(Reason::missing);
  }
  next_ = trackFrame;
  hasFrames_ = hasFrames_ || trackFrame < total;
  if (!source_ || !setForm(form)) return;
  const std::size_t sourceBytes = source_->frameBytes();
  const std::size_t deliveredBytes = delivered_->frameBytes();
  const auto block = track_.context->buffer().bytes();
  auto left = static_cast<std::size_t>(
      std::min<std::int64_t>(static_cast<std::int64_t>(bytes.size() / deliveredBytes), std::max<std::int64_t>(total - trackFrame, 0)));
  while (left > 0) {
    const std::size_t frames = std::min(left, pieceFrames);
    const auto source = block.subspan(static_cast<std::size_t>(next_) * sourceBytes, frames * sourceBytes);
    const auto delivered = bytes.first(frames * deliveredBytes);
    const std::size_t same =
        isExact() ? compareExactly(source, delivered, frames) : compareNumbers(source, delivered, frames);
    if (same < frames && !firstDifference_) firstDifference_ = next_ + static_cast<std::int64_t>(same);
    next_ += static_cast<std::int64_t>(frames);
    if (reason_ == Reason::none) frames_ = next_;
    bytes = bytes.subspan(frames * deliveredBytes);
    left -= frames;
  }
}

/// Counts the frames that agree, up to the first that does not.
std::size_t DeliveryCheck::compareExactly(std::span<const std::byte> source, std::span<const std::byte> delivered,
                                          std::size_t frames) {
  const std::size_t sourceChannels = source_->channels;
  const std::size_t deviceChannels = delivered_->channels;
  sourceValues_.resize(frames * sourceChannels);
  deliveredValues_.resize(frames * deviceChannels);
  readLeftAligned(*source_, source, sourceValues_);
  readLeftAligned(*delivered_, delivered, deliveredValues_);
  addToDigest(frames);
  if (isInOrder_)
    return static_cast<std::size_t>(std::ranges::mismatch(sourceValues_, deliveredValues_).in1 - sourceValues_.begin()) /
           sourceChannels;
  for (std::size_t frame = 0; frame < frames; ++frame) {
    const std::int64_t* const wanted = sourceValues_.data() + frame * sourceChannels;
    const std::int64_t* const found = deliveredValues_.data() + frame * deviceChannels;
    bool isSame = true;
    for (std::size_t channel = 0; channel < sourceChannels; ++channel)
      isSame = isSame && wanted[channel] == found[places_[channel]];
    if (deviceChannels > sourceChannels)
      for (std::size_t channel = 0; channel < deviceChannels; ++channel)
        isSame = isSame && (!isSilent_[channel] || found[channel] == 0);
    if (!isSame) return frame;
  }
  return frames;
}

/// REQUIRES: deliveredValues_ holds the frames.
void DeliveryCheck::addToDigest(std::size_t frames) {
  if (reason_ != Reason::none) return;
  const std::size_t bytes = (track_.bitDepth + 7) / 8;
  const unsigned below = 64 - track_.bitDepth;
  reduced_.resize(frames * places_.size() * bytes);
  std::byte* at = reduced_.data();
  const auto reduceTo = [&]<std::size_t size>() {
    const auto store = [&](std::int64_t value) {
      for (std::size_t byte = 0; byte < size; ++byte) at[byte] = static_cast<std::byte>(value >> (below + 8 * byte));
      at += size;
    };
    if (isInOrder_)
      for (const std::int64_t value : deliveredValues_) store(value);
    else
      for (std::size_t frame = 0; frame < frames; ++frame)
        for (const std::uint32_t place : places_) store(deliveredValues_[frame * delivered_->channels + place]);
  };
  switch (bytes) {
    case 1:
      reduceTo.template operator()<1>();
      break;
    case 2:
      reduceTo.template operator()<2>();
      break;
    case 3:
      reduceTo.template operator()<3>();
      break;
    case 4:
      reduceTo.template operator()<4>();
      break;
    default:
      break;  // isExact() stops here too
  }
  digest_.add(reduced_);
}

std::size_t DeliveryCheck::compareNumbers(std::span<const std::byte> source, std::span<const std::byte> delivered,
                                          std::size_t frames) {
  const std::size_t sourceChannels = source_->channels;
  const std::size_t deviceChannels = delivered_->channels;
  sourceNumbers_.resize(frames * sourceChannels);
  deliveredNumbers_.resize(frames * deviceChannels);
  readNumbers(*source_, source, sourceNumbers_);
  readNumbers(*delivered_, delivered, deliveredNumbers_);
  for (std::size_t frame = 0; frame < frames; ++frame) {
    const double* const found = deliveredNumbers_.data() + frame * deviceChannels;
    for (std::size_t channel = 0; channel < sourceChannels; ++channel) {
      const double wanted = sourceNumbers_[frame * sourceChannels + channel];
      const double value = found[places_[channel]];
      if (wanted == value || (std::isnan(wanted) && std::isnan(value))) continue;
      const bool isRounded = delivered_->isFloat ? static_cast<double>(static_cast<float>(wanted)) == value
                                                 : isNearest(wanted, value, delivered_->bits);
      if (!isRounded) return frame;
      roundedToBits_ = delivered_->isFloat ? 24 : delivered_->bits;
    }
    for (std::size_t channel = 0; channel < deviceChannels; ++channel)
      if (isSilent_[channel] && found[channel] != 0) return frame;
  }
  return frames;
}

DeliveryReport DeliveryCheck::report() const {
  DeliveryReport report;
  report.url = track_.url;
  report.totalFrames = track_.context->totalFrames();
  report.frames = frames_;
  report.reason = reason_;
  report.firstDifference = firstDifference_;
  report.roundedToBits = roundedToBits_;
  if (source_ && isExact() && frames_ > 0) {
    if (const auto digest = digest_.result()) {
      report.delivered.emplace();
      std::ranges::copy(*digest, report.delivered->begin());
    }
    report.stored = track_.signature;
  }
  const bool isDecoded = !track_.isLossless || (source_ && source_->isFloat && !track_.isFloat);
  if (isDecoded) report.reference = DeliveryReport::Reference::decoded;
  const bool isSigned = report.delivered && report.stored;
  if (isSigned) report.reference = DeliveryReport::Reference::signature;
  if (firstDifference_)
    report.result = Result::differs;
  else if (reason_ != Reason::none)
    report.result = Result::unknown;
  else if (frames_ == report.totalFrames && frames_ > 0)
    report.result = isSigned && report.delivered != report.stored ? Result::damaged : Result::matches;
  return report;
}

}  // namespace tolvane
