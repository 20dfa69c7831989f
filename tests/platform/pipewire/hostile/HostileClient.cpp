// hostile_client: sinks and a card whose parameters are malformed, as any client of a sound server may offer them. Says
// "ready" when the server has all of them, and stays until it is ended.

#include <pipewire/pipewire.h>
// Needs the one above.
#include <pipewire/extensions/client-node.h>
#include <spa/monitor/device.h>
#include <spa/monitor/utils.h>
#include <spa/node/node.h>
#include <spa/param/audio/raw.h>
#include <spa/param/format.h>
#include <spa/param/param.h>
#include <spa/param/profile.h>
#include <spa/param/props.h>
#include <spa/utils/result.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/platform/pipewire/server/PodBytes.h"

namespace tolvane::test {
namespace {

constexpr std::uint32_t lie = 0x10000;  // an element's or a text's announced bytes

/// One parameter: the list that it belongs to, and its bytes.
struct Parameter {
  std::uint32_t list;
  PodBytes bytes;
  [[nodiscard]] const spa_pod* pod() const { return reinterpret_cast<const spa_pod*>(bytes.data()); }
};

struct HostileSink {
  const char* name;
  std::vector<Parameter> parameters;
};

PodBytes objectPod(std::uint32_t type, std::uint32_t id, const std::vector<PodProperty>& properties) {
  return pod(SPA_TYPE_Object, objectBody(type, id, properties));
}

PodBytes floats(std::uint32_t elementSize, std::size_t count) {
  PodBytes elements;
  for (std::size_t i = 0; i < count; ++i) append(elements, std::uint32_t{0x3F800000});  // 1.0
  return pod(SPA_TYPE_Array, elementsBody(elementSize, SPA_TYPE_Float, elements));
}

PodBytes choice(std::uint32_t kind, std::uint32_t elementSize, std::initializer_list<std::uint32_t> values) {
  PodBytes body;
  append(body, kind);
  append(body, std::uint32_t{0});
  PodBytes elements;
  for (const std::uint32_t value : values) append(elements, value);
  append(body, elementsBody(elementSize, SPA_TYPE_Int, elements));
  return pod(SPA_TYPE_Choice, body);
}

PodBytes number(std::uint32_t value) { return numberPod(SPA_TYPE_Id, value); }
PodBytes integer(std::uint32_t value) { return numberPod(SPA_TYPE_Int, value); }

Parameter props(std::initializer_list<PodProperty> properties) {
  return {SPA_PARAM_Props, objectPod(SPA_TYPE_OBJECT_Props, SPA_PARAM_Props, properties)};
}

Parameter format(std::uint32_t list, PodBytes rate, PodBytes channels, PodBytes positions) {
  return {list, objectPod(SPA_TYPE_OBJECT_Format, list,
                          {{SPA_FORMAT_mediaType, number(SPA_MEDIA_TYPE_audio)},
                           {SPA_FORMAT_mediaSubtype, number(SPA_MEDIA_SUBTYPE_raw)},
                           {SPA_FORMAT_AUDIO_rate, std::move(rate)},
                           {SPA_FORMAT_AUDIO_channels, std::move(channels)},
                           {SPA_FORMAT_AUDIO_position, std::move(positions)}})};
}

PodBytes positions(std::uint32_t elementSize, std::size_t count) {
  PodBytes elements;
  for (std::size_t i = 0; i < count; ++i) append(elements, std::uint32_t{SPA_AUDIO_CHANNEL_FL});
  return pod(SPA_TYPE_Array, elementsBody(elementSize, SPA_TYPE_Id, elements));
}

std::vector<HostileSink> hostileSinks() {
  const PodBytes two = integer(2);
  const PodBytes rate = integer(48000);
  return {
      {"volumes-of-no-byte", {props({{SPA_PROP_channelVolumes, floats(0, 2)}})}},
      {"volumes-of-many-bytes", {props({{SPA_PROP_channelVolumes, floats(lie, 64)}})}},
      {"volumes-beyond-every-channel", {props({{SPA_PROP_channelVolumes, floats(4, 5000)}})}},
      {"text-for-a-volume", {props({{SPA_PROP_volume, pod(SPA_TYPE_String, textBody("loud"))}})}},
      {"setting-without-end",
       {props({{SPA_PROP_params, pod(SPA_TYPE_Struct, pod(SPA_TYPE_String, textBody("no end")))}})}},
      {"positions-of-one-byte", {format(SPA_PARAM_Format, rate, two, positions(1, 64))}},
      {"positions-of-many-bytes", {format(SPA_PARAM_Format, rate, two, positions(lie, 64))}},
      {"more-positions-than-channels", {format(SPA_PARAM_Format, rate, two, positions(4, 1024))}},
      {"more-channels-than-there-are", {format(SPA_PARAM_Format, rate, integer(0x7FFFFFFF), positions(4, 2))}},
      {"choice-without-values", {format(SPA_PARAM_EnumFormat, choice(SPA_CHOICE_Range, 4, {}), two, positions(4, 2))}},
      {"range-of-one-value",
       {format(SPA_PARAM_EnumFormat, choice(SPA_CHOICE_Range, 4, {48000}), two, positions(4, 2))}},
      {"choice-of-many-bytes",
       {format(SPA_PARAM_EnumFormat, choice(SPA_CHOICE_Enum, lie, {48000, 44100, 48000}), two, positions(4, 2))}},
      {"settings-of-another-kind", {{SPA_PARAM_Props, objectPod(SPA_TYPE_OBJECT_Format, SPA_PARAM_Props, {})}}},
  };
}

/// A card of whose profiles one is sane.
class HostileCard {
 public:
  HostileCard() {
    device_.iface = SPA_INTERFACE_INIT(SPA_TYPE_INTERFACE_Device, SPA_VERSION_DEVICE, &methods, this);
    spa_hook_list_init(&hooks_);
    const auto profile = [](PodBytes index, PodBytes name) {
      return objectPod(SPA_TYPE_OBJECT_ParamProfile, SPA_PARAM_EnumProfile,
                       {{SPA_PARAM_PROFILE_index, std::move(index)}, {SPA_PARAM_PROFILE_name, std::move(name)}});
    };
    profiles_ = {profile(integer(0), pod(SPA_TYPE_String, textBody("without an end"))),
                 profile(choice(SPA_CHOICE_Enum, 4, {}), integer(1)),
                 profile(choice(SPA_CHOICE_Enum, lie, {1}), integer(1)),
                 profile(integer(1), pod(SPA_TYPE_String, textBody(std::string_view("off\0", 4))))};
  }
  spa_device* device() { return &device_; }

