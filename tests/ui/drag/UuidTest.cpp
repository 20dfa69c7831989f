#include "ui/drag/Uuid.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

TEST(Uuids, ReadAsTheyAreWritten) {
  const std::string text = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
  const auto uuid = Uuid::parse(text);
  ASSERT_TRUE(uuid);
  EXPECT_EQ(uuid->string(), text);
  EXPECT_EQ(Uuid::parse("e621e1f8-c36c-495a-93fc-0c247a3e6e5f"), uuid);
}

TEST(Uuids, RefuseWhatIsNoUuid) {
  for (const char* text :
       {"", "E621E1F8", "E621E1F8-C36C-495A-93FC-0C247A3E6E5", "E621E1F8-C36C-495A-93FC-0C247A3E6E5F0",
        "E621E1F8+C36C-495A-93FC-0C247A3E6E5F", "G621E1F8-C36C-495A-93FC-0C247A3E6E5F",
        "E621E1F8-C36C-495A-93FC-0C247A3E6E+F", "-621E1F8-C36C-495A-93FC-0C247A3E6E5F"})
    EXPECT_EQ(Uuid::parse(text), std::nullopt) << text;
}

TEST(Uuids, AreNewEachTimeAndSayThatTheyAreRandom) {
  const Uuid first = Uuid::random();
  EXPECT_NE(first, Uuid::random());
  EXPECT_EQ(first.string().at(14), '4');
}

TEST(Uuids, OfTracksDifferInEveryBitOfTheId) {
  const Uuid zero = Uuid::ofTrack(0);
  for (int bit = 0; bit < 64; ++bit) {
    const Uuid other = Uuid::ofTrack(PlaylistTrackID{1} << bit);
    EXPECT_NE(other, zero) << bit;
    EXPECT_EQ(other, Uuid::ofTrack(PlaylistTrackID{1} << bit)) << bit;
    EXPECT_EQ(other.string().at(14), '8') << bit;
  }
}

}  // namespace
}  // namespace tolvane
