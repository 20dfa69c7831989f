#pragma once
// What happens in a world of the campaign: weighted draws of what a user does and of what happens to the hardware. The
// test's thread. Draws only from the world's own random numbers.

#include <span>
#include <string>

#include "tests/engine/campaign/CampaignInvariants.h"
#include "tests/engine/campaign/CampaignWorld.h"

namespace tolvane {

class CampaignActions {
 public:
  CampaignActions(CampaignWorld& world, CampaignInvariants& invariants) : world_(world), invariants_(invariants) {}

  /// Draws one action and does it.
  void act();
  /// The same, of what happens to the hardware only.
  void strike();
  /// How much time passes until the next.
  [[nodiscard]] RunLoop::Duration drawPause();

 private:
  using Action = void (CampaignActions::*)();
  struct Choice {
    unsigned weight;
    Action action;
  };
  static const std::vector<Choice>& usersChoices();
  static const std::vector<Choice>& troubles();
  void act(std::span<const Choice> choices);

  // The user.
  void play();
  [[nodiscard]] bool isOutage() const;  ///< the output recovers
  void countWish();
  void pause();
  void resume();
  void seek();
  void stop();
  void setLevels();
  void chooseDevice();
  void changeUpcoming();
  void waitForTheEnd();
  void switchExclusiveAccess();
  void startAnew();

  // What happens to a device.
  void changeRateFromOutside();
  void stealDevice();
  void releaseDevice();
  void unplug();
  void replug();
  void changeDefault();
  void changePhysicalFormat();
  void toggleStream();
  void replaceStreams();
  void resizeBuffer();
  void announceWithoutReason();
  void toggleProcessing();
  void refuseRates();
  void changeSettling();
  void changeClock();
  void failProperty();
  void failSystemProperty();

  // What happens to the unit that plays.
  void stall();
  void stopByItself();
  void raiseRenderError();
  void runDry();
  void failStage();
  [[nodiscard]] bool mayHideSampleTime(AudioObjectID id);
  void hideSampleTime();
  void reportAnotherFormat();
  void loseComponent();
  void deliverLate();

  [[nodiscard]] AudioObjectID anyDevice() { return world_.random.pick(world_.devices); }
  void setAlterations(AudioObjectID id, const std::vector<SampleAlteration>& alterations);
  /// Most of what happens matters only where something plays.
  [[nodiscard]] AudioObjectID likelyDevice();
  [[nodiscard]] RunLoop::Duration between(double seconds, double otherSeconds);
  void note(std::string text) { world_.note(std::move(text)); }

  CampaignWorld& world_;
  CampaignInvariants& invariants_;
};

}  // namespace tolvane
