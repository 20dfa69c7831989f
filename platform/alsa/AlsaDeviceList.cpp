#include "platform/alsa/AlsaDeviceList.h"

#include <alsa/asoundlib.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <set>

#include "platform/AudioHardware.h"

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
  // udev may keep several names for one card; the same one is chosen each time.
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
  card.link = controlLink(paths.devices + "/by-id", index);
  if (card.link.empty()) card.link = controlLink(paths.devices + "/by-path", index);
  const std::string device = paths.classSound + "/card" + std::to_string(index) + "/device";
  card.bus = linkTarget(device + "/subsystem");
  card.busPlace = linkTarget(device);
  card.busClass = firstLine(device + "/class");
  card.pcms = playbackPcms(control.get());
  return card;
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
    // HD Audio controllers, and what sits on the chipset's own bus, belong to the machine; the rest are sound cards.
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
  return part.empty() ? name : name + ", " + part;
}

int precedence(std::uint32_t transport) {
  if (transport == kAudioDeviceTransportTypeVirtual) return 2;
  return transport == kAudioDeviceTransportTypeHDMI ? 1 : 0;
}

}  // namespace

std::vector<AlsaCardFacts> collectCardFacts(const AlsaPaths& paths) {
  std::vector<AlsaCardFacts> cards;
  for (int card = -1; snd_card_next(&card) >= 0 && card >= 0;) {
    if (auto facts = cardFacts(paths, card)) cards.push_back(*std::move(facts));
  }
  return cards;
}

std::vector<AlsaDeviceInfo> listDevices(const std::vector<AlsaCardFacts>& cards,
                                        const std::map<std::string, std::string>& namesInUse) {
  std::vector<AlsaDeviceInfo> devices;
  std::set<std::string> uids;
  for (const AlsaCardFacts& card : cards) {
    for (const AlsaCardFacts::Pcm& pcm : card.pcms) {
      const std::string place = ":" + std::to_string(pcm.device);
      std::string uid = (card.link.empty() ? card.id : card.link) + place;
      // Two units of one model without serial numbers share a link; the kernel's card id tells them apart.
      if (!uids.insert(uid).second) uids.insert(uid = card.id + place);
      devices.push_back({uid, nameOf(card, pcm), transportOf(card, pcm), card.index, pcm.device});
    }
  }
  std::set<std::string> taken;
  for (AlsaDeviceInfo& device : devices) {
    const auto known = namesInUse.find(device.uid);
    if (known != namesInUse.end()) taken.insert(device.name = known->second);
  }
  for (AlsaDeviceInfo& device : devices) {
    if (namesInUse.contains(device.uid)) continue;
    const std::string plain = device.name;
    for (int number = 2; !taken.insert(device.name).second; ++number) {
      device.name = plain + " (" + std::to_string(number) + ")";
    }
  }
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
