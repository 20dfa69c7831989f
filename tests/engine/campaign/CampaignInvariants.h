#pragma once
// What must hold in every world of the campaign: at each publication, after each turn that changed something, after
// each step. The test's thread. Looks at the player's published state and at the hardware, never into the engine.

#include <vector>

#include "tests/engine/campaign/CampaignWorld.h"

namespace tolvane {

class CampaignInvariants {
 public:
  explicit CampaignInvariants(CampaignWorld& world);

  /// A new player is there.
  void watchPlayer();
  /// The player is about to go, in whatever state.
  void leavePlayer();
  /// Everything was given back.
  void expectNothingHeld(const std::string& when);

  /// This device has just announced that something behind its unit processes the samples, or no longer does.
  void processingChanged(AudioObjectID id);

  /// Playback is resumed, also where it goes on: the wait for the end of the track begins anew.
  void waitForFramesAnew() { stuckFor_ = {}; }

  void afterTurn();
  void afterStep(RunLoop::Duration passed, bool wasPlaying);

  [[nodiscard]] double playingHours() const { return secondsFromDuration(playingTime()) / 3600; }
  [[nodiscard]] std::int64_t completions() const { return completions_; }
  /// Of them, those of tracks that another followed without a gap.
  [[nodiscard]] std::int64_t crossings() const { return crossings_; }
  [[nodiscard]] std::int64_t recoveryAttempts() const { return allAttempts_; }
  [[nodiscard]] std::int64_t surrenders() const { return surrenders_; }
  [[nodiscard]] std::int64_t bitPerfectVerdicts() const { return bitPerfectVerdicts_; }
  [[nodiscard]] std::int64_t processingVerdicts() const { return processingVerdicts_; }
  [[nodiscard]] std::int64_t undisturbedProcessings() const { return undisturbedProcessings_; }
  [[nodiscard]] std::int64_t heardFrames() const { return heardFrames_; }
  /// Passes of a track that were found to be delivered whole, and with altered samples.
  [[nodiscard]] std::int64_t wholeDeliveries() const { return wholeDeliveries_; }
  [[nodiscard]] std::int64_t alteredDeliveries() const { return alteredDeliveries_; }

 private:
  // At each publication.
  void pathChanged(const AudioPathStatus& status);
  void exclusiveChanged(const ExclusiveAccessStatus& status);
  void playingChanged(bool isPlaying);
  void completed(std::int64_t count);
  void delivered(const DeliveryReport& report);
  void crossed();
  void logged(std::string_view line);
  void recoveryWasTried();
  void recoveryGaveUp();

  // Soon after processing has begun or ended.
  void checkVerdictOnProcessing(AudioObjectID id, bool unitCanBeRead);
  void expectNoRecovery();

  // After a turn.
  void checkStopped();
  void checkActive();
  void checkPreparing();
  void checkOwnership();

  // After a step.
  void checkRestRates();
  void checkProgress(RunLoop::Duration passed, bool wasPlaying);
  void checkVerdictIsFresh(RunLoop::Duration passed);
  void checkExclusiveIsFresh(RunLoop::Duration passed);
  /// Looks at the bytes that the devices played: no frame is missing, none comes twice.
  void listen();
  bool listenTo(SimulatedDevice& device);

  [[nodiscard]] RunLoop::Duration playingTime() const;
  void require(bool holds, const std::string& what) {
    if (!holds) world_.fail(what);
  }

  CampaignWorld& world_;
  std::vector<Subscription> subscriptions_;

  AudioPathStatus::Kind pathKind_ = AudioPathStatus::Kind::ready;
  std::int64_t lastCount_ = 0;
  std::uint64_t playsSeen_ = 0;
  std::uint64_t crossingsSeen_ = 0;
  bool declinedNext_ = false;    ///< what followed without a gap was not wanted: READY comes behind the count
  bool owesCompletion_ = false;  ///< READY came by itself: the count must grow before the turn ends

  RunLoop::Duration playedBefore_{};
  RunLoop::TimePoint playingSince_;
  RunLoop::Duration playedAtLastAttempt_{};
  std::uint64_t rateWritesBeforeTurn_ = 0;
  bool attemptFailedInTurn_ = false;
  int attemptsInARow_ = 0;     ///< without thirty seconds of playing between two of them
  int attemptsSinceCalm_ = 0;  ///< since more than thirty seconds went by in which nothing was done to anything

  RunLoop::TimePoint lastActivity_;
  std::uint64_t framesSeen_ = 0;
  RunLoop::Duration stuckFor_{};
  RunLoop::Duration playedAtLastStep_{};
  RunLoop::Duration staleFor_{};
  RunLoop::Duration freeFor_{};
  RunLoop::Duration unownedFor_{};

  std::int64_t completions_ = 0;
  std::int64_t crossings_ = 0;
  std::int64_t allAttempts_ = 0;
  std::int64_t surrenders_ = 0;
  std::int64_t bitPerfectVerdicts_ = 0;
  std::int64_t processingVerdicts_ = 0;
  std::int64_t undisturbedProcessings_ = 0;  ///< after which nothing but they could have led to a recovery
  std::int64_t heardFrames_ = 0;
  std::int64_t wholeDeliveries_ = 0;
  std::int64_t alteredDeliveries_ = 0;
};

}  // namespace tolvane
