#include "platform/pipewire/server/PipeWireObjects.h"

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>
#include <spa/node/command.h>
#include <spa/param/param.h>
#include <unistd.h>

#include <charconv>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>
#include <utility>

#include "platform/pipewire/server/SpaParameters.h"

namespace tolvane {
namespace {

constexpr unsigned highestRate = 10'000'000;  // hertz, of a graph
constexpr std::size_t longestText = 4096;     // bytes of a property: more is no name of anything

/// Null where the property is not there; its entries may be in any order.
const char* valueIn(const spa_dict* props, std::string_view key) {
  for (std::uint32_t i = 0; props != nullptr && i < props->n_items; ++i)
    if (props->items[i].key != nullptr && props->items[i].key == key) return props->items[i].value;
  return nullptr;
}

std::string bounded(const char* value) {
  return value != nullptr ? std::string(value, strnlen(value, longestText)) : std::string();
}

std::string text(const spa_dict* props, const char* key) { return bounded(valueIn(props, key)); }

/// The whole text, which has no sign: a card, a device or an object is never below zero.
template <typename Number>
std::optional<Number> number(std::string_view digits) {
  Number value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc() || end != digits.data() + digits.size() || value < Number{0}) return std::nullopt;
  return value;
}

/// The first property that holds a filter for the node's converter.
std::string filterProperty(const spa_dict* props) {
  for (std::uint32_t i = 0; props != nullptr && i < props->n_items; ++i) {
    const auto& [key, value] = props->items[i];
    if (key != nullptr && value != nullptr && *value != 0 && isFilterSetting(bounded(key))) return bounded(key);
  }
  return {};
}

/// A node's lists of properties come one after another, each with its index, and all of them anew with each change.
class PropsReport {
 public:
  void take(std::uint32_t index, const spa_pod* pod, NodeProps& props) {
    if (index == 0 || index <= last_) props = {};
    last_ = index;
    applyProps(pod, props);
  }

 private:
  std::uint32_t last_ = 0;
};

template <typename Events>
Events eventTable(std::uint32_t version) {
  Events events{};
  events.version = version;
  return events;
}

/// The kernel's name of a card, by which it is known where no link names it.
std::string kernelCardId(int index) {
  std::ifstream file("/proc/asound/card" + std::to_string(index) + "/id");
  std::string id;
  std::getline(file, id);
  return id;
}

class Card final : public PipeWireObject {
 public:
  Card(std::uint32_t id, pw_proxy* proxy, PipeWireFacts& facts, bool& changed)
      : PipeWireObject(id, proxy, facts, changed) {
    facts_.cards[id_];
    static const pw_device_events events = [] {
      auto table = eventTable<pw_device_events>(PW_VERSION_DEVICE_EVENTS);
      table.info = [](void* data, const pw_device_info* info) { static_cast<Card*>(data)->take(*info); };
      table.param = [](void* data, int, std::uint32_t param, std::uint32_t, std::uint32_t, const spa_pod* pod) {
        static_cast<Card*>(data)->take(param, pod);
      };
      return table;
    }();
    auto* device = reinterpret_cast<pw_device*>(proxy);
    pw_device_add_listener(device, &hook_, &events, this);
    std::uint32_t params[] = {SPA_PARAM_EnumProfile, SPA_PARAM_Profile};
    pw_device_subscribe_params(device, params, 2);
  }
  ~Card() override {
    facts_.cards.erase(id_);
    facts_.malformed.erase(id_);
  }

  bool setProfile(std::uint32_t profile) override {
    const SpaPodBuffer pod = profilePod(profile);
    return pw_device_set_param(reinterpret_cast<pw_device*>(proxy()), SPA_PARAM_Profile, 0, pod.pod()) >= 0;
  }

