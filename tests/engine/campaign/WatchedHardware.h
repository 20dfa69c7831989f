#pragma once
// Stands between the player and simulated hardware and follows every frame: where each run of a unit begins, what it
// was handed, what was heard when it stopped. Player's thread, as simulated units are. Changes nothing on the way.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/simulated/SimulatedAudioHardware.h"
#include "tests/engine/campaign/CampaignTracks.h"

namespace tolvane {

class WatchedHardware final : public AudioHardware {
 public:
  /// What was seen and must not be.
  using Complaint = std::function<void(const std::string&)>;

  WatchedHardware(SimulatedAudioHardware& hardware, RunLoop& runLoop, Complaint complain);
  ~WatchedHardware() override;

  // Reported by the campaign.

  /// Frames of runs that begin from now on are those of `track`, from its beginning.
  void expectTrack(const CampaignTrack* track);
  /// What runs now is silent until the next track is expected.
  void expectSilence() { ++trackNumber_; }
  /// `track` is the one that has followed without a gap. REQUIRES: hasHeardCrossing().
  void continueWith(const CampaignTrack& track);
  /// The next run begins there.
  void expectFrame(std::int64_t frame) {
    nextFrame_ = frame;
    heardOfNext_.reset();
  }
  /// Off while software levels change the samples, so that their numbers cannot be read.
  void setReadsMarks(bool reads) { readsMarks_ = reads; }
  /// Whether a render callback or a write may come now.
  void setMayRender(std::function<bool()> mayRender) { mayRender_ = std::move(mayRender); }
  void setMayWrite(std::function<bool()> mayWrite) { mayWrite_ = std::move(mayWrite); }

  // Asked by the campaign.

  [[nodiscard]] AudioObjectID boundDevice() const { return boundDevice_; }  ///< of the unit that lives, or 0
  [[nodiscard]] const std::optional<AudioStreamBasicDescription>& clientFormat() const { return clientFormat_; }
  /// Frames of the track that were handed out so far, in all runs together.
  [[nodiscard]] std::uint64_t trackFramesRendered() const { return trackFramesRendered_; }
  [[nodiscard]] bool reachedEnd() const { return track_ != nullptr && renderedTo_ >= track_->frames; }
  /// Another track was rendered behind the end of this one, and the device has come to its first frame.
  [[nodiscard]] bool hasHeardCrossing() const;
  /// The first frame that was not heard when the last run was stopped.
  [[nodiscard]] std::int64_t nextFrame() const { return nextFrame_; }
  /// Starts of units so far; whether the last one goes on, or has ended without being asked to.
  [[nodiscard]] std::uint64_t startCount() const { return startCount_; }
  [[nodiscard]] bool hasDied() const;
  [[nodiscard]] std::uint64_t rateWriteCount() const { return rateWriteCount_; }
  /// Rates that the player wrote and that arrived when it no longer waited for them, on the device that it played to.
  [[nodiscard]] std::int64_t lateRates() const { return lateRates_; }
  /// The player wrote a property since this was asked last.
  [[nodiscard]] bool takeWritten() { return std::exchange(hasWritten_, false); }

  // The contract.

  [[nodiscard]] bool hasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) const override {
    return hardware_.hasProperty(object, address);
  }
  [[nodiscard]] std::expected<std::uint32_t, OSStatus> propertyDataSize(
      AudioObjectID object, const AudioObjectPropertyAddress& address) const override {
    return hardware_.propertyDataSize(object, address);
  }
  [[nodiscard]] std::expected<AudioPropertyValue, OSStatus> propertyData(
      AudioObjectID object, const AudioObjectPropertyAddress& address) const override {
    return hardware_.propertyData(object, address);
  }
  [[nodiscard]] OSStatus setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                         const AudioPropertyValue& value) override;
  [[nodiscard]] std::expected<bool, OSStatus> isPropertySettable(
      AudioObjectID object, const AudioObjectPropertyAddress& address) const override {
    return hardware_.isPropertySettable(object, address);
  }
  [[nodiscard]] std::expected<ListenerID, OSStatus> addPropertyListener(AudioObjectID object,
                                                                        const AudioObjectPropertyAddress& address,
                                                                        Listener listener) override {
    return hardware_.addPropertyListener(object, address,
                                         [this, object, inner = std::move(listener)](const auto& changed) {
                                           countIfLate(object, changed.mSelector);
                                           inner(changed);
                                         });
  }
  OSStatus removePropertyListener(ListenerID listener) override { return hardware_.removePropertyListener(listener); }
  [[nodiscard]] AudioOutputComponent* outputComponent() override;

 private:
  class Component;
  class Unit;

  void countIfLate(AudioObjectID object, FourCharCode selector);

  SimulatedAudioHardware& hardware_;
  RunLoop& runLoop_;
  Complaint complain_;
  std::unique_ptr<Component> component_;
  std::function<bool()> mayRender_;
  std::function<bool()> mayWrite_;

  const CampaignTrack* track_ = nullptr;
  std::uint64_t trackNumber_ = 0;  // how often expectTrack() was called
  std::int64_t nextFrame_ = 0;
  std::int64_t renderedTo_ = 0;
  std::optional<std::int64_t> heardOfNext_;  // frames of the next track, when a run was stopped behind the crossing
  bool readsMarks_ = true;
  bool hasWritten_ = false;

  AudioObjectID boundDevice_ = kAudioObjectUnknown;
  std::optional<AudioStreamBasicDescription> clientFormat_;
  Unit* unit_ = nullptr;
  std::uint64_t startCount_ = 0;
  std::uint64_t rateWriteCount_ = 0;
  std::map<AudioObjectID, RunLoop::TimePoint> rateWrittenAt_;  ///< and not announced since
  std::int64_t lateRates_ = 0;
  std::uint64_t trackFramesRendered_ = 0;
};

}  // namespace tolvane
