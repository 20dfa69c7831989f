#include "tests/ui/qt/PictureStage.h"

#include <QtTest/QTest>
#include <cmath>
#include <cstdlib>
#include <map>
#include <numbers>
#include <string>

namespace tolvane::test {
namespace {

/// Loudness that swells and breathes as music does, the same for the same seed.
double loudness(int seed, double place) {
  const double slow = std::abs(std::sin(std::numbers::pi * std::pow(place, 0.9)));
  const double phrase = 0.7 + 0.3 * std::sin(18 * place + seed);
  const double detail = 0.5 + 0.5 * std::sin(137.0 * place * (1 + seed % 3) + 5 * std::sin(61 * place + seed));
  return (0.3 + 0.7 * slow) * phrase * (0.45 + 0.55 * detail);
}

}  // namespace

SimulatedPCMFile recording(const Piece& piece) {
  SimulatedPCMFile file;
  file.format = linearPCM(piece.rate, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
  file.sourceBitDepth = 16;
  const auto frames = static_cast<std::size_t>(piece.rate * piece.seconds);
  file.data.resize(frames * 4);
  int level = 0;
  for (std::size_t frame = 0; frame < frames; ++frame) {
    const double place = static_cast<double>(frame) / static_cast<double>(frames);
    if (frame % 64 == 0) level = static_cast<int>(100 * loudness(piece.seed, place));
    file.data[frame * 4 + 1] = file.data[frame * 4 + 3] = static_cast<std::byte>(frame % 2 == 0 ? level : -level);
  }
  return file;
}

FileURL PictureStage::url(std::size_t index) {
  return FileURL("/music/" + std::string(programme[index].name) + ".wav");
}

FileURL PictureStage::add(const FileURL& url, const Piece& piece) {
  static std::map<int, SimulatedPCMFile> written;
  const auto [file, isNew] = written.try_emplace(piece.seed);
  if (isNew) file->second = recording(piece);
  files.add(url, file->second);
  return url;
}

void PictureStage::loadProgramme() {
  std::vector<FileURL> urls;
  for (std::size_t i = 0; i < std::size(programme); ++i) urls.push_back(add(url(i), programme[i]));
  content.loadPlaylist(urls);
  settle();
}

void PictureStage::play(std::int64_t index, double fraction) {
  loadProgramme();
  content.playTrack(index, fraction);
  advance(std::chrono::milliseconds(1200));
  settle();
}

void PictureStage::playOver(const std::vector<SampleAlteration>& alterations) {
  SimulatedDeviceConfig device;
  device.name = "Studio Monitor";
  device.alterations = alterations;
  pick(device);
  play(2, 0.38);
}

AudioObjectID PictureStage::pick(const SimulatedDeviceConfig& device) {
  const auto id = hardware.addDevice(device);
  playersLoop.runUntilIdle();
  devices.loadAudioDevices();
  devices.select(id);
  return id;
}

void PictureStage::waitForTip() {
  constexpr std::chrono::milliseconds enough{1500};
  QTest::qWait(enough.count());
}

}  // namespace tolvane::test
