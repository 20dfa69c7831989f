#include "tools/ProbeOutput.h"

#include <gtest/gtest.h>

#include "platform/PrintableText.h"

namespace tolvane {
namespace {

TEST(ProbeOutput, EscapesWhatControlsATerminal) {
  int escaped = 0;
  for (const auto& [character, escape] : {std::pair{"\x1B", "\\u001b"},
                                          {"\x7F", "\\u007f"},
                                          {"\xC2\x80", "\\u0080"},
                                          {"\xC2\x9B", "\\u009b"},
                                          {"\xD8\x9C", "\\u061c"},
                                          {"\xE2\x80\x8E", "\\u200e"},
                                          {"\xE2\x80\xAE", "\\u202e"},
                                          {"\xE2\x81\xA6", "\\u2066"}}) {
    const Json value{{std::string("name") + character, std::string("a") + character + "b"}};
    const std::string line = jsonLine(value);
    EXPECT_EQ(line, std::string("{\"name") + escape + "\":\"a" + escape + "b\"}");
    EXPECT_EQ(printableText(line), line);
    EXPECT_EQ(Json::parse(line), value) << "the same value when parsed";
    ++escaped;
  }
  EXPECT_EQ(escaped, 8);
}

TEST(ProbeOutput, KeepsOtherTextAndReplacesWhatIsNoText) {
  EXPECT_EQ(jsonLine({{"name", "caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC \"quoted\""}}),
            "{\"name\":\"caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC \\\"quoted\\\"\"}");
  EXPECT_EQ(jsonLine({{"name", "latin \xE9"}}), "{\"name\":\"latin \xEF\xBF\xBD\"}");
}

}  // namespace
}  // namespace tolvane
