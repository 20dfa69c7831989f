#include "platform/pipewire/server/SpaParameters.h"

#include <gmock/gmock.h>
#include <spa/param/audio/format-utils.h>
#include <spa/param/param.h>
#include <spa/param/profile.h>
#include <spa/param/props.h>
#include <spa/pod/builder.h>

#include <array>

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t left = SPA_AUDIO_CHANNEL_FL;
constexpr std::uint32_t right = SPA_AUDIO_CHANNEL_FR;

/// Builds one object in memory of its own.
class PodWriter {
 public:
  PodWriter(std::uint32_t type, std::uint32_t id) {
    spa_pod_builder_init(&builder, memory_.data(), static_cast<std::uint32_t>(memory_.size()));
    spa_pod_builder_push_object(&builder, &frame_, type, id);
  }
  PodWriter& key(std::uint32_t key) {
    spa_pod_builder_prop(&builder, key, 0);
    return *this;
  }
  PodWriter& choice(spa_choice_type kind, std::initializer_list<int> values) {
    spa_pod_frame frame{};
    spa_pod_builder_push_choice(&builder, &frame, kind, 0);
    for (const int value : values) spa_pod_builder_int(&builder, value);
    spa_pod_builder_pop(&builder, &frame);
    return *this;
  }
  const spa_pod* pod() { return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame_)); }

  spa_pod_builder builder{};

 private:
  alignas(8) std::array<std::byte, 4096> memory_{};
  spa_pod_frame frame_{};
};

TEST(SpaFormat, OfAStreamIsReadBackAsItWasWritten) {
  const SpaPodBuffer buffer = streamFormatPod(96000, {left, right});
  EXPECT_EQ(parseFormat(buffer.pod()), (PipeWireFormat{96000, 2, {left, right}}));
}

