#include "session/Base64.h"

#include <gtest/gtest.h>

#include "tests/support/SeededRandom.h"

namespace tolvane {
namespace {

std::string encodedBase64(std::string_view bytes) {
  std::string text;
  appendBase64(text, bytes);
  return text;
}

TEST(Base64, WritesTheTextsOfTheStandard) {
  struct Case {
    std::string_view bytes;
    std::string_view text;
  };
  for (const auto& [bytes, text] :
       {Case{"", ""}, Case{"f", "Zg=="}, Case{"fo", "Zm8="}, Case{"foo", "Zm9v"}, Case{"foob", "Zm9vYg=="},
        Case{"fooba", "Zm9vYmE="}, Case{"foobar", "Zm9vYmFy"}, Case{"\xFB\xEF\xFF", "++//"}}) {
    EXPECT_EQ(encodedBase64(bytes), text);
    EXPECT_EQ(decodedBase64(text), bytes);
  }
}

TEST(Base64, AppendsToWhatIsThere) {
  std::string text = "\"";
  appendBase64(text, "fo");
  EXPECT_EQ(text, "\"Zm8=");
}

TEST(Base64, GivesEveryBytesBack) {
  test::SeededRandom random(1);
  for (std::size_t size = 0; size < 300; ++size) {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>(random.next());
    EXPECT_EQ(decodedBase64(encodedBase64(bytes)), bytes) << size;
  }
}

TEST(Base64, RefusesWhatIsNotWholePaddedGroups) {
  for (const std::string_view text : {"Z", "Zg", "Zg=", "Zg===", "====", "Z===", "Zm9v Zm8=", "Zm9v\n", "Zm-_", "=Zm8",
                                      "Zg==Zg==", "Zm8=Zm9v", "Zm9\xFF"})
    EXPECT_EQ(decodedBase64(text), std::nullopt) << text;
}

}  // namespace
}  // namespace tolvane
