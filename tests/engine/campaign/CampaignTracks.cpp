#include "tests/engine/campaign/CampaignTracks.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <string>

namespace tolvane {
namespace {

constexpr std::uint32_t integer = kAudioFormatFlagIsSignedInteger;

std::size_t markBytes(const AudioStreamBasicDescription& format) {
  return std::min<std::size_t>(format.mBytesPerFrame, 4);
}

}  // namespace

std::uint64_t CampaignTrack::mark(std::int64_t frame) const {
  const std::uint64_t different = (std::uint64_t{1} << 8 * markBytes(format)) - 1;
  return static_cast<std::uint64_t>(frame) % different + 1;
}

std::uint64_t CampaignTrack::markIn(std::span<const std::byte> frame) const {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < markBytes(format); ++i) value |= std::to_integer<std::uint64_t>(frame[i]) << 8 * i;
  return value;
}

CampaignTracks::CampaignTracks() {
  for (const double rate : {44100.0, 48000.0, 96000.0, 192000.0}) {
    addPCM(closeUp_, linearPCM(rate, 2, 16, 2, integer), rate > 50000 ? 3.3 : 17.0);
    addPCM(closeUp_, linearPCM(rate, 2, 24, 3, integer), rate > 50000 ? 1.7 : 5.1);
  }
  addPCM(closeUp_, linearPCM(44100, 2, 32, 4, integer), 4.4);
  addPCM(closeUp_, linearPCM(44100, 2, 16, 2, integer), 0.002);
  addPCM(closeUp_, float32PCM(48000, 2), 6.2);
  addPCM(closeUp_, linearPCM(22050, 1, 16, 2, integer), 9.9);
  addCompressed(closeUp_, "flac", 44100, 2, 6.5);
  addCompressed(closeUp_, "flac", 48000, 2, 3.5, 32);
  addCompressed(closeUp_, "mp3", 48000, 2, 4.5);
  addUnplayable(closeUp_);

  for (const double rate : {500.0, 1000.0, 1200.0}) {
    addPCM(longHours_, linearPCM(rate, 1, 8, 1, integer), 600);
    addPCM(longHours_, linearPCM(rate, 1, 8, 1, integer), 2400);
    addPCM(longHours_, linearPCM(rate, 1, 16, 2, integer), 240);
  }
  addPCM(longHours_, linearPCM(1000, 2, 24, 3, integer), 180);
  addPCM(longHours_, linearPCM(1000, 1, 8, 1, integer), 1);
  addPCM(longHours_, linearPCM(1000, 1, 32, 4, integer), 60);
  addPCM(longHours_, float32PCM(1200, 1), 90);
  addCompressed(longHours_, "flac", 1000, 1, 300);
  addCompressed(longHours_, "flac", 1000, 1, 100, 32);
  addCompressed(longHours_, "mp3", 500, 1, 200);
  addUnplayable(longHours_);
}

void CampaignTracks::addPCM(std::vector<CampaignTrack>& shelf, const AudioStreamBasicDescription& format,
                            double seconds) {
  CampaignTrack track;
  track.url = FileURL("/" + std::to_string(closeUp_.size()) + "-" + std::to_string(longHours_.size()) + ".wav");
  track.format = format;
  track.frames = std::llround(seconds * format.mSampleRate);
  track.sourceBits = format.mBitsPerChannel;
  track.sourceIsFloat = format.isFloat();

  SimulatedPCMFile file;
  file.format = format;
  file.sourceBitDepth = static_cast<std::int32_t>(format.mBitsPerChannel) * (format.isFloat() ? -1 : 1);
  file.data.resize(static_cast<std::size_t>(track.frames) * format.mBytesPerFrame, std::byte{0x5A});
  for (std::int64_t frame = 0; frame < track.frames; ++frame)
    for (std::size_t i = 0; i < markBytes(format); ++i)
      file.data[static_cast<std::size_t>(frame) * format.mBytesPerFrame + i] =
          static_cast<std::byte>(track.mark(frame) >> 8 * i);
  files_.add(track.url, std::move(file));
  shelf.push_back(std::move(track));
}

void CampaignTracks::addCompressed(std::vector<CampaignTrack>& shelf, const std::string& extension, double rate,
                                   std::uint32_t channels, double seconds, std::uint32_t sourceBits) {
  CampaignTrack track;
  track.url = FileURL("/" + std::to_string(shelf.size()) + "-" + std::to_string(rate) + "." + extension);
  track.format = float32PCM(rate, channels);
  track.frames = std::llround(seconds * rate);
  track.sourceBits = sourceBits;
  track.isLossless = extension == "flac";

  SimulatedCompressedFile file;
  file.format = track.format;
  file.format.mFormatID = fourCharCode("code");
  file.sourceBitDepth = static_cast<std::int32_t>(sourceBits);
  file.samples.resize(static_cast<std::size_t>(track.frames) * channels);
  for (std::int64_t frame = 0; frame < track.frames; ++frame)
    file.samples[static_cast<std::size_t>(frame) * channels] =
        std::bit_cast<float>(static_cast<std::uint32_t>(track.mark(frame)));
  files_.add(track.url, std::move(file));
  shelf.push_back(std::move(track));
}

void CampaignTracks::addUnplayable(std::vector<CampaignTrack>& shelf) {
  CampaignTrack missing;
  missing.url = FileURL("/missing.wav");
  missing.isPlayable = false;
  shelf.push_back(missing);

  SimulatedPCMFile unreadable;
  unreadable.format = linearPCM(44100, 2, 16, 2, integer);
  unreadable.data.resize(4000);
  unreadable.readStatus = kAudioFileIOError;
  CampaignTrack broken;
  broken.url = FileURL("/unreadable.wav");
  broken.isPlayable = false;
  files_.add(broken.url, std::move(unreadable));
  shelf.push_back(broken);
}

}  // namespace tolvane
