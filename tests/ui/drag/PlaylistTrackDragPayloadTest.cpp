#include "ui/drag/PlaylistTrackDragPayload.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

constexpr std::string_view sessionText = "00112233-4455-4677-8899-AABBCCDDEEFF";
constexpr std::string_view trackText = "FFEEDDCC-BBAA-4988-B766-554433221100";

PlaylistTrackDragPayload payload() {
  return {"tolvane-playlist-track", *Uuid::parse(sessionText), *Uuid::parse(trackText)};
}

TEST(DragPayload, IsAJsonObjectWithExactlyThreeMembers) {
  EXPECT_EQ(payload().encoded(),
            R"({"kind":"tolvane-playlist-track","sessionID":"00112233-4455-4677-8899-AABBCCDDEEFF",)"
            R"("trackID":"FFEEDDCC-BBAA-4988-B766-554433221100"})");
}

TEST(DragPayload, ReadsWhatItHasWritten) {
  EXPECT_EQ(PlaylistTrackDragPayload::decode(payload().encoded()), payload());
}

TEST(DragPayload, ReadsAnotherKindAndLeavesTheJudgementToTheDrop) {
  auto other = payload();
  other.kind = "text";
  EXPECT_EQ(PlaylistTrackDragPayload::decode(other.encoded()), other);
}

TEST(DragPayload, RefusesTextThatIsNoPayload) {
  for (const char* text :
       {"", "Prelude", "[]", "null", "{}", "{\"kind\":\"tolvane-playlist-track\"}",
        R"({"kind":1,"sessionID":"00112233-4455-4677-8899-AABBCCDDEEFF",)"
        R"("trackID":"FFEEDDCC-BBAA-4988-B766-554433221100"})",
        R"({"kind":"k","sessionID":"x","trackID":"FFEEDDCC-BBAA-4988-B766-554433221100"})",
        R"({"kind":"k","sessionID":"00112233-4455-4677-8899-AABBCCDDEEFF","trackID":7})", "\xff\xfe"})
    EXPECT_EQ(PlaylistTrackDragPayload::decode(text), std::nullopt) << text;
}

}  // namespace
}  // namespace tolvane
