#include "demo/DemoMusic.h"

#include <array>
#include <cmath>
#include <complex>
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
    Piece{"Prelude", 44100, 20, 220.0},
    Piece{"Nocturne in Copper", 48000, 18, 196.0},
    Piece{"Variations on a Quiet Theme", 96000, 16, 246.9},
    Piece{"The Long Afternoon", 88200, 15, 174.6},
    Piece{"Ember Study No. 4", 192000, 8, 261.6},
    Piece{"Vespers", 44100, 24, 164.8},
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

/// A sine, by turning a pointer a little further each frame: a call of sin() for each would take seconds.
class Tone {
 public:
  Tone(double hertz, double sampleRate) : step_(std::polar(1.0, 2 * std::numbers::pi * hertz / sampleRate)) {}

  double next() {
    pointer_ *= step_;
    return pointer_.imag();
  }

 private:
  std::complex<double> pointer_{1, 0};
  const std::complex<double> step_;
};

/// A chord that swells and fades four times.
std::string samples(const Piece& piece) {
  const std::uint32_t frames = piece.sampleRate * piece.seconds;
  Tone root(piece.pitch, piece.sampleRate);
  std::array<Tone, 2> upper{Tone(piece.pitch * 1.25, piece.sampleRate), Tone(piece.pitch * 1.5, piece.sampleRate)};
  Tone swell(2.0 / piece.seconds, piece.sampleRate);
  std::string bytes;
  bytes.reserve(std::size_t{frames} * 6);
  for (std::uint32_t frame = 0; frame < frames; ++frame) {
    const double loudness = 0.25 * 8388607 * std::abs(swell.next());
    const double common = root.next();
    for (Tone& tone : upper) {
      const auto value = static_cast<std::int32_t>(loudness * (common + 0.5 * tone.next()));
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