TEST(SpaFormat, IsNothingWhereThereIsNoPcm) {
  EXPECT_EQ(parseFormat(nullptr), std::nullopt);
  PodWriter props(SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
  EXPECT_EQ(parseFormat(props.pod()), std::nullopt);
  PodWriter video(SPA_TYPE_OBJECT_Format, SPA_PARAM_Format);
  spa_pod_builder_id(&video.key(SPA_FORMAT_mediaType).builder, SPA_MEDIA_TYPE_video);
  spa_pod_builder_id(&video.key(SPA_FORMAT_mediaSubtype).builder, SPA_MEDIA_SUBTYPE_raw);
  EXPECT_EQ(parseFormat(video.pod()), std::nullopt);
}

TEST(SpaFormatChoice, GivesTheRatesOfEveryKindOfChoice) {
  const struct {
    spa_choice_type kind;
    std::initializer_list<int> values;
    std::vector<AudioValueRange> rates;
  } rows[] = {
      {SPA_CHOICE_None, {48000}, {{48000, 48000}}},
      {SPA_CHOICE_Range, {48000, 8000, 192000}, {{8000, 192000}}},
      {SPA_CHOICE_Enum, {48000, 96000, 44100, 48000}, {{44100, 44100}, {48000, 48000}, {96000, 96000}}},
      {SPA_CHOICE_Range, {48000, 96000, 8000}, {}},
      {SPA_CHOICE_Range, {48000}, {}},
  };
  for (const auto& row : rows) {
    PodWriter writer(SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    spa_pod_builder_id(&writer.key(SPA_FORMAT_mediaType).builder, SPA_MEDIA_TYPE_audio);
    spa_pod_builder_id(&writer.key(SPA_FORMAT_mediaSubtype).builder, SPA_MEDIA_SUBTYPE_raw);
    writer.key(SPA_FORMAT_AUDIO_rate).choice(row.kind, row.values);
    writer.key(SPA_FORMAT_AUDIO_channels).choice(SPA_CHOICE_Range, {2, 1, 8});
    const auto choice = parseFormatChoice(writer.pod());
    ASSERT_TRUE(choice);
    EXPECT_EQ(choice->rates, row.rates);
    EXPECT_EQ(choice->maximumChannels, 8U);
  }
}

TEST(SpaProps, ChangeOnlyWhatTheyReport) {
  NodeProps props;
  props.volume = 0.25F;
  PodWriter muted(SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
  spa_pod_builder_bool(&muted.key(SPA_PROP_mute).builder, true);
  applyProps(muted.pod(), props);
  EXPECT_TRUE(props.isMuted);
  EXPECT_THAT(props.volumes, IsEmpty());
  EXPECT_EQ(props.volume, 0.25F);

  PodWriter volumes(SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
  const float halves[] = {0.5F, 0.25F, 1};
  spa_pod_builder_array(&volumes.key(SPA_PROP_channelVolumes).builder, sizeof(float), SPA_TYPE_Float, 3, halves);
  applyProps(volumes.pod(), props);
  EXPECT_THAT(props.volumes, ElementsAre(0.5F, 0.25F, 1));
  EXPECT_TRUE(props.isMuted);
  EXPECT_THAT(props.softVolumes, IsEmpty());
  EXPECT_FALSE(props.isSoftMuted);

  PodWriter soft(SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
  spa_pod_builder_bool(&soft.key(SPA_PROP_softMute).builder, true);
  spa_pod_builder_array(&soft.key(SPA_PROP_softVolumes).builder, sizeof(float), SPA_TYPE_Float, 2, halves);
  applyProps(soft.pod(), props);
  EXPECT_TRUE(props.isSoftMuted);
  EXPECT_THAT(props.softVolumes, ElementsAre(0.5F, 0.25F));
  EXPECT_THAT(props.volumes, ElementsAre(0.5F, 0.25F, 1));
  EXPECT_TRUE(props.isReadable);

  applyProps(nullptr, props);
  EXPECT_FALSE(props.isReadable);
  EXPECT_THAT(props.volumes, ElementsAre(0.5F, 0.25F, 1));
}

TEST(SpaProps, KeepEachLevelThatSeveralListsOfOneNodeReport) {
  NodeProps props;
  const auto report = [&props](float volume, float channels, bool isMuted, double rate) {
    PodWriter writer(SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
    const float levels[] = {channels, channels};
    spa_pod_builder_float(&writer.key(SPA_PROP_volume).builder, volume);
    spa_pod_builder_array(&writer.key(SPA_PROP_channelVolumes).builder, sizeof(float), SPA_TYPE_Float, 2, levels);
    spa_pod_builder_array(&writer.key(SPA_PROP_softVolumes).builder, sizeof(float), SPA_TYPE_Float, 2, levels);
    spa_pod_builder_bool(&writer.key(SPA_PROP_mute).builder, isMuted);
    spa_pod_builder_bool(&writer.key(SPA_PROP_softMute).builder, isMuted);
    spa_pod_builder_double(&writer.key(SPA_PROP_rate).builder, rate);
    applyProps(writer.pod(), props);
  };
  report(0.5F, 0.25F, true, 1.5);
  report(1, 1, false, 1);
  EXPECT_EQ(props.volume, 0.5F);
  EXPECT_THAT(props.volumes, ElementsAre(0.25F, 0.25F, 1, 1));
  EXPECT_THAT(props.softVolumes, ElementsAre(0.25F, 0.25F, 1, 1));
  EXPECT_TRUE(props.isMuted);
  EXPECT_TRUE(props.isSoftMuted);
  EXPECT_EQ(props.rate, 1.5);
  EXPECT_TRUE(props.isReadable);
}

TEST(SpaProps, ReportSettingsOfEveryTypeAsText) {
  PodWriter writer(SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
  spa_pod_builder* builder = &writer.key(SPA_PROP_params).builder;
  spa_pod_frame list{};
  spa_pod_builder_push_struct(builder, &list);
  const auto name = [&](const char* text) { spa_pod_builder_string(builder, text); };
  name("int"), spa_pod_builder_int(builder, -4);
  name("long"), spa_pod_builder_long(builder, 5'000'000'000);
  name("bool"), spa_pod_builder_bool(builder, true);
  name("float"), spa_pod_builder_float(builder, 0.5F);
  name("double"), spa_pod_builder_double(builder, 12.25);
  name("text"), spa_pod_builder_string(builder, "none");
  name("nothing"), spa_pod_builder_none(builder);
  name("other"), spa_pod_builder_rectangle(builder, 1, 2);
  spa_pod_builder_pop(builder, &list);
  NodeProps props;
  applyProps(writer.pod(), props);
  EXPECT_TRUE(props.isReadable);
  EXPECT_THAT(props.settings, ElementsAre(testing::Pair("int", "-4"), testing::Pair("long", "5000000000"),
                                          testing::Pair("bool", "true"), testing::Pair("float", "0.5"),
                                          testing::Pair("double", "12.25"), testing::Pair("text", "none"),
                                          testing::Pair("nothing", ""), testing::Pair("other", "?")));
}

TEST(SpaProps, KeepTheNumbersOfPropertiesThatAreNotKnown) {
  PodWriter writer(SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
  spa_pod_builder_string(&writer.key(SPA_PROP_device).builder, "front:0");
  spa_pod_builder_bool(&writer.key(0x1001F).builder, true);
  NodeProps props;
  applyProps(writer.pod(), props);
  EXPECT_TRUE(props.isReadable);
  EXPECT_THAT(props.unknownKeys, ElementsAre(0x1001F));
}

TEST(SpaProfile, IsReadBackAsItWasWritten) {
  const SpaPodBuffer buffer = profilePod(3);
  const auto profile = parseProfile(buffer.pod());
  ASSERT_TRUE(profile);
  EXPECT_EQ(profile->index, 3U);
  EXPECT_EQ(profile->name, "");
  EXPECT_FALSE(parseProfile(nullptr));
  PodWriter nameless(SPA_TYPE_OBJECT_ParamProfile, SPA_PARAM_EnumProfile);
  spa_pod_builder_string(&nameless.key(SPA_PARAM_PROFILE_name).builder, "off");
  EXPECT_FALSE(parseProfile(nameless.pod())) << "without an index it cannot be chosen";
}

}  // namespace
}  // namespace tolvane
