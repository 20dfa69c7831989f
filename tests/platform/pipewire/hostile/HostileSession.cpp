// A client of a sound server that acts as its session manager, so that the player's stream reaches the sink, and then
// sets whatever it likes on the player's stream. Usage: hostile_session STREAM SINK, the nodes' names. Prints on
// standard output what it has done, a line each.

#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>
#include <spa/param/props.h>
#include <spa/pod/builder.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/platform/pipewire/server/PodBytes.h"

namespace tolvane::test {
namespace {

struct Attack {
  const char* name;
  PodBytes bytes;
};

PodBytes sessionProps(const std::vector<PodProperty>& properties) {
  return pod(SPA_TYPE_Object, objectBody(SPA_TYPE_OBJECT_Props, SPA_PARAM_Props, properties));
}

/// Levels of which each is one half, by elements that claim `elementSize` bytes.
PodBytes halves(std::uint32_t elementSize, std::size_t count) {
  PodBytes elements;
  for (std::size_t i = 0; i < count; ++i) append(elements, std::uint32_t{0x3F000000});
  return pod(SPA_TYPE_Array, elementsBody(elementSize, SPA_TYPE_Float, elements));
}

PodBytes half() { return numberPod(SPA_TYPE_Float, 0x3F000000); }

PodBytes named(std::string_view name, const PodBytes& value) {
  PodBytes body = pod(SPA_TYPE_String, textBody(std::string(name) + '\0'));
  body.insert(body.end(), value.begin(), value.end());
  return pod(SPA_TYPE_Struct, body);
}

std::vector<Attack> attacks() {
  constexpr std::uint32_t lie = 0x10000;
  return {{"the level of one half", sessionProps({{SPA_PROP_channelVolumes, halves(4, 2)}})},
          {"dither", sessionProps({{SPA_PROP_params, named("dither.noise", numberPod(SPA_TYPE_Int, 3))}})},
          {"mute", sessionProps({{SPA_PROP_mute, numberPod(SPA_TYPE_Bool, 1)}})},
          {"levels of no byte", sessionProps({{SPA_PROP_channelVolumes, halves(0, 2)}})},
          {"levels of many bytes", sessionProps({{SPA_PROP_channelVolumes, halves(lie, 64)}})},
          {"levels beyond every channel", sessionProps({{SPA_PROP_channelVolumes, halves(4, 5000)}})},
          {"a text for a level", sessionProps({{SPA_PROP_volume, pod(SPA_TYPE_String, textBody("loud"))}})},
          {"a setting without an end",
           sessionProps({{SPA_PROP_params, pod(SPA_TYPE_Struct, pod(SPA_TYPE_String, textBody("no end")))}})},
          {"an unknown setting", sessionProps({{SPA_PROP_params, named("quantum.\x1b[2Jblender", half())}})},
          {"a list of levels beyond its object",
           pod(SPA_TYPE_Object,
               objectBody(SPA_TYPE_OBJECT_Props, SPA_PARAM_Props, {{SPA_PROP_softVolumes, halves(4, 2)}}), lie)},
          {"other dither", sessionProps({{SPA_PROP_params, named("dither.noise", numberPod(SPA_TYPE_Int, 5))}})}};
}

class HostileSession {
 public:
  HostileSession(std::string stream, std::string sink)
      : streamName_(std::move(stream)),
        sinkName_(std::move(sink)),
        loop_(pw_main_loop_new(nullptr)),
        context_(pw_context_new(pw_main_loop_get_loop(loop_), nullptr, 0)) {
    core_ = pw_context_connect(context_, nullptr, 0);
    if (core_ == nullptr) throw std::runtime_error("there is no server");
    static const pw_core_events coreEvents = [] {
      pw_core_events table{};
      table.version = PW_VERSION_CORE_EVENTS;
      table.done = [](void* data, std::uint32_t, int) { static_cast<HostileSession*>(data)->answered(); };
      table.error = [](void*, std::uint32_t id, int, int, const char* message) {
        std::fprintf(stderr, "hostile_session: object %u: %s\n", id, message);
      };
      return table;
    }();
    static const pw_registry_events registryEvents = [] {
      pw_registry_events table{};
      table.version = PW_VERSION_REGISTRY_EVENTS;
      table.global = [](void* data, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t,
                        const spa_dict* props) { static_cast<HostileSession*>(data)->added(id, type, props); };
      return table;
    }();
    pw_core_add_listener(core_, &coreHook_, &coreEvents, this);
    registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
    pw_registry_add_listener(registry_, &registryHook_, &registryEvents, this);
    pw_core_sync(core_, PW_ID_CORE, 0);
    for (const int number : {SIGTERM, SIGINT})
      pw_loop_add_signal(
          pw_main_loop_get_loop(loop_), number,
          [](void* data, int) { pw_main_loop_quit(static_cast<HostileSession*>(data)->loop_); }, this);
    // One attack each time that standard input has a line.
    pw_loop_add_io(
        pw_main_loop_get_loop(loop_), 0, SPA_IO_IN, false,
        [](void* data, int, std::uint32_t) { static_cast<HostileSession*>(data)->attack(); }, this);
  }
  void run() { pw_main_loop_run(loop_); }

