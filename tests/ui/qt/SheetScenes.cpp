#include "tests/ui/qt/SheetScenes.h"

#include <algorithm>

namespace tolvane::test {
namespace {

constexpr std::size_t shortest = 11;  ///< of the programme, and its last
constexpr std::chrono::seconds pastTheShortest{100};

}  // namespace

AudioObjectID SheetScenes::describe(std::uint32_t bits, const std::vector<SampleAlteration>& alterations) {
  SimulatedDeviceConfig device;
  device.name = "Studio Monitor";
  device.driver = "snd-usb-audio";
  device.soundServer = "PipeWire 1.4.2";
  device.formatSource = "/proc/asound/card1/pcm0p/sub0/hw_params (S32_LE); 24 significant bits by the USB descriptor";
  device.streams[0].physicalFormats = {physicalInteger(bits)};
  device.alterations = alterations;
  device.foreignHogShutsOut = false;
  const AudioObjectID id = pick(device);
  loadProgramme();
  return id;
}

void SheetScenes::playInto(std::int64_t index, double fraction) {
  content.playTrack(index, fraction);
  advance(std::chrono::milliseconds(1200));
  settle();
}

void SheetScenes::playOneWhole() {
  playInto(shortest, 0);
  advance(pastTheShortest);
  settle();
  playInto(2, 0.38);
}

void SheetScenes::openSheet() {
  key(Qt::Key_I, Qt::ControlModifier);
  advance(std::chrono::milliseconds(600));
  settle();
}

void SheetScenes::sheet() {
  describe(24);
  playOneWhole();
  openSheet();
}

void SheetScenes::sheetWide() {
  window->resize(1600, 1000);
  sheet();
}

void SheetScenes::sheetKeyboard() {
  sheet();
  key(Qt::Key_Tab);
  key(Qt::Key_Tab);
}

void SheetScenes::sheetExclusive() {
  proxy.setExclusiveAccessEnabled(true);
  sheet();
}

void SheetScenes::sheetLost() {
  const AudioObjectID id = describe(24);
  proxy.setExclusiveAccessEnabled(true);
  playOneWhole();
  hardware.device(id).setHogOwner(4711);
  advance(std::chrono::milliseconds(1500));
  openSheet();
}

void SheetScenes::sheetAltered() {
  describe(24, {{SampleAlteration::Kind::processed,
                 bilingual("The sound server plays this device at {} volume, so samples are altered.", "40 %"),
                 "Set its volume to 100 %."_cure}});
  playOneWhole();
  openSheet();
}

void SheetScenes::sheetAlteredWide() {
  window->resize(1600, 1000);
  sheetAltered();
}

void SheetScenes::sheetConverted() {
  constexpr std::size_t frames = 44100 * 90;
  describe(16);
  SimulatedPCMFile deep;
  deep.format = linearPCM(44100, 2, 24, 3, kAudioFormatFlagIsSignedInteger);
  deep.sourceBitDepth = 24;
  deep.data.assign(frames * 6, std::byte{0x11});
  files.add(url(shortest), deep);
  playInto(shortest, 0.38);
  openSheet();
}

void SheetScenes::sheetDiffers() {
  describe(24);
  hardware.setFrameWithFlippedBit(1'234'567);
  playOneWhole();
  openSheet();
}

void SheetScenes::sheetSeeked() {
  describe(24);
  playInto(shortest, 0);
  proxy.seek(60);
  advance(pastTheShortest);
  settle();
  playInto(2, 0.38);
  openSheet();
}

void SheetScenes::sheetDamaged() {
  constexpr std::size_t frames = 44100 * 90;
  describe(24);
  SimulatedCompressedFile flac;
  flac.format = {44100, fourCharCode("flac"), 0, 0, 0, 0, 2, 16, 0};
  flac.sourceBitDepth = 16;
  flac.samples.assign(frames * 2, 0.25F);
  flac.signature = SampleSignature{};
  const FileURL damaged("/music/Coda.flac");
  files.add(damaged, flac);
  content.loadPlaylist(std::vector{damaged, url(2)});
  settle();
  playInto(0, 0);
  advance(pastTheShortest);
  settle();
  openSheet();
}

void SheetScenes::sheetCutOff() {
  describe(24);
  SimulatedPCMFile file = recording(programme[2]);
  file.wholeByteCount = file.data.size() * 2;
  files.add(url(2), file);
  playInto(2, 0.38);
  openSheet();
}

void SheetScenes::sheetError() {
  describe(24);
  playInto(2, 0.38);
  files.remove(url(3));
  files.setFinding(url(3), {.place = FilePlace::noFolder});
  playInto(3, 0);
  openSheet();
}

void SheetScenes::sheetRecovered() {
  const AudioObjectID id = describe(24);
  playInto(2, 0.38);
  hardware.device(id).stopByItself();
  advance(std::chrono::seconds(5));
  settle();
  openSheet();
  key(Qt::Key_End);
}

void SheetScenes::sheetHistory() {
  describe(24);
  playOneWhole();
  for (int i = 0; i < 30; ++i) {
    proxy.setOutputVolume(i % 2 == 0 ? 0.5 : 1);
    advance(std::chrono::seconds(90));
    settle();
  }
  openSheet();
  key(Qt::Key_End);
}

}  // namespace tolvane::test