 private:
  void take(const pw_device_info& info) {
    // When a profile changes later, only this is reported.
    if ((info.change_mask & PW_DEVICE_CHANGE_MASK_PARAMS) != 0)
      pw_device_enum_params(reinterpret_cast<pw_device*>(proxy()), 0, SPA_PARAM_Profile, 0, 1, nullptr);
    if ((info.change_mask & PW_DEVICE_CHANGE_MASK_PROPS) == 0) return;
    PipeWireCard& card = facts_.cards[id_];
    card.serial = text(info.props, PW_KEY_OBJECT_SERIAL);
    card.api = text(info.props, PW_KEY_DEVICE_API);
    card.bus = text(info.props, PW_KEY_DEVICE_BUS);
    card.busId = text(info.props, "device.bus-id");
    card.busPath = text(info.props, PW_KEY_DEVICE_BUS_PATH);
    card.description = text(info.props, PW_KEY_DEVICE_DESCRIPTION);
    card.formFactor = text(info.props, PW_KEY_DEVICE_FORM_FACTOR);
    card.bluetoothAddress = text(info.props, "api.bluez5.address");
    card.alsaCard = number<int>(text(info.props, "api.alsa.card"));
    if (card.alsaCard) card.alsaCardId = kernelCardId(*card.alsaCard);
    changed_ = true;
  }
  void take(std::uint32_t param, const spa_pod* pod) {
    if (!isWellFormed(pod)) {
      facts_.malformed[id_].insert("profiles");
      changed_ = true;
    }
    const auto profile = parseProfile(pod);
    if (!profile) return;
    PipeWireCard& card = facts_.cards[id_];
    if (param == SPA_PARAM_Profile) card.profile = profile->index;
    if (param == SPA_PARAM_EnumProfile && profile->name == "off") card.profileOff = profile->index;
    changed_ = true;
  }
};

class Sink final : public PipeWireObject {
 public:
  Sink(std::uint32_t id, pw_proxy* proxy, PipeWireFacts& facts, bool& changed)
      : PipeWireObject(id, proxy, facts, changed) {
    facts_.sinks[id_];
    static const pw_node_events events = [] {
      auto table = eventTable<pw_node_events>(PW_VERSION_NODE_EVENTS);
      table.info = [](void* data, const pw_node_info* info) { static_cast<Sink*>(data)->take(*info); };
      table.param = [](void* data, int, std::uint32_t param, std::uint32_t index, std::uint32_t, const spa_pod* pod) {
        static_cast<Sink*>(data)->take(param, index, pod);
      };
      return table;
    }();
    auto* node = reinterpret_cast<pw_node*>(proxy);
    pw_node_add_listener(node, &hook_, &events, this);
    std::uint32_t params[] = {SPA_PARAM_Props, SPA_PARAM_Format, SPA_PARAM_EnumFormat};
    pw_node_subscribe_params(node, params, 3);
  }
  ~Sink() override {
    facts_.sinks.erase(id_);
    facts_.malformed.erase(id_);
  }

  void suspend() override {
    const spa_command command = SPA_NODE_COMMAND_INIT(SPA_NODE_COMMAND_Suspend);
    pw_node_send_command(reinterpret_cast<pw_node*>(proxy()), &command);
  }

 private:
  void take(const pw_node_info& info) {
    PipeWireSink& sink = facts_.sinks[id_];
    if ((info.change_mask & PW_NODE_CHANGE_MASK_PROPS) != 0) {
      sink.nodeName = text(info.props, PW_KEY_NODE_NAME);
      sink.serial = text(info.props, PW_KEY_OBJECT_SERIAL);
      sink.description = text(info.props, PW_KEY_NODE_DESCRIPTION);
      if (sink.description.empty()) sink.description = text(info.props, PW_KEY_NODE_NICK);
      sink.api = text(info.props, PW_KEY_DEVICE_API);
      sink.card = number<std::uint32_t>(text(info.props, PW_KEY_DEVICE_ID));
      sink.alsaCard = number<int>(text(info.props, "alsa.card"));
      sink.alsaDevice = number<int>(text(info.props, "alsa.device"));
      sink.profileName = text(info.props, "device.profile.name");
      sink.alsaPath = text(info.props, "api.alsa.path");
      sink.filterProperty = filterProperty(info.props);
    }
    if ((info.change_mask & PW_NODE_CHANGE_MASK_STATE) != 0) {
      sink.state = stateOf(info.state);
      sink.error = info.error != nullptr ? info.error : "";
      // The loss of a format is not reported: the hardware is closed.
      if (sink.state == PipeWireSink::State::suspended) sink.format.reset();
    }
    changed_ = true;
  }
  void take(std::uint32_t param, std::uint32_t index, const spa_pod* pod) {
    PipeWireSink& sink = facts_.sinks[id_];
    if (param == SPA_PARAM_Props) report_.take(index, pod, sink.props);
    if (!isWellFormed(pod) || (param == SPA_PARAM_Props && !sink.props.isReadable))
      facts_.malformed[id_].insert(nameOf(param));
    if (param == SPA_PARAM_Format) sink.format = parseFormat(pod);
    if (param == SPA_PARAM_EnumFormat) {
      if (index == 0) {
        sink.rates.clear();
        sink.maximumChannels = 0;
        sink.positions.clear();
      }
      if (auto choice = parseFormatChoice(pod)) {
        if (sink.rates.empty()) sink.rates = std::move(choice->rates);
        if (choice->maximumChannels > sink.maximumChannels) sink.positions = std::move(choice->positions);
        sink.maximumChannels = std::max(sink.maximumChannels, choice->maximumChannels);
      }
    }
    changed_ = true;
  }
  static std::string_view nameOf(std::uint32_t param) {
    return param == SPA_PARAM_Props ? "settings" : param == SPA_PARAM_Format ? "format" : "formats";
  }
  static PipeWireSink::State stateOf(pw_node_state state) {
    switch (state) {
      case PW_NODE_STATE_ERROR:
        return PipeWireSink::State::error;
      case PW_NODE_STATE_SUSPENDED:
        return PipeWireSink::State::suspended;
      case PW_NODE_STATE_IDLE:
        return PipeWireSink::State::idle;
      case PW_NODE_STATE_RUNNING:
        return PipeWireSink::State::running;
      default:
        return PipeWireSink::State::creating;
    }
  }

