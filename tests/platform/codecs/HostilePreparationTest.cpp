// Small files that announce more than there can be, prepared as the player prepares them: the real files, decoders and
// limits.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>

#include "engine/TrackPreparation.h"
#include "platform/codecs/SystemAudioFileServices.h"
#include "tests/platform/codecs/AudioBytes.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane::test {
namespace {

constexpr std::uint64_t gibibyte = std::uint64_t{1} << 30U;

/// The system's files on a machine of so much memory.
class FilesBesideMemory final : public AudioFileServices {
 public:
  explicit FilesBesideMemory(std::uint64_t memory) : memory_(memory) {}
  std::expected<std::unique_ptr<AudioFile>, OSStatus> openAudioFile(const FileURL& url,
                                                                    ReadingProgress* progress) override {
    return files_.openAudioFile(url, progress);
  }
  std::expected<std::unique_ptr<ExtAudioFile>, OSStatus> openExtAudioFile(const FileURL& url,
                                                                          ReadingProgress* progress) override {
    return files_.openExtAudioFile(url, progress);
  }
  [[nodiscard]] std::optional<FileVersion> fileVersion(const FileURL& url) const override {
    return files_.fileVersion(url);
  }
  [[nodiscard]] FileFinding examine(const FileURL&) const override { return {}; }
  [[nodiscard]] std::uint64_t availableMemory() const override { return memory_; }

 private:
  SystemAudioFileServices files_;
  const std::uint64_t memory_;
};

std::string sentenceOf(const FileURL& url, std::uint64_t memory) {
  FilesBesideMemory files(memory);
  const auto prepared = TrackPreparation(files, std::make_shared<AtomicOutputLevels>()).prepare(url);
  return prepared ? "prepared" : prepared.error().errorDescription();
}

/// Kibibytes of this process that were in memory at once.
std::uint64_t mostInMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("VmHWM:")) return std::stoull(line.substr(6));
  return 0;
}

TEST(HostilePreparation, RefusesWhatFortyTwoBytesAnnounceWithTheLimitsSentence) {
  const char* const tooLarge = "The track is too large to decode safely.";
  const char* const exceedsMemory = "The decoded track exceeds the in-memory playback limit.";
  struct Case {
    std::uint64_t frames;
    int channels;
    std::uint64_t memory;
    const char* sentence;
  };
  const TemporaryFolder folder;
  const std::uint64_t before = mostInMemory();
  ASSERT_GT(before, 0U);
  int cases = 0;
  for (const auto& [frames, channels, memory, sentence] :
       {Case{std::uint64_t{1} << 32U, 1, 64 * gibibyte, tooLarge},
        Case{std::uint64_t{1} << 32U, 2, 64 * gibibyte, tooLarge}, Case{std::uint64_t{1} << 32U, 8, gibibyte, tooLarge},
        Case{(std::uint64_t{1} << 36U) - 1, 8, 64 * gibibyte, tooLarge}, Case{0, 2, 64 * gibibyte, tooLarge},
        Case{0xFFFF'FFFF, 1, 64 * gibibyte, exceedsMemory}, Case{gibibyte, 1, 64 * gibibyte, exceedsMemory},
        Case{gibibyte - 1, 1, gibibyte, exceedsMemory}, Case{gibibyte / 8, 8, 64 * gibibyte, exceedsMemory}}) {
    const auto bytes = flacStart(frames, channels).all();
    ASSERT_EQ(bytes.size(), 42U);
    EXPECT_EQ(sentenceOf(folder.write("announced.flac", bytes), memory), sentence) << frames << " x " << channels;
    ++cases;
  }
  EXPECT_EQ(cases, 9);
  EXPECT_LT(mostInMemory(), before + 64 * 1024) << "kibibytes";
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // whose allocators write beside what they give
TEST(HostilePreparation, TouchesNoMemoryForSamplesThatNeverCome) {
  const TemporaryFolder folder;
  const std::uint64_t before = mostInMemory();
  // Half a gibibyte less one frame, which any machine may promise.
  const auto file = folder.write("empty.flac", flacStart(gibibyte / 8 - 1, 1).all());
  const std::string sentence = sentenceOf(file, 64 * gibibyte);
  std::printf("%s Memory: %llu KiB before, %llu KiB at most.\n", sentence.c_str(),
              static_cast<unsigned long long>(before), static_cast<unsigned long long>(mostInMemory()));
  EXPECT_NE(sentence, "prepared");
  EXPECT_LT(mostInMemory(), before + 64 * 1024) << "kibibytes";
}
#endif

}  // namespace
}  // namespace tolvane::test
