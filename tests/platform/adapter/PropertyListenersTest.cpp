#include "platform/adapter/PropertyListeners.h"

#include <gtest/gtest.h>

#include "platform/simulated/ManualRunLoop.h"

namespace tolvane {
namespace {

constexpr AudioObjectPropertyAddress rate{kAudioDevicePropertyNominalSampleRate, kAudioObjectPropertyScopeGlobal, 0};
constexpr AudioObjectPropertyAddress hog{kAudioDevicePropertyHogMode, kAudioObjectPropertyScopeGlobal, 0};

class PropertyListenersTest : public testing::Test {
 protected:
  AudioHardware::Listener counting(int& count) {
    return [&count](const AudioObjectPropertyAddress&) { ++count; };
  }

  ManualRunLoop loop_;
  std::unique_ptr<PropertyListeners> listeners_ = std::make_unique<PropertyListeners>(loop_);
  int first_ = 0;
  int second_ = 0;
};

TEST_F(PropertyListenersTest, AreNotifiedInATurnOfTheirOwn) {
  listeners_->add(2, rate, counting(first_));
  listeners_->notify(2, rate);
  EXPECT_EQ(first_, 0);
  loop_.runUntilIdle();
  EXPECT_EQ(first_, 1);
}

TEST_F(PropertyListenersTest, HearOnlyOfTheirObjectAndProperty) {
  listeners_->add(2, rate, counting(first_));
  listeners_->notify(3, rate);
  listeners_->notify(2, hog);
  loop_.runUntilIdle();
  EXPECT_EQ(first_, 0);
}

TEST_F(PropertyListenersTest, AreNotNotifiedOfWhatChangedBeforeTheyListened) {
  listeners_->add(2, rate, counting(first_));
  listeners_->notify(2, rate);
  listeners_->add(2, rate, counting(second_));
  loop_.runUntilIdle();
  EXPECT_EQ(first_, 1);
  EXPECT_EQ(second_, 0);
}

TEST_F(PropertyListenersTest, AreKnownByWhatTheyListenTo) {
  const auto id = listeners_->add(2, rate, counting(first_));
  EXPECT_EQ(listeners_->addressOf(id), rate);
  EXPECT_EQ(listeners_->size(), 1U);
  EXPECT_EQ(listeners_->remove(id), noErr);
  EXPECT_EQ(listeners_->addressOf(id), std::nullopt);
  EXPECT_EQ(listeners_->size(), 0U);
}

TEST_F(PropertyListenersTest, AreNotifiedLateOnlyWhereHardwareDoesThat) {
  for (const bool comesLate : {false, true}) {
    first_ = 0;
    listeners_->setDeliversLate(comesLate);
    const auto id = listeners_->add(2, rate, counting(first_));
    listeners_->notify(2, rate);
    ASSERT_EQ(listeners_->remove(id), noErr);
    loop_.runUntilIdle();
    EXPECT_EQ(first_, comesLate ? 1 : 0);
  }
  listeners_->add(2, rate, counting(second_));
  listeners_->notify(2, rate);
  listeners_.reset();
  loop_.runUntilIdle();
  EXPECT_EQ(second_, 0) << "not even then when all have gone";
}

TEST_F(PropertyListenersTest, AreNotifiedOneByOneAtOnceWhileTheyListen) {
  const auto id = listeners_->add(2, rate, counting(first_));
  listeners_->add(2, rate, counting(second_));
  listeners_->deliver(id, rate);
  EXPECT_EQ(first_, 1);
  EXPECT_EQ(second_, 0);
  ASSERT_EQ(listeners_->remove(id), noErr);
  listeners_->deliver(id, rate);
  EXPECT_EQ(first_, 1);
}

TEST_F(PropertyListenersTest, MayBeRemovedByOneAnother) {
  AudioHardware::ListenerID later = 0;
  listeners_->add(2, rate, [&](const auto&) { EXPECT_EQ(listeners_->remove(later), noErr); });
  later = listeners_->add(2, rate, counting(second_));
  listeners_->notify(2, rate);
  loop_.runUntilIdle();
  EXPECT_EQ(second_, 0);
}

TEST_F(PropertyListenersTest, MayEndTheWholeLayer) {
  listeners_->add(2, rate, [&](const auto&) { listeners_.reset(); });
  listeners_->add(2, rate, counting(second_));
  listeners_->notify(2, rate);
  listeners_->notify(2, rate);
  loop_.runUntilIdle();
  EXPECT_EQ(second_, 0);
}

TEST_F(PropertyListenersTest, HaveNumbersThatAreNeverReusedAndUnknownOnesAreRefused) {
  const auto one = listeners_->add(2, rate, counting(first_));
  EXPECT_NE(one, 0U);
  EXPECT_EQ(listeners_->remove(one), noErr);
  EXPECT_EQ(listeners_->remove(one), kAudio_ParamError);
  EXPECT_EQ(listeners_->remove(0), kAudio_ParamError);
  EXPECT_NE(listeners_->add(2, rate, counting(first_)), one);
}

}  // namespace
}  // namespace tolvane
