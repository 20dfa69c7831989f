#include "tests/system/dac/ControlEndpoint.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/system/dac/Descriptors.h"

namespace tolvane {
namespace {

using ::testing::NiceMock;
using ::testing::Optional;

class MockListener : public ControlListener {
 public:
  MOCK_METHOD(void, configured, (int), (override));
  MOCK_METHOD(void, alternateSelected, (int), (override));
  MOCK_METHOD(void, rateRequested, (std::uint32_t, bool), (override));
  MOCK_METHOD(void, volumeSet, (double), (override));
  MOCK_METHOD(void, muteSet, (bool), (override));
};

DacSettings settingsFrom(std::vector<std::string> words) {
  words.insert(words.end(), {"--record", "unused"});
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  return parseDacSettings(arguments).value();
}

class AControlEndpoint : public ::testing::Test {
 protected:
  static constexpr ControlEndpoint::Setup kSetRate{0x21, 1, 0, 1, 0, 4, 4, 0};
  static constexpr ControlEndpoint::Setup kGetVolume{0xa1, 1, 0, 2, 0, 2, 2, 0};
  static ControlEndpoint::Setup selectAlternate(std::uint8_t alternate) { return {1, 11, alternate, 0, 1, 0, 0, 0}; }

  DacSettings settings = settingsFrom({"--refuse-rate", "96000", "--volume", "-10"});
  NiceMock<MockListener> listener;
  ControlEndpoint endpoint{settings, listener};
};

TEST_F(AControlEndpoint, TakesARateThatItHas) {
  EXPECT_CALL(listener, rateRequested(192000, true));
  EXPECT_THAT(endpoint.answer(kSetRate, Bytes{0x00, 0xee, 0x02, 0x00}), Optional(Bytes{}));
  EXPECT_EQ(endpoint.rate(), 192000);
}

TEST_F(AControlEndpoint, RefusesARateThatItShouldRefuseOrDoesNotHave) {
  EXPECT_CALL(listener, rateRequested(96000, false));
  EXPECT_EQ(endpoint.answer(kSetRate, Bytes{0x00, 0x77, 0x01, 0x00}), std::nullopt);
  EXPECT_CALL(listener, rateRequested(96001, false));
  EXPECT_EQ(endpoint.answer(kSetRate, Bytes{0x01, 0x77, 0x01, 0x00}), std::nullopt);
  EXPECT_EQ(endpoint.rate(), 44100);
}

TEST_F(AControlEndpoint, StreamsInTheFormatOfTheAlternateSetting) {
  EXPECT_EQ(endpoint.format(), nullptr);
  ASSERT_TRUE(endpoint.answer(selectAlternate(2), {}));
  EXPECT_EQ(endpoint.format()->alsaName, "S24_3LE");
  EXPECT_EQ(endpoint.answer(selectAlternate(4), {}), std::nullopt);
  ASSERT_TRUE(endpoint.answer(selectAlternate(0), {}));
  EXPECT_EQ(endpoint.format(), nullptr);
}

TEST_F(AControlEndpoint, ReportsItsVolume) {
  EXPECT_THAT(endpoint.answer(kGetVolume, {}), Optional(Bytes{0x00, 0xf6}));  // -10 × 256
}

TEST_F(AControlEndpoint, HasNoVolumeUnlessAskedFor) {
  const DacSettings plain = settingsFrom({});
  ControlEndpoint other(plain, listener);
  EXPECT_EQ(other.answer(kGetVolume, {}), std::nullopt);
}

TEST(ConfigurationDescriptor, IsAsLongAsItSaysAndSoIsEachPart) {
  const Bytes bytes = configurationDescriptor(settingsFrom({"--volume", "0"}));
  EXPECT_EQ(bytes[2] | bytes[3] << 8, static_cast<int>(bytes.size()));
  std::size_t at = 0;
  while (at < bytes.size() && bytes[at] != 0) at += bytes[at];
  EXPECT_EQ(at, bytes.size());
}

/// How often the four bytes of a mask stand in the descriptors: the terminal's and each setting's.
std::size_t statements(const Bytes& bytes, std::uint8_t mask) {
  const Bytes wanted{mask, 0, 0, 0};
  std::size_t count = 0;
  for (auto at = bytes.begin(); (at = std::search(at, bytes.end(), wanted.begin(), wanted.end())) != bytes.end(); ++at)
    ++count;
  return count;
}

TEST(ConfigurationDescriptor, StatesThePositionsThatItIsGiven) {
  const auto with = [](const std::vector<std::string>& options) {
    std::vector<std::string> words{"--channels", "6", "--rates", "48000", "--formats", "s16,s32"};
    words.insert(words.end(), options.begin(), options.end());
    return configurationDescriptor(settingsFrom(words));
  };
  EXPECT_EQ(statements(with({"--positions", "3f"}), 0x3F), 3U);
  EXPECT_EQ(statements(with({}), 0x3F), 0U);
}

TEST(DacSettings, RefuseArgumentsThatMakeNoSense) {
  const std::vector<std::vector<std::string>> rows{{"--record"},
                                                   {"--record", "x", "--nothing", "1"},
                                                   {"--record", "x", "--formats", "s8"},
                                                   {"--name", "x"},
                                                   {"--record", "x", "--rates", "0"},
                                                   {"--record", "x", "--rates", "44100,"},
                                                   {"--record", ""},
                                                   {"--record", "x", "--channels", "9"},
                                                   {"--record", "x", "--positions", "3f"},
                                                   {"--record", "x", "--positions", "left"},
                                                   {"--record", "x", "--ppm", "fast"},
                                                   {"--volume", "3"},
                                                   {"--record", "x", "--ppm", "1e9"},
                                                   {"--record", "x", "--channels", "8", "--formats", "s32"}};
  for (std::vector<std::string> row : rows) {
    std::vector<char*> arguments;
    for (std::string& word : row) arguments.push_back(word.data());
    EXPECT_FALSE(parseDacSettings(arguments)) << ::testing::PrintToString(row);
  }
}

}  // namespace
}  // namespace tolvane
