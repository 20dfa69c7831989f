#include "tests/platform/codecs/flac/FlacEncoder.h"

#include <FLAC/stream_encoder.h>

#include <memory>

namespace tolvane::test {

bool encodeFlac(const FileURL& url, const std::vector<std::int32_t>& samples, int channels, int bits, int rate) {
  const std::unique_ptr<FLAC__StreamEncoder, decltype(&FLAC__stream_encoder_delete)> encoder(
      FLAC__stream_encoder_new(), &FLAC__stream_encoder_delete);
  FLAC__stream_encoder_set_streamable_subset(encoder.get(), 0);
  FLAC__stream_encoder_set_channels(encoder.get(), static_cast<std::uint32_t>(channels));
  FLAC__stream_encoder_set_bits_per_sample(encoder.get(), static_cast<std::uint32_t>(bits));
  FLAC__stream_encoder_set_sample_rate(encoder.get(), static_cast<std::uint32_t>(rate));
  const auto frames = static_cast<std::uint32_t>(samples.size() / static_cast<std::size_t>(channels));
  return FLAC__stream_encoder_init_file(encoder.get(), url.path().c_str(), nullptr, nullptr) ==
             FLAC__STREAM_ENCODER_INIT_STATUS_OK &&
         FLAC__stream_encoder_process_interleaved(encoder.get(), samples.data(), frames) != 0 &&
         FLAC__stream_encoder_finish(encoder.get()) != 0;
}

}  // namespace tolvane::test
