#include "platform/pipewire/facts/NodeProps.h"

#include <gmock/gmock.h>
#include <spa/param/props.h>

#include <string>
#include <vector>

#include "tests/platform/pipewire/facts/NeutralSettings.h"

namespace tolvane {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using enum SampleAlteration::Kind;
using Kind = SampleAlteration::Kind;

std::vector<SampleAlteration> alterations(std::vector<std::pair<std::string, std::string>> settings) {
  NodeProps props;
  props.settings = std::move(settings);
  return settingAlterations(props, "this device");
}

TEST(Settings, OfServersThatAlterNothingAreNoAlteration) {
  EXPECT_THAT(alterations(test::settingsOf0365()), IsEmpty());
  EXPECT_THAT(alterations(test::settingsOf14()), IsEmpty());
}

TEST(Settings, OfMixingAndResamplingDoNothingByThemselves) {
  EXPECT_THAT(alterations({{"channelmix.normalize", "true"},
                           {"channelmix.upmix", "true"},
                           {"channelmix.upmix-method", "simple"},
                           {"channelmix.lfe-cutoff", "150"},
                           {"channelmix.stereo-widen", "0.3"},
                           {"channelmix.disable", "true"},
                           {"resample.quality", "14"},
                           {"resample.disable", "true"}}),
              IsEmpty());
}

struct SettingRow {
  const char* name;
  const char* value;
  Kind kind;
  const char* words;
};

TEST(Settings, ThatDoSomethingAreNamedWithTheirValue) {
  const SettingRow rows[] = {
      {"audioconvert.filter-graph", "{ nodes = [] }", processed, "filters the samples of this device"},
      {"audioconvert.filter-graph.0", "{ nodes = [] }", processed, "(audioconvert.filter-graph.0)"},
      {"audioconvert.filter-graph.12", "x", processed, "filters"},
      {"channelmix.max-volume", "0.5", processed, "below 0.5 (channelmix.max-volume)"},
      {"channelmix.max-volume", "0", processed, "below 0"},
      {"channelmix.min-volume", "1.5", processed, "above 1.5 (channelmix.min-volume)"},
      {"channelmix.max-volume", "loud", unknown, "channelmix.max-volume is \"loud\""},
      {"channelmix.max-volume", "nan", unknown, "cannot read"},
      {"channelmix.min-volume", "-1", unknown, "cannot read"},
      {"dither.noise", "1", processed, "dither.noise is 1"},
      {"dither.noise", "?", processed, "dither.noise is ?"},
      {"dither.method", "triangular", processed, "dither.method is triangular"},
      {"convolver.room", "hall", unknown, "does not know: convolver.room"},
      {"Dither.noise", "0", unknown, "Dither.noise"},
      {"audioconvert.filter-graphs", "", unknown, "audioconvert.filter-graphs"},
      {"audioconvert.exciter", "", unknown, "audioconvert.exciter"},
      {"", "", unknown, "a setting"},
  };
  for (const SettingRow& row : rows) {
    const auto found = alterations({{row.name, row.value}});
    ASSERT_EQ(found.size(), 1U) << row.name << ' ' << row.value;
    EXPECT_EQ(found[0].kind, row.kind) << row.name << ' ' << row.value;
    EXPECT_THAT(found[0].detail, HasSubstr(row.words));
    EXPECT_THAT(found[0].detail, HasSubstr("this device"));
    EXPECT_TRUE(found[0].detail.ends_with('.'));
  }
}

TEST(Settings, AtTheirNeutralValuesAreNoAlteration) {
  for (const auto& [name, value] : {std::pair{"channelmix.max-volume", "1"},
                                    {"channelmix.max-volume", "10"},
                                    {"channelmix.min-volume", "0"},
                                    {"channelmix.min-volume", "1"},
                                    {"dither.noise", "0"},
                                    {"dither.method", "none"},
                                    {"audioconvert.filter-graph", ""},
                                    {"audioconvert.filter-graph.0", ""},
                                    {"audioconvert.filter-graph.disable", "true"}})
    EXPECT_THAT(alterations({{name, value}}), IsEmpty()) << name << ' ' << value;
}

TEST(Settings, GivenTwiceCountWithBothValues) {
  EXPECT_EQ(alterations({{"dither.noise", "4"}, {"dither.noise", "0"}}).size(), 1U);
}

TEST(Settings, ThatAreNotKnownMakeOneSentence) {
  const auto found = alterations({{"a", ""}, {"b", ""}, {"c", ""}, {"d", ""}, {"e", ""}});
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].detail,
            "The sound server has settings for this device that the player does not know: a, b, c and 2 more. Turn "
            "on Exclusive Access to play without the sound server.");
}

TEST(Settings, OfAFilterAreNotListedBesideIt) {
  const auto found = alterations({{"audioconvert.filter-graph.0", "graph"}, {"bq:Gain", "3"}});
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].kind, processed);
}

TEST(Settings, OfAFilterShowItWhereItsOwnSettingReadsAsEmpty) {
  // As PipeWire 1.4.2 reports a graph that was set while the music played.
  const auto found =
      alterations({{"audioconvert.filter-graph", ""}, {"g:Control", "0"}, {"g:Mult", "0.5"}, {"g:Add", "0"}});
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].kind, SampleAlteration::Kind::processed);
  EXPECT_EQ(
      found[0].detail,
      "The sound server filters the samples of this device (g:Control, g:Mult, g:Add). Remove the filter from its "
      "settings.");
}

TEST(NodeProps, WithoutSettingsAreAnAlteration) {
  const auto found = settingAlterations(NodeProps(), "this device");
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].kind, unknown);
  EXPECT_EQ(found[0].detail,
            "The sound server does not report the settings of this device. Turn on Exclusive Access to play "
            "without the sound server.");
}

TEST(NodeProps, ThatAreNotKnownOrCannotBeReadAreAnAlteration) {
  NodeProps props;
  props.settings = test::settingsOf0365();
  props.unknownKeys = {0x1001F};
  auto found = settingAlterations(props, "this device");
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].kind, unknown);
  EXPECT_THAT(found[0].detail, HasSubstr("property 0x1001f"));
  props.unknownKeys.clear();
  props.isReadable = false;
  found = settingAlterations(props, "this device");
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].kind, unknown);
}

TEST(NodeProps, OfAnAdaptiveResamplerAreAConversion) {
  NodeProps props;
  props.settings = test::settingsOf0365();
  props.rate = 1.0001;
  const auto found = settingAlterations(props, "this device");
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].kind, converted);
}

TEST(NodeProps, AreKnownByTheirNumber) {
  for (const std::uint32_t key : {SPA_PROP_device, SPA_PROP_monitorVolumes, SPA_PROP_latencyOffsetNsec})
    EXPECT_TRUE(altersNothing(key)) << key;
  for (const std::uint32_t key : {std::uint32_t{SPA_PROP_ditherType}, std::uint32_t{SPA_PROP_truncate}, 0x10012U,
                                  0x1001FU, 0x80002U, std::uint32_t{SPA_PROP_START_CUSTOM}, 0U, 0xFFFFFFFFU})
    EXPECT_FALSE(altersNothing(key)) << key;
}

}  // namespace
}  // namespace tolvane
