#include "platform/BilingualText.h"

#include <gmock/gmock.h>

#include <map>
#include <string>
#include <string_view>

namespace tolvane {
namespace {

/// What a translator might have written, some of it wrong.
const std::map<std::string_view, const char*>& translations() {
  static const std::map<std::string_view, const char*> all{{"", "Language: de"},
                                                           {"No match", "Kein Treffer"},
                                                           {"{} of {}", "{} von {}"},
                                                           {"{} before {}", "{1} nach {0}"},
                                                           {"{} failed.", "{} fehlgeschlagen: {}."},
                                                           {"at {:.1f} s", "bei {:x} s"},
                                                           {"this device", "diesem Gerät"},
                                                           {"Same", "Same"}};
  return all;
}

constexpr Catalogue german{.text = [](const char* english) -> const char* {
                             const auto found = translations().find(english);
                             return found != translations().end() ? found->second : english;
                           },
                           .plural = [](const char* one, const char* many, unsigned long count) -> const char* {
                             if (std::string_view(one) == "{} track") return count == 1 ? "{} Stück" : "{} Stücke";
                             return count == 1 ? one : many;
                           }};

class Bilingual : public testing::Test {
 protected:
  Bilingual() { setCatalogue(&german); }
  ~Bilingual() override { setCatalogue(nullptr); }
};

TEST_F(Bilingual, HasTheEnglishTextAndTheOneThatIsShown) {
  const BilingualText text = bilingual("No match");
  EXPECT_EQ(text, "No match");
  EXPECT_EQ(text.shown(), "Kein Treffer");
  EXPECT_EQ(translate("No match"), "Kein Treffer");
}

TEST_F(Bilingual, IsEnglishWhereTheCatalogueHasNothing) {
  EXPECT_EQ(bilingual("Unheard of").shown(), "Unheard of");
  EXPECT_FALSE(bilingual("Unheard of").isTranslated());
  EXPECT_FALSE(bilingual("Same").isTranslated());
  EXPECT_EQ(BilingualText("No match").shown(), "No match") << "a name from outside is not looked up";
  EXPECT_EQ(inCatalogue("").shown(), "") << "for gettext that is the catalogue's own description";
}

TEST_F(Bilingual, FillsValuesIntoBothAndTranslatesThoseThatAreTexts) {
  EXPECT_EQ(bilingual("{} of {}", 2, 17).shown(), "2 von 17");
  const BilingualText text = bilingual("{} before {}", bilingual("this device"), std::string("mpv"));
  EXPECT_EQ(text, "this device before mpv");
  EXPECT_EQ(text.shown(), "mpv nach diesem Gerät");
}

TEST_F(Bilingual, StaysEnglishWhereATranslationHasOtherPlaceholders) {
  EXPECT_EQ(bilingual("{} failed.", "Opening").shown(), "Opening failed.");
  EXPECT_EQ(bilingual("at {:.1f} s", 1.5).shown(), "at 1.5 s");
}

TEST_F(Bilingual, HasTheFormForACount) {
  EXPECT_EQ(translatePlural("{} track", "{} tracks", 1, 1), "1 Stück");
  EXPECT_EQ(translatePlural("{} track", "{} tracks", 3, 3), "3 Stücke");
  EXPECT_EQ(translatePlural("{} row", "{} rows", 1, 1), "1 row");
  EXPECT_EQ(bilingualPlural("{} track", "{} tracks", 2, 2), "2 tracks");
}

TEST_F(Bilingual, JoinsItsPartsInBothLanguages) {
  BilingualText text;
  text.add(bilingual("No match"));
  text.add({});
  text.add(bilingual("this device"), ", ");
  text.add("mpv");
  EXPECT_EQ(text, "No match, this device mpv");
  EXPECT_EQ(text.shown(), "Kein Treffer, diesem Gerät mpv");
  text.clear();
  EXPECT_EQ(text.shown(), "");
}

TEST(BilingualText, IsEnglishWithoutACatalogue) {
  EXPECT_EQ(bilingual("No match").shown(), "No match");
  EXPECT_EQ(translatePlural("{} track", "{} tracks", 1, 1), "1 track");
  EXPECT_EQ(translatePlural("{} track", "{} tracks", 0, 0), "0 tracks");
}

}  // namespace
}  // namespace tolvane
