#include <openssl/evp.h>

#include <chrono>
#include <filesystem>

#include "tools/ProbeCommands.h"

#include <fmt/format.h>

namespace tolvane {
namespace {

std::string sha256(std::span<const std::byte> bytes) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int size = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) return {};
  std::string text;
  for (const unsigned char byte : std::span(digest).first(size)) text += fmt::format("{:02x}", byte);
  return text;
}

Json describeTrack(const FileURL& url, const PreparedAudio& prepared, double seconds) {
  const AudioRenderContext& context = *prepared.context;
  Json line;
  line["url"] = url.absoluteString();
  describe(line, context.format());
  line["frames"] = context.totalFrames();
  line["bytes"] = context.byteCount();
  line["sourceBitDepth"] = prepared.sourceBitDepth;
  line["sourceIsFloat"] = prepared.sourceIsFloat;
  line["isLossless"] = prepared.isLossless;
  line["sourceLabel"] = prepared.sourceLabel;
  line["sha256"] = sha256(context.buffer().bytes());
  line["seconds"] = seconds;
  return line;
}

}  // namespace

FileURL fileURLFromArgument(const std::string& argument) {
  std::error_code error;
  const auto path = std::filesystem::absolute(argument, error);
  return FileURL(error ? argument : path.string());
}

void prepareFiles(std::span<const std::string> files, AudioFileServices& services, ProbeOutput& output) {
  const TrackPreparation preparation(services, std::make_shared<AtomicOutputLevels>());
  for (const std::string& file : files) {
    const FileURL url = fileURLFromArgument(file);
    const auto begin = std::chrono::steady_clock::now();
    const auto prepared = preparation.prepare(url);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    if (prepared)
      output.print(describeTrack(url, *prepared, taken.count()));
    else
      output.print({{"url", url.absoluteString()}, {"error", prepared.error().errorDescription()}});
  }
}

}  // namespace tolvane
