#include "platform/pipewire/record/SinkExpectation.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

using std::chrono_literals::operator""ns;
using std::chrono_literals::operator""s;

constexpr RunLoop::TimePoint start{std::chrono::hours(7)};
constexpr RunLoop::Duration none = RunLoop::Duration::zero();

TEST(SinkExpectation, IsNoneAtFirst) {
  EXPECT_FALSE(SinkExpectation().isPending(RunLoop::TimePoint()));
  EXPECT_EQ(SinkExpectation().left(start), none);
}

TEST(SinkExpectation, LastsForItsLimit) {
  SinkExpectation expectation;
  expectation.begin(start);
  EXPECT_TRUE(expectation.isPending(start + SinkExpectation::limit - 1ns));
  EXPECT_EQ(expectation.left(start + 1s), SinkExpectation::limit - 1s);
  EXPECT_FALSE(expectation.isPending(start + SinkExpectation::limit));
  EXPECT_EQ(expectation.left(start + SinkExpectation::limit + 1s), none);
}

TEST(SinkExpectation, EndsWithTheSink) {
  SinkExpectation expectation;
  expectation.begin(start);
  expectation.end();
  EXPECT_FALSE(expectation.isPending(start));
}

TEST(SinkExpectation, LastsAnewWhenTheSinkGoesAgain) {
  SinkExpectation expectation;
  expectation.begin(start);
  expectation.begin(start + 3s);
  EXPECT_EQ(expectation.left(start + 4s), SinkExpectation::limit - 1s);
}

}  // namespace
}  // namespace tolvane
