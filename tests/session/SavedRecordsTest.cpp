#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "session/SavedPlaybackState.h"
#include "session/SavedPlaylist.h"

namespace tolvane {
namespace {

using testing::ElementsAre;

TEST(SavedPlaylistRecord, IsJsonWithTheVersionAndTheBookmarksInBase64) {
  const std::vector<FileBookmark> bookmarks{"foo", "fo", std::string("\0\xFF\n", 3)};
  EXPECT_EQ(encodedPlaylist(bookmarks), R"({"version":1,"bookmarks":["Zm9v","Zm8=","AP8K"]})");
}

TEST(SavedPlaylistRecord, LeavesOutEntriesWithoutABookmark) {
  const std::vector<FileBookmark> bookmarks{"", "foo", "", "fo", ""};
  const auto saved = decodedPlaylist(encodedPlaylist(bookmarks));
  ASSERT_TRUE(saved);
  EXPECT_THAT(saved->bookmarks, ElementsAre("foo", "fo"));
  EXPECT_EQ(saved->version, 1);
}

TEST(SavedPlaylistRecord, ReadsWhatAnotherEncoderWrites) {
  const auto saved = decodedPlaylist(" {\n \"bookmarks\" : [ \"++\\/\\/\" ], \"more\": null, \"version\" : 1.0 } ");
  ASSERT_TRUE(saved);
  EXPECT_THAT(saved->bookmarks, ElementsAre("\xFB\xEF\xFF"));
  EXPECT_EQ(decodedPlaylist(R"({"version":7,"bookmarks":[]})")->version, 7);
}

TEST(SavedPlaylistRecord, DoesNotDecodeUnlessEveryMemberIsThereAndOfItsType) {
  for (const std::string_view text : {"",
                                      "{",
                                      "[]",
                                      "null",
                                      "1",
                                      "{}",
                                      R"({"version":1})",
                                      R"({"bookmarks":[]})",
                                      R"({"version":"1","bookmarks":[]})",
                                      R"({"version":true,"bookmarks":[]})",
                                      R"({"version":1.5,"bookmarks":[]})",
                                      R"({"version":null,"bookmarks":[]})",
                                      R"({"version":18446744073709551615,"bookmarks":[]})",
                                      R"({"version":1e300,"bookmarks":[]})",
                                      R"({"version":1,"bookmarks":{}})",
                                      R"({"version":1,"bookmarks":null})",
                                      R"({"version":1,"bookmarks":[1]})",
                                      R"({"version":1,"bookmarks":["Zm9v",null]})",
                                      R"({"version":1,"bookmarks":["Zm9"]})",
                                      R"({"version":1,"bookmarks":[]} x)",
                                      "\xFF\xFE"})
    EXPECT_EQ(decodedPlaylist(text), std::nullopt) << text;
}

TEST(SavedPlaybackStateRecord, IsJsonWithItsFourMembers) {
  const auto text = encodedState({.currentIndex = 3, .position = 12.25, .duration = 200.5});
  ASSERT_TRUE(text);
  EXPECT_EQ(nlohmann::json::parse(*text),
            (nlohmann::json{{"version", 1}, {"currentIndex", 3}, {"position", 12.25}, {"duration", 200.5}}));
}

TEST(SavedPlaybackStateRecord, GivesEveryFiniteNumberBack) {
  for (const double seconds : {0.0, 0.1, 1.0 / 3, 1e-300, 1e300, std::numeric_limits<double>::max()}) {
    const SavedPlaybackState state{.currentIndex = 99'999, .position = seconds, .duration = seconds};
    EXPECT_EQ(decodedState(encodedState(state).value()), state);
  }
}

TEST(SavedPlaybackStateRecord, CannotHoldNumbersThatAreNotFinite) {
  EXPECT_EQ(encodedState({.position = std::nan("")}), std::nullopt);
  EXPECT_EQ(encodedState({.duration = HUGE_VAL}), std::nullopt);
}

TEST(SavedPlaybackStateRecord, DoesNotDecodeUnlessEveryMemberIsThereAndOfItsType) {
  const nlohmann::json whole{{"version", 9}, {"currentIndex", 3}, {"position", 12}, {"duration", 200}};
  EXPECT_EQ(decodedState(whole.dump()), (SavedPlaybackState{9, 3, 12, 200}));
  for (const auto& member : whole.items()) {
    auto record = whole;
    record.erase(member.key());
    EXPECT_EQ(decodedState(record.dump()), std::nullopt) << "without " << member.key();
    for (const auto& other : {nlohmann::json("3"), nlohmann::json(true), nlohmann::json()}) {
      record[member.key()] = other;
      EXPECT_EQ(decodedState(record.dump()), std::nullopt) << record;
    }
  }
  for (const std::string_view text :
       {"", "{", "[]", "null", "\xFF", R"({"version":1,"currentIndex":0.5,"position":0,"duration":0})",
        R"({"version":1,"currentIndex":0,"position":1e999,"duration":0})"})
    EXPECT_EQ(decodedState(text), std::nullopt) << text;
}

}  // namespace
}  // namespace tolvane
