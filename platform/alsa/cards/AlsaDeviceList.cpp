#include "platform/alsa/cards/AlsaDeviceList.h"

#include <alsa/asoundlib.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <memory>

#include "platform/AudioHardware.h"
#include "platform/alsa/cards/AlsaWatcher.h"

namespace tolvane {
namespace {

namespace fs = std::filesystem;

/// The last component of what a symbolic link points to; empty when there is none.
std::string linkTarget(const std::string& path) {
  std::error_code error;
  return fs::read_symlink(path, error).filename().string();
}

/// The name under `folder` of the link that points to the card's control device.
std::string controlLink(const std::string& folder, int card) {
  const std::string wanted = "controlC" + std::to_string(card);
  std::error_code error;
  std::vector<std::string> names;
  for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    if (linkTarget(at->path().string()) == wanted) names.push_back(at->path().filename().string());
  }
  // udev may keep several names for one card; always selects the same one.
  return names.empty() ? std::string() : *std::ranges::min_element(names);
}

std::string firstLine(const std::string& path) {
  std::string text = readSmallFile(path).value_or("");
  return text.substr(0, text.find('\n'));
}

using Control = std::unique_ptr<snd_ctl_t, decltype(&snd_ctl_close)>;

std::vector<AlsaCardFacts::Pcm> playbackPcms(snd_ctl_t* control) {
  std::vector<AlsaCardFacts::Pcm> pcms;
  snd_pcm_info_t* info = nullptr;
  if (snd_pcm_info_malloc(&info) < 0) return pcms;
  int device = -1;
  while (snd_ctl_pcm_next_device(control, &device) >= 0 && device >= 0) {
    snd_pcm_info_set_device(info, static_cast<unsigned>(device));
    snd_pcm_info_set_subdevice(info, 0);
    snd_pcm_info_set_stream(info, SND_PCM_STREAM_PLAYBACK);
    if (snd_ctl_pcm_info(control, info) < 0) continue;
    pcms.push_back({static_cast<unsigned>(device), snd_pcm_info_get_id(info), snd_pcm_info_get_name(info)});
  }
  snd_pcm_info_free(info);
  return pcms;
}

std::optional<AlsaCardFacts> cardFacts(const AlsaPaths& paths, int index) {
  snd_ctl_t* opened = nullptr;
  if (snd_ctl_open(&opened, ("hw:" + std::to_string(index)).c_str(), SND_CTL_NONBLOCK) < 0) return std::nullopt;
  const Control control(opened, &snd_ctl_close);
  snd_ctl_card_info_t* info = nullptr;
  if (snd_ctl_card_info_malloc(&info) < 0) return std::nullopt;
  AlsaCardFacts card;
  card.index = index;
  if (snd_ctl_card_info(control.get(), info) >= 0) {
    card.id = snd_ctl_card_info_get_id(info);
    card.driver = snd_ctl_card_info_get_driver(info);
    card.name = snd_ctl_card_info_get_name(info);
    card.longName = snd_ctl_card_info_get_longname(info);
  }
  snd_ctl_card_info_free(info);
  card.idLink = controlLink(paths.devices + "/by-id", index);
  card.pathLink = controlLink(paths.devices + "/by-path", index);
  const std::string device = paths.classSound + "/card" + std::to_string(index) + "/device";
  card.bus = linkTarget(device + "/subsystem");
  card.busPlace = linkTarget(device);
  card.busClass = firstLine(device + "/class");
  card.pcms = playbackPcms(control.get());
  return card;
}

/// Queries the node itself: alsa-lib reports "no such card" for every failure to open one.
bool isThere(const AlsaPaths& paths, int index) {
  const std::string path = paths.devices + "/controlC" + std::to_string(index);
  const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return errno != ENOENT && errno != ENODEV && errno != ENXIO;
  close(descriptor);
  return true;
}

bool isDisplay(const AlsaCardFacts::Pcm& pcm) {
  return pcm.id.starts_with("HDMI") || pcm.id.starts_with("DisplayPort") || pcm.name.starts_with("HDMI");
}

std::uint32_t transportOf(const AlsaCardFacts& card, const AlsaCardFacts::Pcm& pcm) {
  if (card.driver == "Loopback" || card.driver == "Dummy") return kAudioDeviceTransportTypeVirtual;
  if (isDisplay(pcm)) return kAudioDeviceTransportTypeHDMI;
  if (card.bus == "usb") return kAudioDeviceTransportTypeUSB;
  if (card.bus == "firewire") return kAudioDeviceTransportTypeFireWire;
  if (card.bus == "pci") {
    // HD Audio controllers, and devices on the chipset's own bus, belong to the machine; the rest are sound cards.
    const bool ofTheMachine = card.busClass.starts_with("0x0403") || card.busPlace.starts_with("0000:00:");
    return ofTheMachine ? kAudioDeviceTransportTypeBuiltIn : kAudioDeviceTransportTypePCI;
  }
  if (card.bus == "platform" || card.bus == "soundwire") return kAudioDeviceTransportTypeBuiltIn;
  return kAudioDeviceTransportTypeUnknown;
}

std::string nameOf(const AlsaCardFacts& card, const AlsaCardFacts::Pcm& pcm) {
  std::string name = card.name;
  if (name.empty()) name = withoutPlace(card.longName);
  if (name.empty()) name = card.id;
  if (card.pcms.size() < 2) return name;
  const std::string& part = pcm.name.empty() ? pcm.id : pcm.name;
  if (part.starts_with(name)) return part;  // "Loopback PCM"
  return part.empty() ? name : name + ", " + part;
}

std::string placeOf(unsigned device) { return ":" + std::to_string(device); }

/// The known uid of this device; empty for a new one. Links do not count here: for units of one model without serial
/// numbers, udev moves the link in by-id from one to the next.
std::string keptUid(const AlsaCardFacts& card, unsigned device, std::span<const AlsaDeviceInfo> known) {
  const auto same = std::ranges::find_if(known, [&](const AlsaDeviceInfo& info) {
    return info.card == card.index && info.cardId == card.id && info.device == device;
  });
  if (same == known.end()) return {};
  // Seen before udev had named it: from now on it has its lasting name.
  const bool isNamedLate = same->uid == card.id + placeOf(device) && !card.pathLink.empty();
  return isNamedLate ? std::string() : same->uid;
}

/// The card's most lasting name that no other device has: its model and serial number, its place, its id.
std::string newUid(const AlsaCardFacts& card, unsigned device, const std::set<std::string>& taken) {
  for (const std::string& link : {card.idLink, card.pathLink}) {
    std::string uid = link + placeOf(device);
    if (!link.empty() && !taken.contains(uid)) return uid;
  }
  return card.id + placeOf(device);
}

void giveDistinctNames(std::span<AlsaDeviceInfo> devices, std::span<const AlsaDeviceInfo> known) {
  std::set<std::string> taken;
  std::vector<AlsaDeviceInfo*> newcomers;
  for (AlsaDeviceInfo& device : devices) {
    const auto same = std::ranges::find(known, device.uid, &AlsaDeviceInfo::uid);
    if (same == known.end()) {
      newcomers.push_back(&device);
    } else {
      taken.insert(device.name = same->name);
    }
  }
  for (AlsaDeviceInfo* device : newcomers) {
    const std::string plain = device->name;
    for (int number = 2; !taken.insert(device->name).second; ++number) {
      device->name = plain + " (" + std::to_string(number) + ")";
    }
  }
}

int precedence(std::uint32_t transport) {
  if (transport == kAudioDeviceTransportTypeVirtual) return 2;
  return transport == kAudioDeviceTransportTypeHDMI ? 1 : 0;
}

}  // namespace