 private:
  static int addListener(void* object, spa_hook* listener, const spa_device_events* events, void* data) {
    auto& self = *static_cast<HostileCard*>(object);
    spa_hook_list save{};
    spa_hook_list_isolate(&self.hooks_, &save, listener, events, data);
    std::array items{SPA_DICT_ITEM_INIT("media.class", "Audio/Device"),
                     SPA_DICT_ITEM_INIT("device.name", "hostile-card"), SPA_DICT_ITEM_INIT("device.api", "alsa"),
                     SPA_DICT_ITEM_INIT("api.alsa.card", "-2147483648")};
    spa_dict dict = SPA_DICT_INIT(items.data(), static_cast<std::uint32_t>(items.size()));
    std::array params{SPA_PARAM_INFO(SPA_PARAM_EnumProfile, SPA_PARAM_INFO_READ),
                      SPA_PARAM_INFO(SPA_PARAM_Profile, SPA_PARAM_INFO_READWRITE),
                      SPA_PARAM_INFO(SPA_PARAM_EnumRoute, SPA_PARAM_INFO_READ)};
    spa_device_info info = SPA_DEVICE_INFO_INIT();
    info.change_mask = SPA_DEVICE_CHANGE_MASK_PROPS | SPA_DEVICE_CHANGE_MASK_PARAMS;
    info.props = &dict;
    info.params = params.data();
    info.n_params = static_cast<std::uint32_t>(params.size());
    spa_device_emit_info(&self.hooks_, &info);
    spa_hook_list_join(&self.hooks_, &save);
    return 0;
  }
  static int sync(void* object, int sequence) {
    spa_device_emit_result(&static_cast<HostileCard*>(object)->hooks_, sequence, 0, 0, nullptr);
    return 0;
  }
  static int enumParams(void* object, int sequence, std::uint32_t id, std::uint32_t index, std::uint32_t most,
                        const spa_pod*) {
    auto& self = *static_cast<HostileCard*>(object);
    for (std::uint32_t i = index; i < self.profiles_.size() && i - index < most; ++i) {
      spa_result_device_params result{};
      result.id = id;
      result.index = i;
      result.next = i + 1;
      result.param = reinterpret_cast<spa_pod*>(self.profiles_[i].data());
      spa_device_emit_result(&self.hooks_, sequence, 0, SPA_RESULT_TYPE_DEVICE_PARAMS, &result);
    }
    return 0;
  }
  static int setParam(void*, std::uint32_t, std::uint32_t, const spa_pod*) { return 0; }

