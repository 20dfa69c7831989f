#include "app/Translations.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "engine/AudioPathStatus.h"
#include "engine/PathReport.h"
#include "platform/BilingualText.h"

namespace tolvane {
namespace {

class Translations : public testing::Test {
 protected:
  ~Translations() override { setCatalogue(nullptr); }

  /// With this build's catalogues, in a locale that is on every system and leaves the choice to LANGUAGE.
  static void use(const char* language, const char* locale = "C.UTF-8") {
    ::setenv("LC_ALL", locale, 1);
    ::setenv("LANGUAGE", language, 1);
    useTranslations(TOLVANE_TRANSLATIONS);
  }
  static QString qml(const char* text) { return CatalogueTranslator().translate("Main", text, nullptr, -1); }
};

TEST_F(Translations, ComeFromTheCatalogueOfTheLanguage) {
  use("de");
  EXPECT_EQ(translate("Track moved"), "Titel verschoben");
  EXPECT_EQ(translatePlural("{} track added", "{} tracks added", 3, 3), "3 Titel hinzugefügt");
  EXPECT_EQ(qml("Open a folder"), QStringLiteral("Ordner öffnen"));
  use("ja");
  EXPECT_EQ(translate("Track moved"), "トラックを移動");
  EXPECT_EQ(translatePlural("{} track added", "{} tracks added", 1, 1), "1 曲を追加");
  EXPECT_EQ(qml("Open a folder"), QStringLiteral("フォルダーを開く"));
}

TEST_F(Translations, TakeTheLanguageThatComesFirstAndIsThere) {
  use("xx:ja:de");
  EXPECT_EQ(translate("No match"), "一致なし");
}

TEST_F(Translations, AreEnglishInAnUnknownLanguageAndWithoutALocale) {
  use("xx");
  EXPECT_EQ(translate("No match"), "No match");
  EXPECT_TRUE(qml("Open a folder").isNull()) << "Qt takes the English text";
  use("de", "C");
  EXPECT_EQ(translate("No match"), "No match");
  use("de", "xx_XX.UTF-8");
  EXPECT_EQ(translate("No match"), "No match");
}

TEST_F(Translations, LeaveTheVerdictsNameAndTheReportInEnglish) {
  use("de");
  const AudioPathStatus status = AudioPathStatus::ready();
  EXPECT_EQ(status.label, "READY");
  EXPECT_EQ(status.detail.shown(), "Einen Titel auswählen, um den Ausgabeweg zu prüfen.");
  PathDiagnostics diagnostics;
  diagnostics.status = status;
  const std::string report = pathReport(diagnostics, {});
  EXPECT_THAT(report, testing::HasSubstr("Choose a track to verify the output path."));
  EXPECT_THAT(report, testing::HasSubstr("Underruns"));
  EXPECT_THAT(report, testing::Not(testing::HasSubstr("Einen Titel")));
}

TEST_F(Translations, TranslateAFailureOfTheSystemWithItsStage) {
  use("de");
  const auto error = AudioPlayerError::operation("Starting the output device", -1);
  EXPECT_EQ(error.errorDescription(), "Starting the output device failed (Core Audio -1).");
  EXPECT_EQ(error.errorDescription().shown(), "Starten des Ausgabegeräts: fehlgeschlagen (Core Audio -1).");
}

TEST(TranslationsFolder, IsBesideThatOfTheProgram) {
  EXPECT_EQ(translationsFolder(), TOLVANE_TRANSLATIONS);
}

}  // namespace
}  // namespace tolvane