 private:
  static void say(const std::string& what) {
    std::puts(what.c_str());
    std::fflush(stdout);
  }
  static std::string text(const spa_dict* props, const char* key) {
    const char* value = props != nullptr ? spa_dict_lookup(props, key) : nullptr;
    return value != nullptr ? value : "";
  }

  void added(std::uint32_t id, const char* type, const spa_dict* props) {
    if (std::strcmp(type, PW_TYPE_INTERFACE_Node) == 0) {
      const std::string name = text(props, PW_KEY_NODE_NAME);
      if (name != streamName_ && name != sinkName_) return;
      auto* node = static_cast<pw_node*>(pw_registry_bind(registry_, id, type, PW_VERSION_NODE, 0));
      givePorts(node, name == sinkName_ ? SPA_DIRECTION_INPUT : SPA_DIRECTION_OUTPUT);
      if (name == streamName_) stream_ = node;
      (name == streamName_ ? streamId_ : sinkId_) = std::to_string(id);
    } else if (std::strcmp(type, PW_TYPE_INTERFACE_Port) == 0) {
      const std::string node = text(props, PW_KEY_NODE_ID);
      const std::string channel = text(props, PW_KEY_AUDIO_CHANNEL);
      const bool isOutput = text(props, PW_KEY_PORT_DIRECTION) == "out";
      if (node == streamId_ && isOutput) outputs_[channel] = std::to_string(id);
      if (node == sinkId_ && !isOutput) inputs_[channel] = std::to_string(id);
      link(channel);
    }
  }

  void givePorts(pw_node* node, spa_direction direction) {
    std::array<std::uint8_t, 1024> buffer{};
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer.data(), static_cast<std::uint32_t>(buffer.size()));
    spa_audio_info_raw info{};
    info.format = SPA_AUDIO_FORMAT_F32P;
    info.rate = 48000;
    info.channels = 2;
    info.position[0] = SPA_AUDIO_CHANNEL_FL;
    info.position[1] = SPA_AUDIO_CHANNEL_FR;
    const spa_pod* format = spa_format_audio_raw_build(&builder, SPA_PARAM_Format, &info);
    spa_pod_frame frame{};
    spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_ParamPortConfig, SPA_PARAM_PortConfig);
    spa_pod_builder_add(&builder, SPA_PARAM_PORT_CONFIG_direction, SPA_POD_Id(direction), SPA_PARAM_PORT_CONFIG_mode,
                        SPA_POD_Id(SPA_PARAM_PORT_CONFIG_MODE_dsp), SPA_PARAM_PORT_CONFIG_format, SPA_POD_Pod(format),
                        0);
    pw_node_set_param(node, SPA_PARAM_PortConfig, 0,
                      static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame)));
  }

  void link(const std::string& channel) {
    if (!outputs_.contains(channel) || !inputs_.contains(channel)) return;
    std::array items{SPA_DICT_ITEM_INIT(PW_KEY_LINK_OUTPUT_PORT, outputs_[channel].c_str()),
                     SPA_DICT_ITEM_INIT(PW_KEY_LINK_INPUT_PORT, inputs_[channel].c_str())};
    spa_dict dict = SPA_DICT_INIT(items.data(), static_cast<std::uint32_t>(items.size()));
    pw_core_create_object(core_, "link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, &dict, 0);
    say("linked " + channel);
  }

  void answered() {
    if (isReady_) return;
    isReady_ = true;
    say("ready");
  }

  void attack() {
    for (int next = std::getchar(); next != '\n'; next = std::getchar())
      if (next == EOF) return pw_main_loop_quit(loop_), void();
    if (stream_ == nullptr || nextAttack_ == attacks_.size()) return say("none");
    Attack& attack = attacks_[nextAttack_++];
    const int result =
        pw_node_set_param(stream_, SPA_PARAM_Props, 0, reinterpret_cast<const spa_pod*>(attack.bytes.data()));
    say(std::string(attack.name) + (result < 0 ? ": refused" : ""));
  }

  const std::string streamName_;
  const std::string sinkName_;
  pw_main_loop* loop_;
  pw_context* context_;
  pw_core* core_ = nullptr;
  pw_registry* registry_ = nullptr;
  spa_hook coreHook_{};
  spa_hook registryHook_{};
  pw_node* stream_ = nullptr;
  std::string streamId_;
  std::string sinkId_;
  std::map<std::string, std::string> outputs_;  ///< port by channel
  std::map<std::string, std::string> inputs_;
  std::vector<Attack> attacks_ = attacks();
  std::size_t nextAttack_ = 0;
  bool isReady_ = false;
};

}  // namespace
}  // namespace tolvane::test

int main(int count, char** arguments) {
  pw_init(&count, &arguments);
  try {
    if (count != 3) throw std::runtime_error("usage: hostile_session STREAM SINK");
    tolvane::test::HostileSession session(arguments[1], arguments[2]);
    session.run();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "hostile_session: %s\n", error.what());
    return 1;
  }
  return 0;
}
