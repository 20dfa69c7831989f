#include "engine/render/OutputLevels.h"

#include <gtest/gtest.h>

#include <limits>

namespace tolvane {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(OutputLevels, AreNeutralFromTheStart) {
  EXPECT_EQ(OutputLevels{}, (OutputLevels{1.0, 0.0}));
  EXPECT_TRUE(OutputLevels{}.isNeutral());
}

TEST(OutputLevels, AreEqualWhenBothFieldsAre) {
  EXPECT_EQ((OutputLevels{0.5, 0.25}), (OutputLevels{0.5, 0.25}));
  EXPECT_NE((OutputLevels{0.5, 0.25}), (OutputLevels{0.5, 0.5}));
  EXPECT_NE((OutputLevels{0.5, 0.25}), (OutputLevels{0.25, 0.25}));
}

TEST(OutputLevels, AreNotNeutralAHairBesideIt) {
  EXPECT_FALSE((OutputLevels{std::nextafter(1.0, 0.0), 0.0}.isNeutral()));
  EXPECT_FALSE((OutputLevels{1.0, std::numeric_limits<double>::denorm_min()}.isNeutral()));
}

TEST(OutputLevels, AreSanitisedIntoTheirRanges) {
  const struct {
    OutputLevels given, sanitised;
  } cases[] = {
      {{0.0, -1.0}, {0.0, -1.0}},       {{1.0, 1.0}, {1.0, 1.0}},       {{0.3, 0.2}, {0.3, 0.2}},
      {{-0.1, -1.1}, {0.0, -1.0}},      {{1.1, 1.1}, {1.0, 1.0}},       {{1e300, -1e300}, {1.0, -1.0}},
      {{kNaN, 0.5}, {1.0, 0.5}},        {{0.5, kNaN}, {0.5, 0.0}},      {{kInfinity, 0.5}, {1.0, 0.5}},
      {{-kInfinity, 0.5}, {1.0, 0.5}},  {{0.5, kInfinity}, {0.5, 0.0}}, {{0.5, -kInfinity}, {0.5, 0.0}},
      {{kNaN, -kInfinity}, {1.0, 0.0}},
  };
  for (const auto& [given, sanitised] : cases) {
    EXPECT_EQ(given.sanitised(), sanitised) << given.volume << ' ' << given.balance;
  }
}

}  // namespace
}  // namespace tolvane