  PropsReport report_;
};

/// A stream of this program, or of another copy of it: what the server's settings make of it.
class OwnStream final : public PipeWireObject {
 public:
  OwnStream(std::uint32_t id, pw_proxy* proxy, PipeWireFacts& facts, bool& changed)
      : PipeWireObject(id, proxy, facts, changed) {
    facts_.ownStreams[id_];
    static const pw_node_events events = [] {
      auto table = eventTable<pw_node_events>(PW_VERSION_NODE_EVENTS);
      table.info = [](void* data, const pw_node_info* info) { static_cast<OwnStream*>(data)->take(*info); };
      table.param = [](void* data, int, std::uint32_t param, std::uint32_t index, std::uint32_t, const spa_pod* pod) {
        static_cast<OwnStream*>(data)->take(param, index, pod);
      };
      return table;
    }();
    auto* node = reinterpret_cast<pw_node*>(proxy);
    pw_node_add_listener(node, &hook_, &events, this);
    std::uint32_t params[] = {SPA_PARAM_Props};
    pw_node_subscribe_params(node, params, 1);
  }
  ~OwnStream() override { facts_.ownStreams.erase(id_); }

 private:
  void take(const pw_node_info& info) {
    if ((info.change_mask & PW_NODE_CHANGE_MASK_PROPS) == 0) return;
    facts_.ownStreams[id_].filterProperty = filterProperty(info.props);
    changed_ = true;
  }
  void take(std::uint32_t param, std::uint32_t index, const spa_pod* pod) {
    if (param != SPA_PARAM_Props) return;
    auto& props = facts_.ownStreams[id_].props;
    if (!props) props.emplace();
    report_.take(index, pod, *props);
    changed_ = true;
  }

  PropsReport report_;
};

class Link final : public PipeWireObject {
 public:
  Link(std::uint32_t id, pw_proxy* proxy, PipeWireFacts& facts, bool& changed)
      : PipeWireObject(id, proxy, facts, changed) {
    static const pw_link_events events = [] {
      auto table = eventTable<pw_link_events>(PW_VERSION_LINK_EVENTS);
      table.info = [](void* data, const pw_link_info* info) {
        auto& self = *static_cast<Link*>(data);
        self.facts_.links[self.id_] = {info->output_node_id, info->input_node_id, info->state == PW_LINK_STATE_ACTIVE,
                                       info->output_port_id, info->input_port_id};
        self.changed_ = true;
      };
      return table;
    }();
    pw_link_add_listener(reinterpret_cast<pw_link*>(proxy), &hook_, &events, this);
  }
  ~Link() override { facts_.links.erase(id_); }
};

/// Reported in full when it appears: nothing needs to be requested.
class Port final : public PipeWireObject {
 public:
  Port(std::uint32_t id, PipeWirePort port, PipeWireFacts& facts, bool& changed)
      : PipeWireObject(id, nullptr, facts, changed) {
    facts_.ports[id_] = std::move(port);
    changed_ = true;
  }
  ~Port() override { facts_.ports.erase(id_); }
};

class Settings : public PipeWireObject {
 public:
  Settings(std::uint32_t id, pw_proxy* proxy, PipeWireFacts& facts, bool& changed)
      : PipeWireObject(id, proxy, facts, changed) {
    static const pw_metadata_events events = [] {
      auto table = eventTable<pw_metadata_events>(PW_VERSION_METADATA_EVENTS);
      table.property = [](void* data, std::uint32_t subject, const char* key, const char*, const char* value) {
        if (subject == PW_ID_CORE) static_cast<Settings*>(data)->take(key, value);
        return 0;
      };
      return table;
    }();
    pw_metadata_add_listener(reinterpret_cast<pw_metadata*>(proxy), &hook_, &events, this);
  }