  static constexpr spa_device_methods methods{SPA_VERSION_DEVICE_METHODS, addListener, sync, enumParams, setParam};

  spa_device device_{};
  spa_hook_list hooks_{};
  std::vector<PodBytes> profiles_;
};

class HostileClient {
 public:
  HostileClient()
      : loop_(pw_main_loop_new(nullptr)), context_(pw_context_new(pw_main_loop_get_loop(loop_), nullptr, 0)) {
    core_ = pw_context_connect(context_, nullptr, 0);
    if (core_ == nullptr) throw std::runtime_error("there is no server");
    static const pw_core_events events = [] {
      pw_core_events table{};
      table.version = PW_VERSION_CORE_EVENTS;
      table.done = [](void*, std::uint32_t, int) {
        std::puts("ready");
        std::fflush(stdout);
      };
      table.error = [](void*, std::uint32_t id, int, int result, const char* message) {
        std::fprintf(stderr, "hostile_client: object %u: %s (%s)\n", id, message, spa_strerror(result));
      };
      return table;
    }();
    pw_core_add_listener(core_, &hook_, &events, this);
    for (const HostileSink& sink : hostileSinks()) offer(sink);
    // What the registry publishes of it before it is bound.
    std::array items{SPA_DICT_ITEM_INIT("media.class", "Audio/Device"),
                     SPA_DICT_ITEM_INIT("device.name", "hostile-card")};
    spa_dict dict = SPA_DICT_INIT(items.data(), static_cast<std::uint32_t>(items.size()));
    pw_core_export(core_, SPA_TYPE_INTERFACE_Device, &dict, card_.device(), 0);
    pw_core_sync(core_, PW_ID_CORE, 0);
    for (const int number : {SIGTERM, SIGINT})
      pw_loop_add_signal(
          pw_main_loop_get_loop(loop_), number,
          [](void* data, int) { pw_main_loop_quit(static_cast<HostileClient*>(data)->loop_); }, this);
  }
  void run() { pw_main_loop_run(loop_); }

 private:
  void offer(const HostileSink& sink) {
    auto* properties =
        pw_properties_new("media.class", "Audio/Sink", "node.name", sink.name, "node.description", sink.name, nullptr);
    auto* node = static_cast<pw_client_node*>(pw_core_create_object(core_, "client-node", PW_TYPE_INTERFACE_ClientNode,
                                                                    PW_VERSION_CLIENT_NODE, &properties->dict, 0));
    pw_properties_free(properties);
    if (node == nullptr) throw std::runtime_error("the server makes no node");
    std::vector<const spa_pod*> pods;
    for (const Parameter& parameter : sink.parameters) pods.push_back(parameter.pod());
    std::array params{SPA_PARAM_INFO(SPA_PARAM_Props, SPA_PARAM_INFO_READWRITE),
                      SPA_PARAM_INFO(SPA_PARAM_Format, SPA_PARAM_INFO_READWRITE),
                      SPA_PARAM_INFO(SPA_PARAM_EnumFormat, SPA_PARAM_INFO_READ)};
    std::array items{SPA_DICT_ITEM_INIT("media.class", "Audio/Sink"), SPA_DICT_ITEM_INIT("node.name", sink.name),
                     SPA_DICT_ITEM_INIT("alsa.card", "99999999999999"),
                     SPA_DICT_ITEM_INIT("api.alsa.path", "hw:\x1b[2J")};
    spa_dict dict = SPA_DICT_INIT(items.data(), static_cast<std::uint32_t>(items.size()));
    spa_node_info info = SPA_NODE_INFO_INIT();
    info.max_input_ports = 2;
    info.change_mask = SPA_NODE_CHANGE_MASK_PROPS | SPA_NODE_CHANGE_MASK_PARAMS;
    info.props = &dict;
    info.params = params.data();
    info.n_params = static_cast<std::uint32_t>(params.size());
    pw_client_node_update(node, PW_CLIENT_NODE_UPDATE_PARAMS | PW_CLIENT_NODE_UPDATE_INFO,
                          static_cast<std::uint32_t>(pods.size()), pods.data(), &info);
    pw_client_node_set_active(node, true);
  }

  pw_main_loop* loop_;
  pw_context* context_;
  pw_core* core_ = nullptr;
  spa_hook hook_{};
  HostileCard card_;
};

}  // namespace
}  // namespace tolvane::test

int main(int count, char** arguments) {
  pw_init(&count, &arguments);
  try {
    tolvane::test::HostileClient client;
    client.run();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "hostile_client: %s\n", error.what());
    return 1;
  }
  return 0;
}
