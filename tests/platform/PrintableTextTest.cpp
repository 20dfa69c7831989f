#include "platform/PrintableText.h"

#include <gtest/gtest.h>

#include <string>

namespace tolvane {
namespace {

TEST(PrintableText, KeepsWhatIsText) {
  for (const char* text : {"", "Bach: Partita.wav", "caf\xC3\xA9", "\xE2\x80\x9Cquoted\xE2\x80\x9D \xE2\x80\xA6",
                           "\xE6\x97\xA5\xE6\x9C\xAC", "\xF0\x9F\x8E\xB5", "\xF0\x90\x80\x9B", "latin \xE9", "\xC2", "\xE2", "\xC2\xC2",
                           "\xF4\x8F\xBF\xBF", "\xED\x9F\xBF", "\xE0\xA0\x9B"})
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

TEST(PrintableText, ReplacesBytesThatAreControlsInAnEncodingOfEightBits) {
  int replaced = 0;
  for (int byte = 0x80; byte <= 0xFF; ++byte) {
    const std::string text = std::string("a") + static_cast<char>(byte) + "31m";
    EXPECT_EQ(printableText(text), byte <= 0x9F ? "a?31m" : text) << byte;
    replaced += printableText(text) != text ? 1 : 0;
  }
  EXPECT_EQ(replaced, 32);
}

TEST(PrintableText, ReplacesSuchBytesWhereTheyBelongToNoCharacter) {
  struct Case {
    const char* text;
    const char* printable;
  };
  for (const auto& [text, printable] :
       {Case{"\xE2\x80", "\xE2?"},                      // cut off
        {"\xE2\x9B[", "\xE2?["},                        // broken off
        {"\xC2\xC2\x9B", "\xC2?"},                      // a whole one behind a broken one
        {"\xC0\x9B", "\xC0?"},                          // longer than it must be
        {"\xE0\x82\x9B", "\xE0??"},                     //
        {"\xF0\x80\x82\x9B", "\xF0???"},                //
        {"\xED\xA0\x9B", "\xED\xA0?"},                  // half of a surrogate pair
        {"\xF4\x90\x80\x9B", "\xF4???"},                // beyond Unicode
        {"\xF8\x88\x80\x80\x9B", "\xF8????"},           //
        {"\xE6\x97\xA5\x9B", "\xE6\x97\xA5?"}})        // behind a character
    EXPECT_EQ(printableText(text), printable);
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