 private:
  void take(const char* key, const char* value) {
    // No key: all of them were removed.
    const std::string_view name = key != nullptr ? key : "default.audio.sink";
    const std::string_view content = value != nullptr ? value : "";
    if (name == "default.audio.sink") facts_.defaultSinkName = nameInJson(content);
    if (name == "clock.rate") clockRate_ = number<unsigned>(content).value_or(0);
    if (name == "clock.force-rate") forcedRate_ = number<unsigned>(content).value_or(0);
    const unsigned rate = forcedRate_ != 0 ? forcedRate_ : clockRate_;
    if (rate != 0 && rate <= highestRate) facts_.graphRate = rate;
    changed_ = true;
  }

  unsigned clockRate_ = 0;
  unsigned forcedRate_ = 0;
};

/// The table that the session manager makes for itself.
class ManagersSettings final : public Settings {
 public:
  ManagersSettings(std::uint32_t id, pw_proxy* proxy, PipeWireFacts& facts, bool& changed)
      : Settings(id, proxy, facts, changed) {
    facts_.hasSessionManager = true;
  }
  ~ManagersSettings() override { facts_.hasSessionManager = false; }
};

/// Binds the object as the type that the maker makes of it.
template <typename Made>
std::unique_ptr<PipeWireObject> make(pw_registry* registry, std::uint32_t id, const char* type, std::uint32_t version,
                                     PipeWireFacts& facts, bool& changed) {
  auto* proxy = static_cast<pw_proxy*>(pw_registry_bind(registry, id, type, version, 0));
  if (proxy == nullptr) return nullptr;
  return std::make_unique<Made>(id, proxy, facts, changed);
}

}  // namespace

std::unique_ptr<PipeWireObject> PipeWireObject::bind(pw_registry* registry, std::uint32_t id, const char* typeName,
                                                     const spa_dict* props, PipeWireFacts& facts, bool& changed) {
  const std::string_view type = typeName != nullptr ? typeName : "";
  const std::string mediaClass = text(props, PW_KEY_MEDIA_CLASS);
  if (type == PW_TYPE_INTERFACE_Device && mediaClass == "Audio/Device")
    return make<Card>(registry, id, typeName, PW_VERSION_DEVICE, facts, changed);
  if (type == PW_TYPE_INTERFACE_Node && mediaClass == "Audio/Sink")
    return make<Sink>(registry, id, typeName, PW_VERSION_NODE, facts, changed);
  if (type == PW_TYPE_INTERFACE_Node && mediaClass == "Stream/Output/Audio" &&
      text(props, PW_KEY_NODE_NAME) == PipeWireObject::ownStreamName)
    return make<OwnStream>(registry, id, typeName, PW_VERSION_NODE, facts, changed);
  if (type == PW_TYPE_INTERFACE_Link) return make<Link>(registry, id, typeName, PW_VERSION_LINK, facts, changed);
  if (type == PW_TYPE_INTERFACE_Port) {
    const auto node = number<std::uint32_t>(text(props, PW_KEY_NODE_ID));
    std::string channel = text(props, PW_KEY_AUDIO_CHANNEL);
    if (!node || channel.empty()) return nullptr;
    return std::make_unique<Port>(id, PipeWirePort{*node, std::move(channel)}, facts, changed);
  }
  const std::string name = text(props, PW_KEY_METADATA_NAME);
  if (type == PW_TYPE_INTERFACE_Metadata && name == "default")
    return make<ManagersSettings>(registry, id, typeName, PW_VERSION_METADATA, facts, changed);
  if (type == PW_TYPE_INTERFACE_Metadata && name == "settings")
    return make<Settings>(registry, id, typeName, PW_VERSION_METADATA, facts, changed);
  return nullptr;
}

PipeWireObject::~PipeWireObject() {
  if (proxy_ == nullptr) return;
  spa_hook_remove(&hook_);
  pw_proxy_destroy(proxy_);
}

}  // namespace tolvane
