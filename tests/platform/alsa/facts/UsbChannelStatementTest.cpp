#include "platform/alsa/facts/UsbChannelStatement.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace tolvane {
namespace {

std::string bytes(std::initializer_list<int> values) {
  std::string text;
  for (const int value : values) text += static_cast<char>(value);
  return text;
}

/// A device descriptor and the head of a configuration, whose contents do not matter here.
std::string head() { return bytes({18, 1}) + std::string(16, '\1') + bytes({9, 2}) + std::string(7, '\1'); }

std::string interface(int subclass, int protocol) { return bytes({9, 4, 0, 0, 0, 1, subclass, protocol, 0}); }

std::string terminal2(int id, int channels, int loudspeakers, int type = 0x0101) {
  return bytes({17, 0x24, 2, id, type & 0xFF, type >> 8, 0, 4, channels, loudspeakers & 0xFF, loudspeakers >> 8, 0, 0,
                0, 0, 0, 0});
}

std::string setting2(int link, int channels, int loudspeakers) {
  return interface(2, 0x20) +
         bytes({16, 0x24, 1, link, 0, 1, 1, 0, 0, 0, channels, loudspeakers & 0xFF, loudspeakers >> 8, 0, 0, 0}) +
         bytes({6, 0x24, 2, 1, 4, 32});
}

std::string class2(int terminal, int setting, int channels = 6) {
  return head() + interface(1, 0x20) + terminal2(1, channels, terminal) + setting2(1, channels, setting);
}

std::string class1(int terminalChannels, int loudspeakers, int channels) {
  return head() + interface(1, 0) +
         bytes({12, 0x24, 2, 1, 1, 1, 0, terminalChannels, loudspeakers & 0xFF, loudspeakers >> 8, 0, 0}) +
         interface(2, 0) + bytes({7, 0x24, 1, 1, 1, 1, 0}) + bytes({11, 0x24, 2, 1, channels, 2, 16, 1, 0x80, 0xBB, 0});
}

TEST(UsbChannelStatement, IsThatOfTheSettingOrOfItsTerminal) {
  EXPECT_TRUE(statesLoudspeakers(class2(0x3F, 0x3F), 6));
  EXPECT_TRUE(statesLoudspeakers(class2(0, 0x3F), 6));
  EXPECT_TRUE(statesLoudspeakers(class2(0x3F, 0), 6));
  EXPECT_FALSE(statesLoudspeakers(class2(0, 0), 6));
  EXPECT_FALSE(statesLoudspeakers(class2(0x3F, 0x3F), 8)) << "of other channels";
  const std::string otherCount = head() + interface(1, 0x20) + terminal2(1, 8, 0x63F) + setting2(1, 6, 0);
  EXPECT_FALSE(statesLoudspeakers(otherCount, 6)) << "the terminal's are for eight";
  EXPECT_TRUE(statesLoudspeakers(class2(0x600, 0x600, 2), 2)) << "the upper bits count";
}

TEST(UsbChannelStatement, IsTheTerminalsInTheFirstAudioClass) {
  EXPECT_TRUE(statesLoudspeakers(class1(6, 0x3F, 6), 6));
  EXPECT_FALSE(statesLoudspeakers(class1(6, 0, 6), 6));
  EXPECT_FALSE(statesLoudspeakers(class1(8, 0x63F, 6), 6));
}

TEST(UsbChannelStatement, IsMissingWhereOnePlaybackSettingHasNone) {
  const std::string one = head() + interface(1, 0x20) + terminal2(1, 8, 0) + setting2(1, 6, 0x3F);
  EXPECT_TRUE(statesLoudspeakers(one, 6));
  EXPECT_FALSE(statesLoudspeakers(one + setting2(1, 6, 0), 6));
  EXPECT_TRUE(statesLoudspeakers(one + setting2(1, 8, 0), 6));
}

TEST(UsbChannelStatement, IsNotThatOfARecording) {
  const std::string microphone = head() + interface(1, 0x20) + terminal2(1, 6, 0x3F, 0x0201) + setting2(1, 6, 0x3F);
  EXPECT_FALSE(statesLoudspeakers(microphone, 6));
  const std::string both = class2(0x3F, 0x3F) + setting2(7, 6, 0);
  EXPECT_TRUE(statesLoudspeakers(both, 6));
}

TEST(UsbChannelStatement, IsNoneInAnotherClassOrInWhatIsDamaged) {
  EXPECT_FALSE(statesLoudspeakers("", 6));
  EXPECT_FALSE(statesLoudspeakers(head(), 6));
  std::string vendors = class2(0x3F, 0x3F);
  vendors[vendors.find(interface(1, 0x20)) + 5] = '\xFF';
  EXPECT_FALSE(statesLoudspeakers(vendors, 6)) << "a control interface of the vendor's own";
  std::string third = class2(0x3F, 0x3F);
  third[third.find(interface(2, 0x20)) + 7] = 0x30;
  EXPECT_FALSE(statesLoudspeakers(third, 6)) << "a newer audio class";

  const std::string whole = class2(0x3F, 0x3F);
  EXPECT_FALSE(statesLoudspeakers(whole + bytes({0, 4, 1, 1}), 6)) << "a length that does not go on";
  int cut = 0;
  for (std::size_t size = 0; size < whole.size(); ++size) {
    // The last descriptor states nothing of channels.
    EXPECT_EQ(statesLoudspeakers(whole.substr(0, size), 6), size == whole.size() - 6) << size;
    ++cut;
  }
  EXPECT_GT(cut, 60);
}

}  // namespace
}  // namespace tolvane
