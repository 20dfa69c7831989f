#include "platform/pipewire/server/PodReader.h"

#include <gmock/gmock.h>
#include <spa/param/audio/format.h>
#include <spa/param/param.h>
#include <spa/param/props.h>
#include <spa/pod/pod.h>
#include <spa/utils/type.h>

#include <cstdio>
#include <memory>

#include "platform/pipewire/server/SpaParameters.h"
#include "tests/platform/pipewire/server/PodBytes.h"

namespace tolvane {
namespace {

using test::append;
using test::elementsBody;
using test::numberPod;
using test::objectBody;
using test::pod;
using test::PodBytes;
using test::textBody;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

/// In memory of exactly its size, so that a sanitizer sees a byte that is read behind it.
class Exact {
 public:
  explicit Exact(const PodBytes& bytes, std::size_t size) : size_(size), memory_(std::make_unique<std::byte[]>(size)) {
    if (size != 0) std::memcpy(memory_.get(), bytes.data(), size);
  }
  explicit Exact(const PodBytes& bytes) : Exact(bytes, bytes.size()) {}
  [[nodiscard]] std::optional<PodReader> reader() const { return PodReader::at({memory_.get(), size_}); }

 private:
  std::size_t size_;
  std::unique_ptr<std::byte[]> memory_;
};

PodBytes floatsBody(std::initializer_list<float> values) {
  PodBytes elements;
  for (const float value : values) append(elements, &value, sizeof value);
  return elements;
}

PodBytes floats(std::initializer_list<float> values) {
  return pod(SPA_TYPE_Array, elementsBody(sizeof(float), SPA_TYPE_Float, floatsBody(values)));
}

PodBytes choice(std::uint32_t kind, std::uint32_t size, std::uint32_t type, const PodBytes& elements) {
  PodBytes body;
  append(body, kind);
  append(body, std::uint32_t{0});
  append(body, elementsBody(size, type, elements));
  return pod(SPA_TYPE_Choice, body);
}

TEST(PodReader, ReadsEachTypeAsItself) {
  EXPECT_THAT(Exact(numberPod(SPA_TYPE_Bool, std::int32_t{1})).reader()->asBool(), Optional(true));
  EXPECT_THAT(Exact(numberPod(SPA_TYPE_Id, std::uint32_t{7})).reader()->asId(), Optional(7U));
  EXPECT_THAT(Exact(numberPod(SPA_TYPE_Int, std::int32_t{-7})).reader()->asInt(), Optional(-7));
  EXPECT_THAT(Exact(numberPod(SPA_TYPE_Long, std::int64_t{-9})).reader()->asLong(), Optional(-9));
  EXPECT_THAT(Exact(numberPod(SPA_TYPE_Float, 0.5F)).reader()->asFloat(), Optional(0.5F));
  EXPECT_THAT(Exact(numberPod(SPA_TYPE_Double, 0.25)).reader()->asDouble(), Optional(0.25));
  EXPECT_THAT(Exact(pod(SPA_TYPE_String, textBody(std::string_view("name\0", 5)))).reader()->asString(),
              Optional(std::string("name")));
  EXPECT_THAT(Exact(floats({1, 0.5F})).reader()->asFloats(), Optional(ElementsAre(1, 0.5F)));
}

TEST(PodReader, ReadsNoTypeAsAnother) {
  const auto number = Exact(numberPod(SPA_TYPE_Int, std::int32_t{1}));
  const auto reader = *number.reader();
  EXPECT_FALSE(reader.asBool());
  EXPECT_FALSE(reader.asId());
  EXPECT_FALSE(reader.asLong());
  EXPECT_FALSE(reader.asFloat());
  EXPECT_FALSE(reader.asDouble());
  EXPECT_FALSE(reader.asString());
  EXPECT_FALSE(reader.asFloats());
  EXPECT_FALSE(reader.asIds());
  EXPECT_FALSE(reader.asChoice());
  EXPECT_FALSE(reader.asStruct());
  EXPECT_FALSE(reader.asObject());
}

TEST(PodReader, ReadsNoNumberOfAnotherSize) {
  for (const std::size_t size : {0U, 1U, 3U, 5U, 8U}) {
    const Exact value(pod(SPA_TYPE_Float, PodBytes(size)));
    ASSERT_TRUE(value.reader());
    EXPECT_FALSE(value.reader()->asFloat()) << size;
  }
}

TEST(PodReader, ReadsNoStringWithoutItsEnd) {
  EXPECT_FALSE(Exact(pod(SPA_TYPE_String, textBody("unended!"))).reader()->asString());
  EXPECT_FALSE(Exact(pod(SPA_TYPE_String, {})).reader()->asString());
}

TEST(PodReader, ReadsNoArrayWhoseElementsHaveAnotherSizeOrType) {
  for (const std::uint32_t size : {0U, 1U, 2U, 3U, 5U, 8U, 16U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    const Exact value(pod(SPA_TYPE_Array, elementsBody(size, SPA_TYPE_Float, floatsBody({1, 1, 1, 1}))));
    ASSERT_TRUE(value.reader());
    EXPECT_THAT(value.reader()->asFloats().value_or(std::vector<float>{}), IsEmpty()) << size;
  }
  const Exact ids(pod(SPA_TYPE_Array, elementsBody(4, SPA_TYPE_Id, floatsBody({1}))));
  EXPECT_FALSE(ids.reader()->asFloats());
  for (const std::size_t header : {0U, 1U, 7U}) {
    const Exact truncated(pod(SPA_TYPE_Array, PodBytes(header)));
    EXPECT_FALSE(truncated.reader()->asFloats()) << header;
  }
}

TEST(PodReader, ReadsNoPartOfAnElementAndNotEndlesslyMany) {
  const Exact odd(pod(SPA_TYPE_Array, elementsBody(4, SPA_TYPE_Float, PodBytes(11))));
  EXPECT_FALSE(odd.reader()->asFloats());
  const Exact oneThatIsLonger(pod(SPA_TYPE_Array, elementsBody(64, SPA_TYPE_Float, PodBytes(8))));
  EXPECT_FALSE(oneThatIsLonger.reader()->asFloats());
  const Exact many(pod(SPA_TYPE_Array, elementsBody(4, SPA_TYPE_Float, PodBytes(4 * 100'000))));
  EXPECT_FALSE(many.reader()->asFloats());
}

TEST(PodReader, SaysWhetherAllThatLiesInAValueIsWellFormed) {
  const auto isWellFormed = [](const PodBytes& bytes) { return Exact(bytes).reader()->isWellFormed(); };
  const auto object = [](const PodBytes& value) { return pod(SPA_TYPE_Object, objectBody(1, 2, {{3, value}})); };
  const PodBytes text = pod(SPA_TYPE_String, PodBytes(4));
  EXPECT_TRUE(isWellFormed(object(text)));
  EXPECT_TRUE(isWellFormed(object(pod(SPA_TYPE_Struct, text))));
  EXPECT_TRUE(isWellFormed(object(pod(SPA_TYPE_Array, elementsBody(4, SPA_TYPE_Int, PodBytes(8))))));
  EXPECT_TRUE(isWellFormed(object(choice(SPA_CHOICE_Range, 4, SPA_TYPE_Int, PodBytes(12)))));
  EXPECT_TRUE(isWellFormed(object(pod(SPA_TYPE_Rectangle, PodBytes(8)))));

  EXPECT_FALSE(isWellFormed(object(pod(SPA_TYPE_String, PodBytes(4, std::byte{'a'})))));
  EXPECT_FALSE(isWellFormed(object(pod(SPA_TYPE_Struct, pod(SPA_TYPE_Int, PodBytes(2))))));
  EXPECT_FALSE(isWellFormed(object(pod(SPA_TYPE_Array, elementsBody(16, SPA_TYPE_Float, PodBytes(8))))));
  EXPECT_FALSE(isWellFormed(object(choice(SPA_CHOICE_Range, 4, SPA_TYPE_Int, PodBytes(8)))));
  EXPECT_FALSE(isWellFormed(object(choice(SPA_CHOICE_Enum, 4, SPA_TYPE_Int, {}))));
}

TEST(PodReader, CallsNoValueWellFormedThatIsNestedEndlessly) {
  PodBytes bytes = pod(SPA_TYPE_Int, PodBytes(4));
  for (int depth = 0; depth < 14; ++depth) bytes = pod(SPA_TYPE_Struct, bytes);
  EXPECT_TRUE(Exact(bytes).reader()->isWellFormed());
  for (int depth = 0; depth < 5'000; ++depth) bytes = pod(SPA_TYPE_Struct, bytes);
  EXPECT_FALSE(Exact(bytes).reader()->isWellFormed());
}

TEST(PodReader, ReadsNoChoiceWithoutAValue) {
  EXPECT_FALSE(Exact(choice(SPA_CHOICE_Enum, 4, SPA_TYPE_Int, {})).reader()->asChoice());
  EXPECT_FALSE(Exact(choice(SPA_CHOICE_Enum, 4, SPA_TYPE_Int, PodBytes(3))).reader()->asChoice());
  EXPECT_FALSE(Exact(choice(SPA_CHOICE_Enum, 0, SPA_TYPE_Int, PodBytes(8))).reader()->asChoice());
  for (const std::size_t size : {0U, 4U, 8U, 15U})
    EXPECT_FALSE(Exact(pod(SPA_TYPE_Choice, PodBytes(size))).reader()->asChoice()) << size;
  const Exact one(choice(SPA_CHOICE_None, 4, SPA_TYPE_Int, PodBytes(4)));
  ASSERT_TRUE(one.reader()->asChoice());
  EXPECT_THAT(one.reader()->fixed().asInt(), Optional(0));
}

TEST(PodReader, ReadsNoValueThatAnnouncesMoreThanThereIs) {
  for (const std::uint32_t announced : {5U, 9U, 0x7FFFFFFFU, 0xFFFFFFFFU, 0xFFFFFFF8U})
    EXPECT_FALSE(Exact(pod(SPA_TYPE_Int, PodBytes(4), announced), 12).reader()) << announced;
}

TEST(PodReader, ReadsNoStructWithAFieldThatDoesNotFit) {
  PodBytes body = numberPod(SPA_TYPE_Int, std::int32_t{1});
  append(body, pod(SPA_TYPE_Struct, PodBytes(8), 4096));
  const Exact value(pod(SPA_TYPE_Struct, body));
  EXPECT_FALSE(value.reader()->asStruct());
  PodBytes whole = numberPod(SPA_TYPE_Int, std::int32_t{1});
  append(whole, pod(SPA_TYPE_Struct, numberPod(SPA_TYPE_Int, std::int32_t{2})));
  const Exact nested(pod(SPA_TYPE_Struct, whole));
  const auto fields = nested.reader()->asStruct();
  ASSERT_TRUE(fields);
  ASSERT_EQ(fields->size(), 2U);
  EXPECT_TRUE((*fields)[1].asStruct());
}

TEST(PodReader, ReadsNoObjectWithAPropertyThatDoesNotFit) {
  const Exact value(pod(SPA_TYPE_Object, objectBody(SPA_TYPE_OBJECT_Props, SPA_PARAM_Props,
                                                    {{SPA_PROP_mute, pod(SPA_TYPE_Bool, PodBytes(4), 4096)}})));
  EXPECT_FALSE(value.reader()->asObject());
}

/// Everything of a node's properties in one pod, whose every part is read.
PodBytes wholeProps() {
  PodBytes settings = pod(SPA_TYPE_String, textBody(std::string_view("dither.noise\0", 13)));
  append(settings, numberPod(SPA_TYPE_Int, std::int32_t{0}));
  append(settings, pod(SPA_TYPE_String, textBody(std::string_view("dither.method\0", 14))));
  append(settings, pod(SPA_TYPE_String, textBody(std::string_view("none\0", 5))));
  return pod(SPA_TYPE_Object, objectBody(SPA_TYPE_OBJECT_Props, SPA_PARAM_Props,
                                         {{SPA_PROP_volume, numberPod(SPA_TYPE_Float, 1.0F)},
                                          {SPA_PROP_mute, numberPod(SPA_TYPE_Bool, std::int32_t{0})},
                                          {SPA_PROP_channelVolumes, floats({1, 1})},
                                          {SPA_PROP_softVolumes, floats({1, 1})},
                                          {SPA_PROP_params, pod(SPA_TYPE_Struct, settings)}}));
}

/// As the library hands it over: the outermost size is that of the memory.
struct Handed {
  explicit Handed(PodBytes content) : bytes(std::move(content)) {
    const auto size = static_cast<std::uint32_t>(bytes.size() - 8);
    std::memcpy(bytes.data(), &size, sizeof size);
    memory = std::make_unique<std::uint64_t[]>((bytes.size() + 7) / 8);
    std::memcpy(memory.get(), bytes.data(), bytes.size());
  }
  [[nodiscard]] const spa_pod* pod() const { return reinterpret_cast<const spa_pod*>(memory.get()); }

  PodBytes bytes;
  std::unique_ptr<std::uint64_t[]> memory;
};

TEST(HostileProps, AreReadableInFullOnly) {
  NodeProps whole;
  applyProps(Handed(wholeProps()).pod(), whole);
  EXPECT_TRUE(whole.isReadable);
  EXPECT_THAT(whole.volumes, ElementsAre(1, 1));
  EXPECT_EQ(whole.settings.size(), 2U);
  std::size_t unreadable = 0;
  std::size_t shorter = 0;
  for (std::size_t size = 8; size + 8 < wholeProps().size(); ++size) {
    PodBytes bytes = wholeProps();
    bytes.resize(size);
    NodeProps props;
    applyProps(Handed(bytes).pod(), props);
    unreadable += props.isReadable ? 0U : 1U;
    // At the end of a property, or in its padding, the rest is only missing, and missing is no value.
    if (props.isReadable) {
      ++shorter;
      EXPECT_THAT(props.settings, IsEmpty()) << size;
    }
  }
  std::printf("%zu truncations cannot be read, %zu have fewer properties\n", unreadable, shorter);
  EXPECT_GT(unreadable, 100U);
  EXPECT_LE(shorter, 5U * 7U) << "five properties, each padded by up to seven bytes";
}

TEST(HostileProps, WithOneByteChangedAreReadWithoutHarm) {
  const PodBytes whole = wholeProps();
  std::size_t unreadable = 0;
  std::size_t looks = 0;
  for (std::size_t at = 8; at < whole.size(); ++at)
    for (const int value : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
      PodBytes bytes = whole;
      bytes[at] = static_cast<std::byte>(value);
      NodeProps props;
      applyProps(Handed(bytes).pod(), props);
      unreadable += props.isReadable ? 0U : 1U;
      ++looks;
    }
  std::printf("%zu of %zu changed pods cannot be read\n", unreadable, looks);
  EXPECT_GT(looks, 1000U);
  EXPECT_GT(unreadable, 100U);
}

/// An array that announces elements of one byte once made a copy run over 64 of the reader's.
TEST(HostileProps, WithElementsOfAnySizeAreUnreadable) {
  for (const std::uint32_t size : {1U, 2U, 3U, 5U, 1024U, 0xFFFFFFFFU}) {
    NodeProps props;
    const auto volumes = pod(SPA_TYPE_Array, elementsBody(size, SPA_TYPE_Float, PodBytes(2000)));
    applyProps(Handed(pod(SPA_TYPE_Object,
                          objectBody(SPA_TYPE_OBJECT_Props, SPA_PARAM_Props, {{SPA_PROP_channelVolumes, volumes}})))
                   .pod(),
               props);
    EXPECT_TRUE(!props.isReadable || props.volumes.empty()) << size;
  }
}

TEST(HostileProps, WithLevelsThatAreNoNumbersAreUnreadable) {
  for (const float level : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    NodeProps props;
    applyProps(Handed(pod(SPA_TYPE_Object, objectBody(SPA_TYPE_OBJECT_Props, SPA_PARAM_Props,
                                                      {{SPA_PROP_channelVolumes, floats({1, level})}})))
                   .pod(),
               props);
    EXPECT_FALSE(props.isReadable);
  }
}

TEST(HostileFormat, HasAsManyPositionsAsChannelsOrNone) {
  const auto formatWith = [](std::int32_t channels, std::uint32_t elementSize, std::size_t bytes) {
    return pod(SPA_TYPE_Object,
               objectBody(SPA_TYPE_OBJECT_Format, SPA_PARAM_Format,
                          {{SPA_FORMAT_mediaType, numberPod(SPA_TYPE_Id, std::uint32_t{SPA_MEDIA_TYPE_audio})},
                           {SPA_FORMAT_mediaSubtype, numberPod(SPA_TYPE_Id, std::uint32_t{SPA_MEDIA_SUBTYPE_raw})},
                           {SPA_FORMAT_AUDIO_rate, numberPod(SPA_TYPE_Int, std::int32_t{44100})},
                           {SPA_FORMAT_AUDIO_channels, numberPod(SPA_TYPE_Int, channels)},
                           {SPA_FORMAT_AUDIO_position,
                            pod(SPA_TYPE_Array, elementsBody(elementSize, SPA_TYPE_Id, PodBytes(bytes)))}}));
  };
  EXPECT_EQ(parseFormat(Handed(formatWith(2, 4, 8)).pod())->positions.size(), 2U);
  for (const auto& [channels, size, bytes] : {std::tuple{2, 1U, 4000UL},
                                              {64, 4U, 8UL},
                                              {1000000, 4U, 8UL},
                                              {2, 0U, 8UL},
                                              {2, 4U, 4000UL},
                                              {2, 0xFFFFFFFFU, 8UL}})
    EXPECT_THAT(parseFormat(Handed(formatWith(channels, size, bytes)).pod())->positions, IsEmpty()) << channels << size;
  for (const std::int32_t channels : {0, -1, std::numeric_limits<std::int32_t>::min()})
    EXPECT_FALSE(parseFormat(Handed(formatWith(channels, 4, 8)).pod())) << channels;
}

TEST(HostileFormatChoice, WithTooFewValuesGivesNoRates) {
  for (const std::size_t bytes : {0U, 3U, 4U, 8U, 11U}) {
    const auto parsed = parseFormatChoice(
        Handed(pod(SPA_TYPE_Object,
                   objectBody(SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat,
                              {{SPA_FORMAT_mediaType, numberPod(SPA_TYPE_Id, std::uint32_t{SPA_MEDIA_TYPE_audio})},
                               {SPA_FORMAT_mediaSubtype, numberPod(SPA_TYPE_Id, std::uint32_t{SPA_MEDIA_SUBTYPE_raw})},
                               {SPA_FORMAT_AUDIO_rate, choice(SPA_CHOICE_Range, 4, SPA_TYPE_Int, PodBytes(bytes))}})))
            .pod());
    ASSERT_TRUE(parsed);
    EXPECT_THAT(parsed->rates, IsEmpty()) << bytes;
  }
}

}  // namespace
}  // namespace tolvane
