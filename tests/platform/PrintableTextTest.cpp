#include "platform/PrintableText.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

TEST(PrintableText, KeepsWhatIsText) {
  for (const char* text : {"", "Bach: Partita.wav", "caf\xC3\xA9", "\xE2\x80\x9Cquoted\xE2\x80\x9D \xE2\x80\xA6",
                           "\xE6\x97\xA5\xE6\x9C\xAC", "latin \xE9", "\xC2", "\xE2\x80", "\xE2"})
    EXPECT_EQ(printableText(text), text);
}

TEST(PrintableText, ReplacesWhatControlsATerminal) {
  EXPECT_EQ(printableText("a\nb\r\x1B[2J\x07\x7F"), "a?b??[2J??");
  EXPECT_EQ(printableText("\xC2\x9B"
                          "31m"),
            "?31m")
      << "the C1 introducer of escape sequences";
  EXPECT_EQ(printableText("\xC2\x80\xC2\x9F\xC2\xA0"), "??\xC2\xA0");
}

TEST(PrintableText, ReplacesWhatTurnsTheDirection) {
  EXPECT_EQ(printableText("song\xE2\x80\xAEvaw.exe"), "song?vaw.exe");
  int replaced = 0;
  for (const char* mark : {"\xD8\x9C", "\xE2\x80\x8E", "\xE2\x80\x8F", "\xE2\x80\xAA", "\xE2\x80\xAB", "\xE2\x80\xAC",
                           "\xE2\x80\xAD", "\xE2\x81\xA6", "\xE2\x81\xA7", "\xE2\x81\xA8", "\xE2\x81\xA9"}) {
    EXPECT_EQ(printableText(mark), "?");
    ++replaced;
  }
  EXPECT_EQ(replaced, 11);
}

}  // namespace
}  // namespace tolvane
