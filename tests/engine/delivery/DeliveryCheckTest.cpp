// The report on delivered samples: they are the track's only if every one of them is.

#include "engine/delivery/DeliveryCheck.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>

#include "platform/conversion/ChannelMap.h"
#include "platform/conversion/PcmConverter.h"
#include "tests/support/SeededRandom.h"

namespace tolvane {
namespace {

using Result = DeliveryReport::Result;
using Reason = DeliveryReport::Reason;
using testing::HasSubstr;

constexpr std::int64_t trackFrames = 5000;

struct Source {
  AudioStreamBasicDescription format;
  std::vector<std::byte> bytes;
  DeliveryCheck::Track track;
};

/// A track of random samples: integers in their own layout, or a decoded one in floats that hold integers of `bits`.
Source source(std::uint32_t bits, std::uint32_t channels = 2, bool isDecoded = false) {
  test::SeededRandom random(bits * 100 + channels);
  const PcmLayout integers = integerLayout(bits, (bits + 7) / 8);
  Source source;
  source.format =
      isDecoded ? float32PCM(44100, channels) : describe(integers, 44100, channels);
  std::vector<std::byte> own(static_cast<std::size_t>(trackFrames) * channels * integers.bytes);
  for (std::byte& byte : own) byte = static_cast<std::byte>(random.next());
  source.bytes = own;
  if (isDecoded) {
    source.bytes.resize(static_cast<std::size_t>(trackFrames) * channels * 4);
    PcmConverter(integers, floatLayout(4)).convert(own.data(), source.bytes.data(), own.size() / integers.bytes);
    Digest digest(Digest::Algorithm::md5);
    digest.add(own);
    source.track.signature.emplace();
    std::ranges::copy(*digest.result(), source.track.signature->begin());
  }
  PcmBlock block(source.bytes.size());
  std::ranges::copy(source.bytes, block.data());
  source.track.context = std::make_shared<AudioRenderContext>(std::move(block), static_cast<std::int64_t>(source.bytes.size()),
                                                              source.format, std::make_shared<AtomicOutputLevels>());
  source.track.bitDepth = bits;
  source.track.isLossless = true;
  return source;
}

struct Delivery {
  DeliveryRecord::Form form;
  std::vector<std::byte> bytes;
};

/// What a unit would hand to a device of this layout.
Delivery deliver(const Source& source, const PcmLayout& device) {
  Delivery delivery{{describe(device, 44100, source.format.mChannelsPerFrame),
                     usualLayout(source.format.mChannelsPerFrame)},
                    {}};
  const std::size_t samples = static_cast<std::size_t>(trackFrames) * source.format.mChannelsPerFrame;
  delivery.bytes.resize(samples * device.bytes);
  PcmConverter(*pcmLayout(source.format), device).convert(source.bytes.data(), delivery.bytes.data(), samples);
  return delivery;
}

void add(DeliveryCheck& check, const Delivery& delivery, std::int64_t from = 0, std::int64_t until = trackFrames) {
  const std::size_t frame = delivery.form.format.mBytesPerFrame;
  check.add(from, delivery.form,
            std::span(delivery.bytes).subspan(static_cast<std::size_t>(from) * frame, static_cast<std::size_t>(until - from) * frame));
}

DeliveryReport reportOf(const Source& source, const Delivery& delivery) {
  DeliveryCheck check(source.track);
  add(check, delivery);
  return check.report();
}

TEST(DeliveryCheckTest, FindsWhatWasDeliveredWhole) {
  int checked = 0;
  for (const std::uint32_t bits : {8U, 12U, 16U, 20U, 24U, 32U})
    for (const PcmLayout& device :
         {integerLayout(16, 2), integerLayout(24, 3), integerLayout(24, 4), integerLayout(24, 4, false, true),
          integerLayout(32, 4), integerLayout(32, 4, true), floatLayout(4), floatLayout(8)}) {
      const Source track = source(bits);
      if (!isExact(*pcmLayout(track.format), device)) continue;
      ++checked;
      const DeliveryReport report = reportOf(track, deliver(track, device));
      EXPECT_EQ(report.result, Result::matches) << bits << " to " << layoutText(device);
      EXPECT_EQ(report.frames, trackFrames);
      Digest digest(Digest::Algorithm::md5);
      digest.add(track.bytes);
      if (bits % 8 == 0) {
        EXPECT_TRUE(std::ranges::equal(*report.delivered, *digest.result()));
      }
    }
  EXPECT_GT(checked, 30);
}

TEST(DeliveryCheckTest, ComparesADecodedTrackWithTheEncodersSignature) {
  for (const std::uint32_t bits : {8U, 16U, 24U}) {
    Source track = source(bits, 2, true);
    const Delivery delivery = deliver(track, integerLayout(32, 4));
    const DeliveryReport report = reportOf(track, delivery);
    EXPECT_EQ(report.result, Result::matches);
    EXPECT_EQ(report.reference, DeliveryReport::Reference::signature);
    EXPECT_EQ(deliverySentence(report),
              "All 5,000 frames handed to the device match the signature that the encoder stored in this file.");

    track.track.signature->front() ^= std::byte{1};
    const DeliveryReport damaged = reportOf(track, delivery);
    EXPECT_EQ(damaged.result, Result::damaged);
    EXPECT_THAT(deliverySentence(damaged), HasSubstr("This file is damaged"));

    track.track.signature.reset();
    const DeliveryReport unsignedFile = reportOf(track, delivery);
    EXPECT_EQ(unsignedFile.result, Result::matches);
    EXPECT_EQ(unsignedFile.reference, DeliveryReport::Reference::decoded);
    EXPECT_THAT(deliverySentence(unsignedFile), HasSubstr("no signature"));

    track.track.url = FileURL("/a.flac", FileExcerpt{.first = 75});
    const DeliveryReport part = reportOf(track, delivery);
    EXPECT_EQ(part.result, Result::matches);
    EXPECT_EQ(
        deliverySentence(part),
        "All 5,000 frames handed to the device are those that the decoder made of this part of a file. Whether they "
        "are the encoder's cannot be said: a signature covers a whole file.");
  }
}

/// Each mistake that a conversion, a driver or a render loop could make, at the first, at some and at the last frame.
TEST(DeliveryCheckTest, CatchesEveryMistake) {
  int caught = 0;
  for (const bool isDecoded : {false, true})
    for (const PcmLayout& device : {integerLayout(24, 3), integerLayout(32, 4), floatLayout(4)})
      for (const std::int64_t at : {std::int64_t{0}, std::int64_t{1023}, std::int64_t{1024}, std::int64_t{3210}, trackFrames - 1}) {
        const Source track = source(16, 2, isDecoded);
        const Delivery good = deliver(track, device);
        ASSERT_EQ(reportOf(track, good).result, Result::matches);
        const std::size_t frame = good.form.format.mBytesPerFrame;
        const auto place = static_cast<std::ptrdiff_t>(static_cast<std::size_t>(at) * frame);
        const auto expectCaught = [&](const char* mistake, const Delivery& bad) {
          const DeliveryReport report = reportOf(track, bad);
          EXPECT_EQ(report.result, Result::differs) << mistake << " at " << at;
          EXPECT_EQ(report.firstDifference, at) << mistake;
          ++caught;
        };
        for (std::size_t bit = 0; bit < 8 * frame; ++bit) {
          Delivery flipped = good;
          flipped.bytes[static_cast<std::size_t>(place) + bit / 8] ^= static_cast<std::byte>(1U << bit % 8);
          expectCaught("a flipped bit", flipped);
        }
        Delivery swapped = good;
        std::swap_ranges(swapped.bytes.begin() + place, swapped.bytes.begin() + place + static_cast<std::ptrdiff_t>(frame / 2),
                         swapped.bytes.begin() + place + static_cast<std::ptrdiff_t>(frame / 2));
        expectCaught("swapped channels", swapped);
        Delivery lost = good;
        lost.bytes.erase(lost.bytes.begin() + place, lost.bytes.begin() + place + static_cast<std::ptrdiff_t>(frame));
        lost.bytes.resize(good.bytes.size());  // silence behind the end
        expectCaught("a lost frame", lost);
        Delivery silent = good;
        std::fill_n(silent.bytes.begin() + place, frame, std::byte{0});
        expectCaught("a silent frame", silent);
        if (at == 0) continue;
        Delivery repeated = good;
        std::copy_n(good.bytes.begin() + place - static_cast<std::ptrdiff_t>(frame), frame, repeated.bytes.begin() + place);
        expectCaught("a repeated frame", repeated);
      }
  EXPECT_GT(caught, 1000);
}

TEST(DeliveryCheckTest, FollowsEachChannelToItsLoudspeaker) {
  Source track = source(16, 6);
  track.track.channels = layoutOfMask(0x3F, 6);
  ChannelLayout device;
  using enum ChannelPosition;
  device.positions = {frontLeft, frontRight, rearLeft, rearRight, frontCentre, lowFrequency, sideLeft, sideRight};
  const auto map = ChannelMap::make(track.track.channels, device);
  ASSERT_TRUE(map && !map->mixes());
  Delivery delivery{{describe(integerLayout(16, 2), 44100, 8), device}, std::vector<std::byte>(trackFrames * 16)};
  map->spread(integerLayout(16, 2), track.bytes.data(), delivery.bytes.data(), trackFrames);
  EXPECT_EQ(reportOf(track, delivery).result, Result::matches);

  Delivery loud = delivery;
  loud.bytes[16 * 77 + 12] = std::byte{1};  // the side left loudspeaker, which no channel of the track has
  EXPECT_EQ(reportOf(track, loud).firstDifference, 77);

  delivery.form.channels.positions[0] = frontRight;
  delivery.form.channels.positions[1] = frontLeft;
  EXPECT_EQ(reportOf(track, delivery).firstDifference, 0);

  delivery.form.channels = unknownLayout(8);
  const DeliveryReport report = reportOf(track, delivery);
  EXPECT_EQ(report.result, Result::unknown);
  EXPECT_EQ(report.reason, Reason::channels);
}

TEST(DeliveryCheckTest, TakesTheOnlyPairBesideOrBehindTheListenerForTheOther) {
  using enum ChannelPosition;
  EXPECT_THAT(placesOfChannels({{frontLeft, frontRight, sideLeft, sideRight}}, {{frontLeft, frontRight, rearLeft, rearRight}}),
              testing::Optional(testing::ElementsAre(0, 1, 2, 3)));
  EXPECT_EQ(placesOfChannels({{frontLeft, frontRight, sideLeft, sideRight, rearLeft, rearRight}},
                             {{frontLeft, frontRight, rearLeft, rearRight, frontCentre, lowFrequency}}),
            std::nullopt);
  EXPECT_EQ(placesOfChannels(usualLayout(2), usualLayout(1)), std::nullopt);
}

TEST(DeliveryCheckTest, RoundsFloatingPointToTheDevice) {
  test::SeededRandom random(3);
  Source track = source(24, 2, true);
  track.track.isFloat = true;
  track.track.bitDepth = 32;
  track.track.signature.reset();
  std::vector<float> numbers(trackFrames * 2);
  for (float& number : numbers) number = static_cast<float>(random.fraction() * 2.2 - 1.1);
  std::memcpy(track.bytes.data(), numbers.data(), track.bytes.size());
  PcmBlock block(track.bytes.size());
  std::ranges::copy(track.bytes, block.data());
  track.track.context = std::make_shared<AudioRenderContext>(std::move(block), static_cast<std::int64_t>(track.bytes.size()), track.format,
                                                             std::make_shared<AtomicOutputLevels>());
  EXPECT_EQ(reportOf(track, deliver(track, floatLayout(4))).roundedToBits, 0U);
  Delivery delivery = deliver(track, integerLayout(16, 2));
  const DeliveryReport report = reportOf(track, delivery);
  EXPECT_EQ(report.result, Result::matches);
  EXPECT_EQ(report.roundedToBits, 16U);
  EXPECT_THAT(deliverySentence(report), HasSubstr("rounded to 16 bits"));
  EXPECT_FALSE(report.delivered);
  delivery.bytes[400] ^= std::byte{2};
  EXPECT_EQ(reportOf(track, delivery).firstDifference, 100);
}

TEST(DeliveryCheckTest, GoesOnAfterAPauseAndBeginsAnewAtTheBeginning) {
  const Source track = source(16);
  const Delivery delivery = deliver(track, integerLayout(16, 2));
  DeliveryCheck check(track.track);
  check.runBegins(0);
  add(check, delivery, 0, 1500);
  check.runBegins(1500);
  add(check, delivery, 1500, 3000);
  EXPECT_EQ(check.report().result, Result::checking);
  EXPECT_EQ(deliverySentence(check.report()), "The first 3,000 of 5,000 frames were handed to the device as they are in the file.");
  check.runBegins(100);
  EXPECT_EQ(check.report().reason, Reason::seek);
  add(check, delivery, 100, trackFrames);
  EXPECT_EQ(check.report().result, Result::unknown);
  check.runBegins(0);
  add(check, delivery);
  EXPECT_EQ(check.report().result, Result::matches);
}

TEST(DeliveryCheckTest, SaysWhyNothingCanBeSaid) {
  const Source track = source(16);
  const Delivery delivery = deliver(track, integerLayout(16, 2));
  const auto reasonAfter = [&](auto&& events) {
    DeliveryCheck check(track.track);
    events(check);
    const DeliveryReport report = check.report();
    EXPECT_EQ(report.result, Result::unknown);
    EXPECT_THAT(deliverySentence(report), testing::StartsWith("The samples of this pass cannot be checked as a whole: "));
    return report.reason;
  };
  EXPECT_EQ(reasonAfter([&](DeliveryCheck& check) {
              check.runBegins(10);
              add(check, delivery, 10);
            }),
            Reason::notFromTheBeginning);
  EXPECT_EQ(reasonAfter([&](DeliveryCheck& check) {
              add(check, delivery, 0, 10);
              add(check, delivery, 11);
            }),
            Reason::missing);
  EXPECT_EQ(reasonAfter([&](DeliveryCheck& check) {
              add(check, delivery, 0, 10);
              add(check, delivery, 9);
            }),
            Reason::missing);
  EXPECT_EQ(reasonAfter([&](DeliveryCheck& check) {
              add(check, delivery, 0, 4999);
              check.end();
            }),
            Reason::ended);
  EXPECT_EQ(reasonAfter([&](DeliveryCheck& check) {
              check.interrupt(Reason::levels);
              check.interrupt(Reason::seek);
              add(check, delivery);
            }),
            Reason::levels);
  EXPECT_EQ(reasonAfter([&](DeliveryCheck& check) {
              check.interrupt(Reason::seek);
              check.interrupt(Reason::levels);
            }),
            Reason::levels);
}

TEST(DeliveryCheckTest, LooksAtNothingBehindTheEnd) {
  const Source track = source(16);
  Delivery delivery = deliver(track, integerLayout(16, 2));
  delivery.bytes.resize(delivery.bytes.size() + 4000, std::byte{7});
  DeliveryCheck check(track.track);
  check.add(0, delivery.form, delivery.bytes);
  check.add(trackFrames + 1000, delivery.form, std::span(delivery.bytes).first(4));
  check.interrupt(Reason::levels);
  check.end();
  EXPECT_EQ(check.report().result, Result::matches);
}

}  // namespace
}  // namespace tolvane
