#include "demo/DemoMusic.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <numbers>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tolvane {

namespace {

struct Piece {
  std::string_view name;
  std::uint32_t sampleRate;  ///< hertz
  std::uint32_t seconds;
  double pitch;  ///< hertz
};

constexpr std::array pieces{
    Piece{"Prelude", 44100, 24, 220.0},
    Piece{"Nocturne in Copper", 48000, 32, 196.0},
    Piece{"Variations on a Quiet Theme", 96000, 27, 246.9},
    Piece{"The Long Afternoon", 88200, 30, 174.6},
    Piece{"Ember Study No. 4", 192000, 12, 261.6},
    Piece{"Vespers", 44100, 40, 164.8},
};

void append(std::string& bytes, std::uint32_t value, int count) {
  for (int i = 0; i < count; ++i) bytes += static_cast<char>(value >> (8 * i) & 0xFF);
}

/// A canonical WAV header for 24-bit stereo.
std::string header(const Piece& piece, std::uint32_t dataBytes) {
  std::string bytes = "RIFF";
  append(bytes, 36 + dataBytes, 4);
  bytes += "WAVEfmt ";
  append(bytes, 16, 4);
  append(bytes, 1, 2);
  append(bytes, 2, 2);
  append(bytes, piece.sampleRate, 4);
  append(bytes, piece.sampleRate * 6, 4);
  append(bytes, 6, 2);
  append(bytes, 24, 2);
  bytes += "data";
  append(bytes, dataBytes, 4);
  return bytes;
}

/// A chord that swells and fades four times; −1 … 1.
double sampleAt(const Piece& piece, double time, double interval) {
  const double swell = std::sin(std::numbers::pi * std::fmod(time * 4 / piece.seconds, 1.0));
  const double phase = 2 * std::numbers::pi * piece.pitch * time;
  return 0.25 * swell * (std::sin(phase) + 0.5 * std::sin(phase * interval));
}

std::string samples(const Piece& piece) {
  const std::uint32_t frames = piece.sampleRate * piece.seconds;
  std::string bytes;
  bytes.reserve(std::size_t{frames} * 6);
  for (std::uint32_t frame = 0; frame < frames; ++frame) {
    const double time = static_cast<double>(frame) / piece.sampleRate;
    for (const double interval : {1.25, 1.5}) {
      const auto value = static_cast<std::int32_t>(std::lround(sampleAt(piece, time, interval) * 8388607));
      append(bytes, static_cast<std::uint32_t>(value), 3);
    }
  }
  return bytes;
}

}  // namespace

std::vector<FileURL> writeDemoMusic(const std::filesystem::path& folder) {
  std::vector<FileURL> written;
  for (const auto& piece : pieces) {
    const auto path = folder / (std::string(piece.name) + ".wav");
    const std::string data = samples(piece);
    std::ofstream file(path, std::ios::binary);
    file << header(piece, static_cast<std::uint32_t>(data.size())) << data;
    if (!file.flush()) throw std::runtime_error("The demo's music could not be written: " + path.string());
    written.emplace_back(path.string());
  }
  return written;
}

}  // namespace tolvane
