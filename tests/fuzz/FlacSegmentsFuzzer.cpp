// Spoils a whole FLAC stream as the input says and decodes it in segments. Most inputs keep most blocks and their
// checksums, so that segments begin behind, between and inside of damage. The input is a list of operations, eight
// bytes each: what to do, where, how much and with which byte.

#include <FLAC/stream_encoder.h>

#include "platform/codecs/bytes/ByteOrder.h"
#include "tests/fuzz/DecodedFile.h"
#include "tests/platform/codecs/AudioBytes.h"
#include "tests/support/SeededRandom.h"

namespace tolvane::test {
namespace {

/// Two channels of noise in 40 blocks.
std::vector<std::byte> makeStream() {
  constexpr std::uint32_t frames = 20'000;
  std::vector<std::byte> stream;
  const std::unique_ptr<FLAC__StreamEncoder, decltype(&FLAC__stream_encoder_delete)> encoder(
      FLAC__stream_encoder_new(), &FLAC__stream_encoder_delete);
  FLAC__stream_encoder_set_blocksize(encoder.get(), 500);
  FLAC__stream_encoder_set_streamable_subset(encoder.get(), 0);
  FLAC__stream_encoder_set_bits_per_sample(encoder.get(), 8);
  FLAC__stream_encoder_set_total_samples_estimate(encoder.get(), frames);
  const auto write = [](const FLAC__StreamEncoder*, const FLAC__byte bytes[], std::size_t count, std::uint32_t,
                        std::uint32_t, void* self) {
    const auto piece = std::as_bytes(std::span(bytes, count));
    auto& all = *static_cast<std::vector<std::byte>*>(self);
    all.insert(all.end(), piece.begin(), piece.end());
    return FLAC__STREAM_ENCODER_WRITE_STATUS_OK;
  };
  SeededRandom random(1);
  std::vector<FLAC__int32> samples(std::size_t{2} * frames);
  for (auto& sample : samples) sample = static_cast<FLAC__int32>(random.between(-8, 7));
  require(FLAC__stream_encoder_init_stream(encoder.get(), write, nullptr, nullptr, nullptr, &stream) ==
          FLAC__STREAM_ENCODER_INIT_STATUS_OK);
  require(FLAC__stream_encoder_process_interleaved(encoder.get(), samples.data(), frames) != 0);
  require(FLAC__stream_encoder_finish(encoder.get()) != 0);
  return stream;
}

void apply(std::span<const std::byte> operation, std::vector<std::byte>& stream) {
  if (stream.empty()) return;
  const std::size_t at = loadLittle<std::uint16_t>(operation, 1) % stream.size();
  const std::size_t from = loadLittle<std::uint16_t>(operation, 3) % stream.size();
  const std::size_t count = std::min<std::size_t>(loadLittle<std::uint16_t>(operation, 5), stream.size() - at);
  const auto begin = stream.begin() + static_cast<std::ptrdiff_t>(at);
  const auto end = begin + static_cast<std::ptrdiff_t>(count);
  constexpr std::size_t longestStream = 200'000;
  switch (std::to_integer<int>(operation[0]) % 6) {
    case 0:
      *begin ^= operation[7];
      break;
    case 1:
      std::fill(begin, end, operation[7]);
      break;
    case 2:
      stream.erase(begin, end);
      break;
    case 3: {
      const std::vector<std::byte> copy(begin, end);
      if (stream.size() < longestStream) {
        stream.insert(stream.begin() + static_cast<std::ptrdiff_t>(from), copy.begin(), copy.end());
      }
      break;
    }
    case 4:
      *begin = operation[7];
      break;
    default:
      stream.resize(at);
  }
}

}  // namespace
}  // namespace tolvane::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tolvane;
  using namespace tolvane::test;
  static const std::vector<std::byte> whole = makeStream();
  constexpr std::size_t operationBytes = 8;
  constexpr std::size_t mostOperations = 16;
  auto stream = whole;
  auto operations = std::as_bytes(std::span(data, size));
  for (std::size_t i = 0; i < mostOperations && operations.size() >= operationBytes; ++i) {
    apply(operations.first(operationBytes), stream);
    operations = operations.subspan(operationBytes);
  }
  const auto source = std::make_shared<MemorySource>(stream);
  const auto file = recogniseFile(*source);
  if (file && isEncoded(*file)) requireAgreement(source, *file);
  return 0;
}
