#include "ui/texts/Presentation.h"

#include <gtest/gtest.h>

#include <cmath>

namespace tolvane {
namespace {

TEST(FormatTime, ShowsWholeMinutesAndSecondsAndNoHours) {
  struct Case {
    double seconds;
    const char* text;
  };
  for (const auto& [seconds, text] :
       {Case{0, "00:00"}, Case{59.999, "00:59"}, Case{60, "01:00"}, Case{131, "02:11"}, Case{3600, "60:00"},
        Case{4500, "75:00"}, Case{6000, "100:00"}, Case{86400, "1440:00"}}) {
    EXPECT_EQ(formatTime(seconds), text) << seconds;
  }
}

TEST(FormatTime, ShowsZeroForWhatIsNoTime) {
  for (const double seconds : {-1.0, -0.001, std::nan(""), HUGE_VAL, -HUGE_VAL})
    EXPECT_EQ(formatTime(seconds), "00:00");
}

TEST(TrackLabels, NameTheTrackOrSayThatThereIsNone) {
  EXPECT_EQ(currentTrackTitle(PlaylistTrack{1, FileURL("/music/Vespers.flac")}), "Vespers");
  EXPECT_EQ(currentTrackTitle(std::nullopt), "No track selected");
}

TEST(TrackLabels, AreThoseOfTheCueSheet) {
  const PlaylistTrack track{1, FileURL("/music/Album.flac", FileExcerpt{.end = 75, .title = "Arri\tval"})};
  EXPECT_EQ(currentTrackTitle(track), "Arri\uFFFDval");
  EXPECT_EQ(trackTitle(track, nullptr), "Arri\uFFFDval") << "before the file's tags are known";
  const MusicTags tags =
      tagsOfTrack({.title = "Album", .artist = "Trio", .album = "Evening", .trackNumber = {}}, track.url);
  EXPECT_EQ(trackTitle(track, &tags), "Arri\uFFFDval");
  EXPECT_EQ(creditsLabel(&tags), "Trio \u00b7 Evening") << "the file's where the sheet states none";
}

TEST(TrackLabels, CountFromOneInTwoDigitsOrMore) {
  EXPECT_EQ(trackPositionLabel(0, 3), "01 / 03");
  EXPECT_EQ(trackPositionLabel(99, 120), "100 / 120");
  EXPECT_EQ(trackPositionLabel(0, 0), "-- / --");
}

TEST(TrackLabels, KnowTheSingular) {
  EXPECT_EQ(trackCountLabel(0), "0 tracks");
  EXPECT_EQ(trackCountLabel(1), "1 track");
  EXPECT_EQ(trackCountLabel(12), "12 tracks");
  EXPECT_EQ(savingLabel(true), "");
  EXPECT_EQ(savingLabel(false), "not saved for now");
}

TEST(DurationLabel, IsDashesWhereTheLengthIsUnknown) {
  EXPECT_EQ(durationLabel(std::nullopt), "--:--");
  for (const double seconds : {-1.0, std::nan(""), HUGE_VAL}) EXPECT_EQ(durationLabel(seconds), "--:--");
  EXPECT_EQ(durationLabel(0), "00:00");
  EXPECT_EQ(durationLabel(4500.9), "75:00");
}

TEST(OutputPercentageLabel, NeverRoundsToTheEnds) {
  struct Case {
    double value;
    const char* text;
  };
  for (const auto& [value, text] :
       {Case{1, "100"}, Case{0.5, "50"}, Case{0, "0"}, Case{0.12345, "12.35"}, Case{0.99999, "99.99"},
        Case{0.00001, "<0.01"}, Case{-0.25, "25"}, Case{0.005, "0.50"}, Case{-1, "100"}, Case{0.0001, "0.01"}}) {
    EXPECT_EQ(outputPercentageLabel(value), text) << value;
  }
}

TEST(BalanceLabel, NamesTheSide) {
  struct Case {
    double balance;
    const char* text;
  };
  for (const auto& [balance, text] : {Case{0, "Center"}, Case{-0.0, "Center"}, Case{1, "R 100"}, Case{-0.25, "L 25"},
                                      Case{-0.005, "L 0.50"}, Case{-1, "L 100"}, Case{0.000001, "R <0.01"}}) {
    EXPECT_EQ(balanceLabel(balance), text) << balance;
  }
}

TEST(SampleRateLabel, ShowsAFractionOnlyWhereThereIsOne) {
  struct Case {
    double hertz;
    const char* text;
  };
  for (const auto& [hertz, text] : {Case{44100, "44.1 kHz"}, Case{48000, "48 kHz"}, Case{88200, "88.2 kHz"},
                                    Case{192000, "192 kHz"}, Case{11025, "11.0 kHz"}, Case{0, "No active sample rate"},
                                    Case{-1, "No active sample rate"}, Case{std::nan(""), "No active sample rate"}}) {
    EXPECT_EQ(sampleRateLabel(hertz), text) << hertz;
  }
}

TEST(ExclusiveAccessControl, HasATitleAndAColourForEveryStatus) {
  using Kind = ExclusiveAccessStatus::Kind;
  struct Case {
    Kind kind;
    const char* title;
    ThemeColor color;
  };
  const ThemeColor quiet = Theme::gold.withOpacity(0.72);
  for (const auto& [kind, title, color] :
       {Case{Kind::off, "Exclusive\nAccess", quiet}, Case{Kind::requested, "Exclusive\nAccess", quiet},
        Case{Kind::checking, "Exclusive\nChecking", Theme::copper},
        Case{Kind::active, "Exclusive\nActive", Theme::gold}, Case{Kind::lost, "Exclusive\nLost", Theme::ember},
        Case{Kind::unavailable, "Exclusive\nLost", Theme::ember}}) {
    EXPECT_EQ(exclusiveAccessControlTitle(kind), title);
    EXPECT_EQ(exclusiveAccessControlColor(kind), color);
  }
}

TEST(AudioPathBadge, HasAColourForEveryVerdict) {
  using Kind = AudioPathStatus::Kind;
  struct Case {
    Kind kind;
    ThemeColor color;
  };
  for (const auto& [kind, color] :
       {Case{Kind::ready, Theme::muted.withOpacity(0.72)}, Case{Kind::configuring, Theme::copper.withOpacity(0.82)},
        Case{Kind::bitPerfect, Theme::gold}, Case{Kind::directPCM, Theme::copper}, Case{Kind::processed, Theme::copper},
        Case{Kind::converted, Theme::ember}, Case{Kind::error, Theme::ember}}) {
    EXPECT_EQ(audioPathColor(kind), color);
  }
}

/// The contrast of a colour on the panel, as people with weak sight need it (WCAG).
double contrastOnPanel(const ThemeColor& color) {
  const auto linear = [](double c) { return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4); };
  const auto luminance = [&](double r, double g, double b) {
    return 0.2126 * linear(r) + 0.7152 * linear(g) + 0.0722 * linear(b);
  };
  const auto over = [&](double top, double ground) { return top * color.opacity + ground * (1 - color.opacity); };
  const double above = luminance(over(color.red, Theme::panel.red), over(color.green, Theme::panel.green),
                                 over(color.blue, Theme::panel.blue));
  return (above + 0.05) / (luminance(Theme::panel.red, Theme::panel.green, Theme::panel.blue) + 0.05);
}

/// The same, printed: the figures can be looked up in the test's output.
double printedContrast(const std::string& what, const ThemeColor& color) {
  const double ratio = contrastOnPanel(color);
  std::printf("contrast of %s: %.2f : 1\n", what.c_str(), ratio);
  return ratio;
}

TEST(Theme, TextIsReadableOnThePanel) {
  EXPECT_GT(printedContrast("text", Theme::ink), 7);
  EXPECT_GT(printedContrast("muted text", Theme::muted), 4.5);
  for (int kind = 0; kind <= static_cast<int>(AudioPathStatus::Kind::error); ++kind)
    EXPECT_GT(
        printedContrast("verdict " + std::to_string(kind), audioPathColor(static_cast<AudioPathStatus::Kind>(kind))),
        4.5);
  for (int kind = 0; kind <= static_cast<int>(ExclusiveAccessStatus::Kind::unavailable); ++kind)
    EXPECT_GT(printedContrast("Exclusive Access " + std::to_string(kind),
                              exclusiveAccessControlColor(static_cast<ExclusiveAccessStatus::Kind>(kind))),
              4.5);
}

TEST(Presentation, ShowsAReplacementForEachControlCharacter) {
  for (const auto& [name, shown] : {std::pair{"Prelude", "Prelude"},
                                    {"a\tb\nc", "a\uFFFDb\uFFFDc"},
                                    {"\x1b[31mred", "\uFFFD[31mred"},
                                    {"\u202Egpj.wav", "\uFFFDgpj.wav"},
                                    {"夜想曲", "夜想曲"},
                                    {"\x7F", "\uFFFD"}})
    EXPECT_EQ(displayText(name), shown);
  EXPECT_EQ(currentTrackTitle(PlaylistTrack{1, FileURL("/music/a\nb.wav")}), "a\uFFFDb");
}

TEST(Presentation, NumbersARowUnlessItsTitleBeginsWithThatNumber) {
  for (const auto& [row, title, number] : {std::tuple{0, "Prelude", "01"},
                                           {2, "03 Prelude", ""},
                                           {2, "3. Prelude", ""},
                                           {2, "03", ""},
                                           {2, "04 Coda", "03"},
                                           {19, "2001 Odyssey", "20"},
                                           {99, "100 Years", ""},
                                           {0, "", "01"},
                                           {0, "99999999999999999999 x", "01"}})
    EXPECT_EQ(rowNumberLabel(row, title), number) << title;
}

TEST(SelectionLabel, CountsWhatIsSelected) { EXPECT_EQ(selectionLabel(12, 3), "3 of 12 selected"); }

TEST(PlaylistChangeLabel, SaysWhatHasHappened) {
  using Kind = PlaylistChange::Kind;
  EXPECT_EQ(playlistChangeLabel({Kind::replaced, 12}), "12 tracks replaced");
  EXPECT_EQ(playlistChangeLabel({Kind::removed, 1}), "1 track removed");
  EXPECT_EQ(playlistChangeLabel({Kind::added, 3}), "3 tracks added");
  EXPECT_EQ(playlistChangeLabel({Kind::moved, 1}), "Track moved");
}

TEST(PlaylistDurationLabel, SaysWhetherAllLengthsAreKnown) {
  EXPECT_EQ(playlistDurationLabel(0, 0, 12), "");
  EXPECT_EQ(playlistDurationLabel(65.9, 12, 12), "01:05");
  EXPECT_EQ(playlistDurationLabel(3599, 11, 12), "59:59 or more");
  EXPECT_EQ(playlistDurationLabel(3600, 12, 12), "1:00:00");
  EXPECT_EQ(playlistDurationLabel(360'000 + 125, 12, 12), "100:02:05");
  EXPECT_EQ(playlistDurationLabel(0, 1, 1), "00:00");
}

TEST(MatchLabel, CountsTheMatches) {
  EXPECT_EQ(matchLabel(2, 17), "2 of 17");
  EXPECT_EQ(matchLabel(0, 0), "No match");
}

TEST(Presentation, TitlesAreWhatTheTagsStateOrTheFilesName) {
  const PlaylistTrack track{1, FileURL("/music/Album/01 Prelude.flac")};
  EXPECT_EQ(trackTitle(track, nullptr), "01 Prelude");
  const MusicTags nothing;
  EXPECT_EQ(trackTitle(track, &nothing), "01 Prelude");
  const MusicTags tags{.title = "Prelude", .artist = {}, .album = {}, .trackNumber = {}};
  EXPECT_EQ(trackTitle(track, &tags), "Prelude");
}

TEST(Presentation, TheLineBelowIsArtistAndAlbumOrTheFolder) {
  const PlaylistTrack track{1, FileURL("/music/Copper Light/01.flac")};
  const auto line = [&](const std::string& artist, const std::string& album) {
    const MusicTags tags{.title = {}, .artist = artist, .album = album, .trackNumber = {}};
    return detailLabel(track, &tags);
  };
  EXPECT_EQ(detailLabel(track, nullptr), "") << "while the tags are not known";
  EXPECT_EQ(line("Brandt", "Slow Water"), "Brandt · Slow Water");
  EXPECT_EQ(line("Brandt", ""), "Brandt");
  EXPECT_EQ(line("", "Slow Water"), "Slow Water");
  EXPECT_EQ(line("", ""), "Copper Light");
  const MusicTags nothing;
  EXPECT_EQ(detailLabel({1, FileURL("/01.flac")}, &nothing), "");
  EXPECT_EQ(creditsLabel(&nothing), "");
  EXPECT_EQ(creditsLabel(nullptr), "");
}

}  // namespace
}  // namespace tolvane
