#pragma once
// The campaign's files: formats and lengths that differ, every frame numbered, and files that cannot be played. The
// test's thread. Made once and shared by all worlds; never changed afterwards.

#include <cmath>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/simulated/SimulatedAudioFileServices.h"

namespace tolvane {

struct CampaignTrack {
  FileURL url;
  AudioStreamBasicDescription format{};  ///< as a unit is to get it
  std::int64_t frames = 0;
  std::uint32_t sourceBits = 0;
  bool sourceIsFloat = false;
  bool isLossless = true;
  bool isPlayable = true;

  /// What the first bytes of a frame say: its number, counted round where the frame is short; 0 is silence.
  [[nodiscard]] std::uint64_t mark(std::int64_t frame) const;
  [[nodiscard]] std::uint64_t markIn(std::span<const std::byte> frame) const;
  [[nodiscard]] double seconds() const { return static_cast<double>(frames) / format.mSampleRate; }
  /// Where a seek to so many seconds goes: to the frame that holds them; what is a frame but for the rounding of a
  /// quotient is that frame.
  [[nodiscard]] std::int64_t frameAt(double seconds) const {
    return static_cast<std::int64_t>(std::floor(seconds * format.mSampleRate + 1e-4));
  }
};

class CampaignTracks {
 public:
  CampaignTracks();

  /// Real rates, seconds long.
  [[nodiscard]] const std::vector<CampaignTrack>& closeUp() const { return closeUp_; }
  /// A rate so low that an hour is a few megabytes; from a second to forty minutes long.
  [[nodiscard]] const std::vector<CampaignTrack>& longHours() const { return longHours_; }
  [[nodiscard]] SimulatedAudioFileServices& files() { return files_; }

 private:
  void addPCM(std::vector<CampaignTrack>& shelf, const AudioStreamBasicDescription& format, double seconds);
  void addCompressed(std::vector<CampaignTrack>& shelf, const std::string& extension, double rate,
                     std::uint32_t channels, double seconds, std::uint32_t sourceBits = 16);
  void addUnplayable(std::vector<CampaignTrack>& shelf);

  SimulatedAudioFileServices files_;
  std::vector<CampaignTrack> closeUp_;
  std::vector<CampaignTrack> longHours_;
};

}  // namespace tolvane
