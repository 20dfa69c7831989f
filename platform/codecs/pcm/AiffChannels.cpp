#include "platform/codecs/pcm/AiffChannels.h"

#include <algorithm>
#include <array>
#include <optional>

#include "platform/codecs/bytes/ByteOrder.h"
#include "platform/codecs/bytes/ChunkWalker.h"

namespace tolvane {
namespace {

using enum ChannelPosition;
using Positions = std::vector<ChannelPosition>;

constexpr std::uint64_t fileHeaderSize = 12;
constexpr std::uint32_t mostDescribedChannels = 64;

// The layout tag says where the positions stand; other tags are layouts by name, with the channels in their low half.
constexpr std::uint32_t tagDescriptions = 0;
constexpr std::uint32_t tagBitmap = 1U << 16U;

/// The layouts by name whose positions are beyond doubt.
Positions positionsOfTag(std::uint32_t tag) {
  switch (tag) {
    case 108U << 16U | 4:
      return {frontLeft, frontRight, rearLeft, rearRight};
    case 113U << 16U | 3:
      return {frontLeft, frontRight, frontCentre};
    case 114U << 16U | 3:
      return {frontCentre, frontLeft, frontRight};
    case 115U << 16U | 4:
      return {frontLeft, frontRight, frontCentre, rearCentre};
    case 116U << 16U | 4:
      return {frontCentre, frontLeft, frontRight, rearCentre};
    case 117U << 16U | 5:
      return {frontLeft, frontRight, frontCentre, rearLeft, rearRight};
    case 118U << 16U | 5:
      return {frontLeft, frontRight, rearLeft, rearRight, frontCentre};
    case 119U << 16U | 5:
      return {frontLeft, frontCentre, frontRight, rearLeft, rearRight};
    case 120U << 16U | 5:
      return {frontCentre, frontLeft, frontRight, rearLeft, rearRight};
    case 121U << 16U | 6:
      return {frontLeft, frontRight, frontCentre, lowFrequency, rearLeft, rearRight};
    case 122U << 16U | 6:
      return {frontLeft, frontRight, rearLeft, rearRight, frontCentre, lowFrequency};
    case 123U << 16U | 6:
      return {frontLeft, frontCentre, frontRight, rearLeft, rearRight, lowFrequency};
    case 124U << 16U | 6:
      return {frontCentre, frontLeft, frontRight, rearLeft, rearRight, lowFrequency};
    case 128U << 16U | 8:  // the surround pair, then the pair behind it
      return {frontLeft, frontRight, frontCentre, lowFrequency, sideLeft, sideRight, rearLeft, rearRight};
    default:
      return {};
  }
}

/// Labels 1 to 18 are in the order of the mask.
ChannelPosition positionOfLabel(std::uint32_t label) {
  constexpr std::uint32_t rearSurroundLeft = 33;
  constexpr std::uint32_t rearSurroundRight = 34;
  if (label >= 1 && label <= maskedPositionCount) return static_cast<ChannelPosition>(label - 1);
  if (label == rearSurroundLeft) return rearLeft;
  if (label == rearSurroundRight) return rearRight;
  return unknown;
}

/// With a pair behind it, the surround pair stands at the sides.
void separateSurrounds(Positions& positions, const std::vector<std::uint32_t>& labels) {
  constexpr std::uint32_t leftSurround = 5;
  constexpr std::uint32_t rightSurround = 6;
  const auto has = [&](std::uint32_t label) { return std::ranges::find(labels, label) != labels.end(); };
  if (!has(33) && !has(34)) return;
  for (std::size_t i = 0; i < labels.size(); ++i) {
    if (labels[i] == leftSurround) positions[i] = sideLeft;
    if (labels[i] == rightSurround) positions[i] = sideRight;
  }
}

std::optional<ChannelLayout> readChunk(const ByteSource& source, const Chunk& chunk, std::uint32_t channels) {
  constexpr std::size_t headSize = 12;
  constexpr std::size_t descriptionSize = 20;
  std::array<std::byte, headSize> head;
  if (chunk.size < head.size() || readExactly(source, chunk.offset, head) != noErr) return std::nullopt;
  const auto tag = loadBig<std::uint32_t>(head, 0);
  const auto bitmap = loadBig<std::uint32_t>(head, 4);
  const auto descriptions = loadBig<std::uint32_t>(head, 8);
  if (tag == tagBitmap) return layoutOfMask(bitmap, channels);
  if (tag != tagDescriptions) {
    Positions positions = positionsOfTag(tag);
    if (positions.size() != channels) return std::nullopt;
    return statedLayout(std::move(positions));
  }
  if (descriptions != channels || channels > mostDescribedChannels ||
      chunk.size < headSize + std::uint64_t{channels} * descriptionSize)
    return std::nullopt;
  Positions positions;
  std::vector<std::uint32_t> labels;
  for (std::uint32_t i = 0; i < channels; ++i) {
    std::array<std::byte, 4> label;
    const std::uint64_t place = chunk.offset + headSize + std::uint64_t{i} * descriptionSize;
    if (readExactly(source, place, label) != noErr) return std::nullopt;
    labels.push_back(loadBig<std::uint32_t>(label, 0));
    positions.push_back(positionOfLabel(labels.back()));
  }
  separateSurrounds(positions, labels);
  return statedLayout(std::move(positions));
}

/// The format's own assignment, without a chunk. It has two orders for four channels, and none for five.
ChannelLayout assignedChannels(std::uint32_t channels) {
  if (channels == 3) return statedLayout({frontLeft, frontRight, frontCentre});
  if (channels == 6)
    return statedLayout({frontLeft, frontLeftOfCentre, frontCentre, frontRight, frontRightOfCentre, rearCentre});
  return usualLayout(channels);
}

}  // namespace

ChannelLayout readAiffChannels(const ByteSource& source, std::uint32_t channels, std::uint64_t offset) {
  if (channels < 2) return usualLayout(channels);
  ChunkWalker walker(source, offset + fileHeaderSize, std::endian::big);
  while (true) {
    const auto current = walker.current();
    if (!current) return usualLayout(channels);
    if (!*current) break;
    const Chunk& chunk = **current;
    if (chunk.id == fourCharCode("CHAN")) {
      // A chunk that is not understood leaves nothing certain.
      return readChunk(source, chunk, channels).value_or(usualLayout(channels));
    }
    if (walker.advancePast(chunk) != noErr) return usualLayout(channels);
  }
  // Chunks that the walker did not reach may state a layout.
  return walker.hasReachedEnd() ? assignedChannels(channels) : usualLayout(channels);
}

}  // namespace tolvane