std::optional<AlsaCardFacts> readCardFacts(const AlsaPaths& paths, int card) {
  auto facts = cardFacts(paths, card);
  if (facts || !isThere(paths, card)) return facts;
  facts.emplace();
  facts->index = card;
  facts->isReadable = false;
  return facts;
}

std::vector<AlsaCardFacts> collectCardFacts(const AlsaPaths& paths, const std::set<int>& known,
                                            const std::function<std::optional<AlsaCardFacts>(int card)>& read) {
  // Not snd_card_next, which opens and closes the node of every card: that may hang in one card's driver.
  std::set<int> indices = known;
  std::error_code error;
  for (fs::directory_iterator at(paths.devices, error), end; !error && at != end; at.increment(error)) {
    const auto node = parseAlsaNode(at->path().filename().string());
    if (node && !node->playbackDevice) indices.insert(node->card);
  }
  std::vector<AlsaCardFacts> cards;
  for (const int index : indices) {
    auto facts = read(index);
    if (facts && (facts->isReadable || known.contains(index))) cards.push_back(*std::move(facts));
  }
  return cards;
}

std::vector<AlsaDeviceInfo> listDevices(const std::vector<AlsaCardFacts>& cards,
                                        std::span<const AlsaDeviceInfo> known) {
  std::vector<AlsaDeviceInfo> devices;
  std::set<std::string> uids;
  for (const AlsaCardFacts& card : cards) {
    if (!card.isReadable) {
      std::ranges::copy_if(known, std::back_inserter(devices),
                           [&card](const AlsaDeviceInfo& info) { return info.card == card.index; });
    }
    for (const AlsaCardFacts::Pcm& pcm : card.pcms) {
      const std::string uid = keptUid(card, pcm.device, known);
      devices.push_back({uid, nameOf(card, pcm), transportOf(card, pcm), card.index, pcm.device, card.id});
    }
  }
  for (const AlsaDeviceInfo& device : devices) uids.insert(device.uid);
  // A second pass: a new device must not get a uid that an existing device has.
  for (AlsaDeviceInfo& device : devices) {
    if (!device.uid.empty()) continue;
    const auto card = std::ranges::find(cards, device.card, &AlsaCardFacts::index);
    uids.insert(device.uid = newUid(*card, device.device, uids));
  }
  giveDistinctNames(devices, known);
  return devices;
}

const AlsaDeviceInfo* defaultDevice(std::span<const AlsaDeviceInfo> devices) {
  const auto best =
      std::ranges::min_element(devices, {}, [](const auto& device) { return precedence(device.transport); });
  return best == devices.end() ? nullptr : &*best;
}

std::string_view withoutPlace(std::string_view longName) {
  for (const std::string_view mark : {" at 0x", " at usb-", " at pci-", " at ", ", irq", " irq "}) {
    longName = longName.substr(0, longName.find(mark));
  }
  return longName;
}

}  // namespace tolvane
