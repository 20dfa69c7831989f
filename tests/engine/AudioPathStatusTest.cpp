#include "engine/AudioPathStatus.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "engine/StreamFormats.h"
#include "tests/engine/PathCircumstances.h"

namespace tolvane {
namespace {

using Kind = AudioPathStatus::Kind;

/// A lossless 44.1 kHz track on a wired device that follows it, Exclusive Access off.
AudioPathFacts perfectFacts() {
  AudioPathFacts facts;
  facts.sourceRate = facts.nominalRate = facts.actualRate = 44100;
  facts.clientFormatMatches = true;
  facts.isLossless = true;
  facts.sourceLabel = "FLAC";
  facts.physicalFormat = physical24;
  facts.physicalFormatCompatible = true;
  facts.hogModeSupported = true;
  return facts;
}

const std::string retained =
    "Sample rate and PCM format match with no app-level DSP, but Exclusive Access was requested and another process or "
    "the driver retained shared access.";
const std::string notExposed =
    "Sample rate and PCM format match with no app-level DSP, but Exclusive Access was requested and the device does "
    "not expose exclusive access.";
const std::string bluetoothEncoding =
    "PCM reaches Core Audio without app-level DSP, but Bluetooth encoding prevents end-to-end bit-perfect playback.";

const std::string bluetoothFormat =
    "Core Audio accepted a different client format before sending audio through the Bluetooth codec.";
const std::string bluetoothRate =
    "Bluetooth output is running at 48 kHz; Core Audio converts the 44.1 kHz source before the wireless codec.";
const std::string anotherRate =
    "The track is 44.1 kHz, but the device reports 48 kHz. Core Audio sample-rate conversion may be active.";
const std::string anotherClientFormat =
    "AUHAL accepted a different client PCM format, so format conversion may be active.";
const std::string lossyMP3 =
    "MP3 is decoded to PCM and sent without app-level DSP at 44.1 kHz. Lossy source data cannot be bit-perfect.";
const std::string narrowDevice =
    "The device stream is 44.1 kHz, 24-bit integer, 2 ch, which does not preserve the source format exactly.";

struct Row {
  std::string name;
  std::function<void(AudioPathFacts&)> change;
  Kind kind;
  std::string label;
  std::string detail;
};

void exclusiveOwned(AudioPathFacts& f) { f.exclusiveAccessEnabled = f.hogModeOwned = true; }
void exclusiveNotOwned(AudioPathFacts& f) { f.exclusiveAccessEnabled = true; }
void ratesDiffer(AudioPathFacts& f) { f.nominalRate = f.actualRate = 48000; }
void physicalFormatAbsent(AudioPathFacts& f) {
  f.physicalFormat.reset();
  f.physicalFormatCompatible = false;  // as it is gathered
}
void isTurnedDown(AudioPathFacts& f) {
  f.alterations.push_back({SampleAlteration::Kind::processed, "The volume is at 40 %.", "Set it to 100 %."_cure});
}
void isMixed(AudioPathFacts& f) {
  f.alterations.push_back(
      {SampleAlteration::Kind::converted, "The channels are mixed.", "Choose another device."_cure});
}
void isObscure(AudioPathFacts& f) {
  f.alterations.push_back({SampleAlteration::Kind::unknown, "A setting is not known.", "Remove it."_cure});
}
void isMP3(AudioPathFacts& f) { f.isLossless = false, f.sourceLabel = "MP3"; }

const std::vector<Row> rows{
    {"1 Bluetooth at another rate", [](auto& f) { f.isBluetooth = true, ratesDiffer(f); }, Kind::converted, "CONVERTED",
     bluetoothRate},
    {"1 Bluetooth, no rate could be read", [](auto& f) { f.isBluetooth = true, f.nominalRate = f.actualRate = 0; },
     Kind::converted, "CONVERTED",
     "Bluetooth output is running at an unknown rate; Core Audio converts the 44.1 kHz source before the wireless "
     "codec."},
    {"1 before 3", [](auto& f) { f.isBluetooth = true, ratesDiffer(f), f.clientFormatMatches = false; },
     Kind::converted, "CONVERTED", bluetoothRate},
    {"2 Bluetooth, client match", [](auto& f) { f.isBluetooth = true; }, Kind::directPCM, "DIRECT PCM",
     bluetoothEncoding},
    {"2 before 6", [](auto& f) { f.isBluetooth = true, isMP3(f); }, Kind::directPCM, "DIRECT PCM", bluetoothEncoding},
    {"2 before 7", [](auto& f) { f.isBluetooth = true, physicalFormatAbsent(f); }, Kind::directPCM, "DIRECT PCM",
     bluetoothEncoding},
    {"2 before 12: Bluetooth is never bit-perfect", [](auto& f) { f.isBluetooth = true, exclusiveOwned(f); },
     Kind::directPCM, "DIRECT PCM", bluetoothEncoding},
    {"3 Bluetooth, another client format", [](auto& f) { f.isBluetooth = true, f.clientFormatMatches = false; },
     Kind::converted, "CONVERTED", bluetoothFormat},
    {"4 rates differ", ratesDiffer, Kind::converted, "CONVERTED", anotherRate},
    {"4 the actual rate is the one shown", [](auto& f) { f.actualRate = 96000; }, Kind::converted, "CONVERTED",
     "The track is 44.1 kHz, but the device reports 96 kHz. Core Audio sample-rate conversion may be active."},
    {"4 no rate could be read", [](auto& f) { f.nominalRate = f.actualRate = 0; }, Kind::converted, "CONVERTED",
     "The track is 44.1 kHz, but the device reports an unknown rate. Core Audio sample-rate conversion may be active."},
    {"4 the source has no rate", [](auto& f) { f.sourceRate = 0; }, Kind::converted, "CONVERTED",
     "The track is an unknown rate, but the device reports 44.1 kHz. Core Audio sample-rate conversion may be active."},
    {"4 before 5", [](auto& f) { ratesDiffer(f), f.clientFormatMatches = false; }, Kind::converted, "CONVERTED",
     anotherRate},
    {"4 before 6", [](auto& f) { ratesDiffer(f), isMP3(f); }, Kind::converted, "CONVERTED", anotherRate},
    {"4 before 9", [](auto& f) { ratesDiffer(f), f.physicalFormatCompatible = false; }, Kind::converted, "CONVERTED",
     anotherRate},
    {"5 another client format", [](auto& f) { f.clientFormatMatches = false; }, Kind::converted, "CONVERTED",
     anotherClientFormat},
    {"5 before 6", [](auto& f) { f.clientFormatMatches = false, isMP3(f); }, Kind::converted, "CONVERTED",
     anotherClientFormat},
    {"5 before 7", [](auto& f) { f.clientFormatMatches = false, physicalFormatAbsent(f); }, Kind::converted,
     "CONVERTED", anotherClientFormat},
    {"5 before 9", [](auto& f) { f.clientFormatMatches = f.physicalFormatCompatible = false; }, Kind::converted,
     "CONVERTED", anotherClientFormat},
    {"6 lossy source", isMP3, Kind::directPCM, "DIRECT PCM", lossyMP3},
    {"6 nothing is made up for an empty label", [](auto& f) { f.isLossless = false, f.sourceLabel.clear(); },
     Kind::directPCM, "DIRECT PCM",
     " is decoded to PCM and sent without app-level DSP at 44.1 kHz. Lossy source data cannot be bit-perfect."},
    {"6 before 7", [](auto& f) { isMP3(f), physicalFormatAbsent(f); }, Kind::directPCM, "DIRECT PCM", lossyMP3},
    {"6 before 8", [](auto& f) { isMP3(f), physicalFormatAbsent(f), exclusiveNotOwned(f); }, Kind::directPCM,
     "DIRECT PCM", lossyMP3},
    {"6 before 9", [](auto& f) { isMP3(f), f.physicalFormatCompatible = false; }, Kind::directPCM, "DIRECT PCM",
     lossyMP3},
    {"6 before 10", [](auto& f) { isMP3(f), exclusiveNotOwned(f); }, Kind::directPCM, "DIRECT PCM", lossyMP3},
    {"6 before 12", [](auto& f) { isMP3(f), exclusiveOwned(f); }, Kind::directPCM, "DIRECT PCM", lossyMP3},
    {"2 before 6b", [](auto& f) { f.isBluetooth = true, isTurnedDown(f); }, Kind::directPCM, "DIRECT PCM",
     bluetoothEncoding},
    {"4 before 6b", [](auto& f) { ratesDiffer(f), isTurnedDown(f); }, Kind::converted, "CONVERTED", anotherRate},
    {"6 before 6a", [](auto& f) { isMP3(f), isMixed(f); }, Kind::directPCM, "DIRECT PCM", lossyMP3},
    {"6 before 6b", [](auto& f) { isMP3(f), isTurnedDown(f); }, Kind::directPCM, "DIRECT PCM", lossyMP3},
    {"6a converted behind the unit", isMixed, Kind::converted, "CONVERTED",
     "The channels are mixed. Choose another device."},
    {"6a before 6b", [](auto& f) { isTurnedDown(f), isMixed(f); }, Kind::converted, "CONVERTED",
     "The channels are mixed. Choose another device. The volume is at 40 %. Set it to 100 %."},
    {"6a before 9", [](auto& f) { isMixed(f), f.physicalFormatCompatible = false; }, Kind::converted, "CONVERTED",
     "The channels are mixed. Choose another device."},
    {"6b processed behind the unit", isTurnedDown, Kind::processed, "DSP ACTIVE",
     "The volume is at 40 %. Set it to 100 %."},
    {"6b behind a unit that is exclusive", [](auto& f) { exclusiveOwned(f), isTurnedDown(f); }, Kind::processed,
     "DSP ACTIVE", "The volume is at 40 %. Set it to 100 %."},
    {"6b every reason is given", [](auto& f) { isObscure(f), isTurnedDown(f), isTurnedDown(f); }, Kind::processed,
     "DSP ACTIVE",
     "The volume is at 40 %. Set it to 100 %. The volume is at 40 %. Set it to 100 %. A setting is not known. Remove "
     "it."},
    {"6b before 7", [](auto& f) { isTurnedDown(f), physicalFormatAbsent(f); }, Kind::processed, "DSP ACTIVE",
     "The volume is at 40 %. Set it to 100 %."},
    {"6b before 8", [](auto& f) { isTurnedDown(f), physicalFormatAbsent(f), exclusiveNotOwned(f); }, Kind::processed,
     "DSP ACTIVE", "The volume is at 40 %. Set it to 100 %."},
    {"7 an unknown alteration", isObscure, Kind::directPCM, "DIRECT PCM",
     "Shared device access is active and the sample rate matches, but not every stage on the way to the device is "
     "known to keep the samples. A setting is not known. Remove it."},
    {"9 before 7 by an unknown alteration", [](auto& f) { isObscure(f), f.physicalFormatCompatible = false; },
     Kind::converted, "CONVERTED", narrowDevice + " A setting is not known. Remove it."},
    {"9 before 8 by an unknown alteration",
     [](auto& f) { isObscure(f), exclusiveNotOwned(f), f.physicalFormatCompatible = false; }, Kind::converted,
     "CONVERTED", narrowDevice + " A setting is not known. Remove it."},
    {"7 an unknown alteration before 12", [](auto& f) { isObscure(f), exclusiveOwned(f); }, Kind::directPCM,
     "DIRECT PCM",
     "Exclusive Access is active and the sample rate matches, but not every stage on the way to the device is "
     "known to keep the samples. A setting is not known. Remove it."},
    {"8 an unknown alteration before 10", [](auto& f) { isObscure(f), exclusiveNotOwned(f); }, Kind::directPCM,
     "DIRECT PCM", retained + " A setting is not known. Remove it."},
    {"7 no physical format, shared", [](auto& f) { physicalFormatAbsent(f); }, Kind::directPCM, "DIRECT PCM",
     "Shared device access is active and the sample rate matches, but the device does not expose its physical stream "
     "format."},
    {"7 no physical format, switch off but owned", [](auto& f) { physicalFormatAbsent(f), f.hogModeOwned = true; },
     Kind::directPCM, "DIRECT PCM",
     "Exclusive Access is active and the sample rate matches, but the device does not expose its physical stream "
     "format."},
    {"7 no physical format, owned", [](auto& f) { physicalFormatAbsent(f), exclusiveOwned(f); }, Kind::directPCM,
     "DIRECT PCM",
     "Exclusive Access is active and the sample rate matches, but the device does not expose its physical stream "
     "format."},
    {"8 no physical format, on but not owned", [](auto& f) { physicalFormatAbsent(f), exclusiveNotOwned(f); },
     Kind::directPCM, "DIRECT PCM", retained},
    {"8 no physical format, on but not supported",
     [](auto& f) { physicalFormatAbsent(f), exclusiveNotOwned(f), f.hogModeSupported = false; }, Kind::directPCM,
     "DIRECT PCM", notExposed},
    {"9 the device cannot carry the source", [](auto& f) { f.physicalFormatCompatible = false; }, Kind::converted,
     "CONVERTED", narrowDevice},
    {"9 before 10", [](auto& f) { f.physicalFormatCompatible = false, exclusiveNotOwned(f); }, Kind::converted,
     "CONVERTED", narrowDevice},
    {"9 before 12", [](auto& f) { f.physicalFormatCompatible = false, exclusiveOwned(f); }, Kind::converted,
     "CONVERTED", narrowDevice},
    {"10 on but not owned", exclusiveNotOwned, Kind::directPCM, "DIRECT PCM", retained},
    {"10 on but not supported", [](auto& f) { exclusiveNotOwned(f), f.hogModeSupported = false; }, Kind::directPCM,
     "DIRECT PCM", notExposed},
    {"11 bit-perfect, shared", [](auto&) {}, Kind::bitPerfect, "BIT-PERFECT",
     "44.1 kHz and the device PCM format are confirmed with no app-level DSP. Exclusive Access is off, so other apps "
     "may still mix audio into the device."},
    {"11 the actual rate is not reported", [](auto& f) { f.actualRate = 0; }, Kind::bitPerfect, "BIT-PERFECT",
     "44.1 kHz and the device PCM format are confirmed with no app-level DSP. Exclusive Access is off, so other apps "
     "may still mix audio into the device."},
    {"12 bit-perfect, exclusive", exclusiveOwned, Kind::bitPerfect, "BIT-PERFECT",
     "Exclusive Access, 44.1 kHz, and the device PCM format are confirmed. No app-level DSP is active."},
};

std::string yesNo(bool value) { return value ? "yes" : "no"; }

/// The first letters of the alterations' kinds.
std::string kindsOf(const AudioPathFacts& facts) {
  std::string letters;
  for (const SampleAlteration& alteration : facts.alterations)
    letters += "pcu"[static_cast<std::size_t>(alteration.kind)];
  return letters.empty() ? "no" : letters;
}

// All that a verdict depends on, in columns.
constexpr auto columns = "{:<46} {:<9} {:>6} {:>7} {:>6} {:<6} {:<5} {:<8} {:<9} {:<30} {:<7} {:<9} {:<9} {:<5} {}\n";

void printHead() {
  fmt::print(columns, "row", "Bluetooth", "source", "nominal", "actual", "client", "label", "lossless", "altered",
             "physical format", "carries", "exclusive", "supported", "owned", "verdict");
}

std::string line(const std::string& row, const AudioPathFacts& f) {
  return fmt::format(columns, row, yesNo(f.isBluetooth), f.sourceRate, f.nominalRate, f.actualRate,
                     f.clientFormatMatches ? "same" : "other", f.sourceLabel, yesNo(f.isLossless), kindsOf(f),
                     f.physicalFormat ? formatDescription(*f.physicalFormat) : "absent",
                     f.physicalFormat ? yesNo(f.physicalFormatCompatible) : "-", yesNo(f.exclusiveAccessEnabled),
                     yesNo(f.hogModeSupported), yesNo(f.hogModeOwned), judgeAudioPath(f).label);
}

TEST(AudioPathVerdict, IsTheFirstRowThatApplies) {
  printHead();
  for (const Row& row : rows) {
    AudioPathFacts facts = perfectFacts();
    row.change(facts);
    EXPECT_EQ(judgeAudioPath(facts), (AudioPathStatus{row.kind, row.label, row.detail})) << row.name;
    fmt::print("{}", line(row.name, facts));
  }
}

/// A row as it stands in the table: the first one that applies decides. "{}" is the device's rate, "[]" what is said of
/// alterations of a smaller weight.
struct PrioritisedRow {
  std::string number;
  bool (*applies)(const Circumstances&);
  AudioPathStatus status;
};

const std::vector<PrioritisedRow> prioritisedRows{
    {"1",
     [](auto& c) { return c.isBluetooth && !c.rates.match; },
     {Kind::converted, "CONVERTED",
      "Bluetooth output is running at {}; Core Audio converts the 44.1 kHz source before the wireless codec."}},
    {"2", [](auto& c) { return c.isBluetooth && c.clientMatches; }, {Kind::directPCM, "DIRECT PCM", bluetoothEncoding}},
    {"3", [](auto& c) { return c.isBluetooth; }, {Kind::converted, "CONVERTED", bluetoothFormat}},
    {"4",
     [](auto& c) { return !c.rates.match; },
     {Kind::converted, "CONVERTED",
      "The track is 44.1 kHz, but the device reports {}. Core Audio sample-rate conversion may be active."}},
    {"5", [](auto& c) { return !c.clientMatches; }, {Kind::converted, "CONVERTED", anotherClientFormat}},
    {"6", [](auto& c) { return !c.isLossless; }, {Kind::directPCM, "DIRECT PCM", lossyMP3}},
    {"6a", [](auto& c) { return c.isConverted; }, {Kind::converted, "CONVERTED", "C. Undo.[]"}},
    {"6b", [](auto& c) { return c.isProcessed; }, {Kind::processed, "DSP ACTIVE", "P. Undo.[]"}},
    {"9",
     [](auto& c) { return c.formatIsKnown && !c.formatCarries; },
     {Kind::converted, "CONVERTED", narrowDevice + "[]"}},
    {"7 owned, unknown stage",
     [](auto& c) { return c.isObscured && c.isOwned; },
     {Kind::directPCM, "DIRECT PCM",
      "Exclusive Access is active and the sample rate matches, but not every stage on the way to the device is known "
      "to "
      "keep the samples.[]"}},
    {"7 owned",
     [](auto& c) { return !c.formatIsKnown && c.isOwned; },
     {Kind::directPCM, "DIRECT PCM",
      "Exclusive Access is active and the sample rate matches, but the device does not expose its physical stream "
      "format."}},
    {"7 shared, unknown stage",
     [](auto& c) { return c.isObscured && !c.isExclusive && !c.isOwned; },
     {Kind::directPCM, "DIRECT PCM",
      "Shared device access is active and the sample rate matches, but not every stage on the way to the device is "
      "known "
      "to keep the samples.[]"}},
    {"7 shared",
     [](auto& c) { return !c.formatIsKnown && !c.isExclusive && !c.isOwned; },
     {Kind::directPCM, "DIRECT PCM",
      "Shared device access is active and the sample rate matches, but the device does not expose its physical stream "
      "format."}},
    {"8 retained",
     [](auto& c) { return (!c.formatIsKnown || c.isObscured) && c.isExclusive && !c.isOwned && c.isSupported; },
     {Kind::directPCM, "DIRECT PCM", retained + "[]"}},
    {"8 not exposed",
     [](auto& c) { return (!c.formatIsKnown || c.isObscured) && c.isExclusive && !c.isOwned && !c.isSupported; },
     {Kind::directPCM, "DIRECT PCM", notExposed + "[]"}},
    {"10 retained",
     [](auto& c) { return c.isExclusive && !c.isOwned && c.isSupported; },
     {Kind::directPCM, "DIRECT PCM", retained}},
    {"10 not exposed",
     [](auto& c) { return c.isExclusive && !c.isOwned; },
     {Kind::directPCM, "DIRECT PCM", notExposed}},
    {"11",
     [](auto& c) { return !c.isExclusive; },
     {Kind::bitPerfect, "BIT-PERFECT",
      "44.1 kHz and the device PCM format are confirmed with no app-level DSP. Exclusive Access is off, so other apps "
      "may still mix audio into the device."}},
    {"12",
     [](auto&) { return true; },
     {Kind::bitPerfect, "BIT-PERFECT",
      "Exclusive Access, 44.1 kHz, and the device PCM format are confirmed. No app-level DSP is active."}}};

/// What follows the reason that decides.
std::string lesserDetails(const Circumstances& circumstances, Kind deciding) {
  std::string details;
  if (deciding == Kind::converted && circumstances.isProcessed) details += " P. Undo.";
  if (circumstances.isObscured) details += " U. Undo.";
  return details;
}

TEST(AudioPathVerdict, IsTheFirstRowThatAppliesWhateverElseDoes) {
  std::set<std::string> decisive;
  for (const Circumstances& circumstances : everyCombination()) {
    const auto row = std::ranges::find_if(prioritisedRows, [&](const auto& r) { return r.applies(circumstances); });
    decisive.insert(row->number);
    AudioPathStatus expected = row->status;
    if (const auto place = expected.detail.find("{}"); place != std::string::npos)
      expected.detail.replace(place, 2, circumstances.rates.device);
    if (const auto place = expected.detail.find("[]"); place != std::string::npos)
      expected.detail.replace(place, 2, lesserDetails(circumstances, row->status.kind));
    const AudioPathFacts facts = circumstances.facts();
    ASSERT_EQ(judgeAudioPath(facts), expected) << "where row " << row->number << " decides:\n"
                                               << line(row->number, facts);
  }
  EXPECT_EQ(decisive.size(), prioritisedRows.size()) << "each row decides somewhere";
}

const std::string levelsActive =
    "Software volume or stereo balance is active. Set Volume to 100% and Balance to Center to bypass all app-level "
    "processing.";

TEST(OutputLevelsOverlay, LeavesEveryVerdictAloneAtNeutralLevels) {
  for (const Kind kind : {Kind::ready, Kind::configuring, Kind::bitPerfect, Kind::directPCM, Kind::processed,
                          Kind::converted, Kind::error}) {
    const AudioPathStatus status{kind, "LABEL", "Detail."};
    EXPECT_EQ(status.applyingOutputLevels({1.0, 0.0}, false), status);
  }
}

TEST(OutputLevelsOverlay, LeavesReadyCheckingAndErrorAlone) {
  for (const auto& status :
       {AudioPathStatus::ready(), AudioPathStatus::configuring(), AudioPathStatus::failed("Gone.")})
    EXPECT_EQ(status.applyingOutputLevels({0.5, 0.0}, false), status);
}

TEST(OutputLevelsOverlay, TurnsBitPerfectIntoProcessedAtNinetyNinePercent) {
  const AudioPathStatus status{Kind::bitPerfect, "BIT-PERFECT", "Confirmed."};
  EXPECT_EQ(status.applyingOutputLevels({0.99, 0.0}, false),
            (AudioPathStatus{Kind::processed, "DSP ACTIVE", levelsActive}));
  EXPECT_EQ(status.applyingOutputLevels({1.0, -0.01}, false),
            (AudioPathStatus{Kind::processed, "DSP ACTIVE", levelsActive}));
}

TEST(OutputLevelsOverlay, SpeaksOfBluetoothToo) {
  const AudioPathStatus status{Kind::directPCM, "DIRECT PCM", bluetoothEncoding};
  EXPECT_EQ(status.applyingOutputLevels({0.5, 0.0}, true),
            (AudioPathStatus{Kind::processed, "DSP ACTIVE",
                             levelsActive + " Bluetooth encoding also prevents end-to-end bit-perfect playback."}));
}

TEST(OutputLevelsOverlay, StandsInFrontOfAConvertedVerdict) {
  const AudioPathStatus status{Kind::converted, "CONVERTED", "Reason."};
  EXPECT_EQ(status.applyingOutputLevels({0.5, 0.0}, false),
            (AudioPathStatus{Kind::converted, "CONVERTED", levelsActive + " Reason."}));
}

TEST(AudioPathStatus, HasItsFixedTexts) {
  EXPECT_EQ(AudioPathStatus::ready(),
            (AudioPathStatus{Kind::ready, "READY", "Choose a track to verify the output path."}));
  EXPECT_EQ(AudioPathStatus::configuring(),
            (AudioPathStatus{Kind::configuring, "CHECKING", "Configuring the selected output device."}));
  EXPECT_EQ(AudioPathStatus::failed("Gone."), (AudioPathStatus{Kind::error, "PATH ERROR", "Gone."}));
}

}  // namespace
}  // namespace tolvane
