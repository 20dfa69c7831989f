#include "platform/alsa/AlsaRecording.h"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "platform/alsa/facts/AlsaFormats.h"
#include "platform/conversion/PcmLayout.h"

namespace tolvane {
namespace {

constexpr std::array deepestFirst{SND_PCM_FORMAT_S32_LE, SND_PCM_FORMAT_S24_LE, SND_PCM_FORMAT_S24_3LE,
                                  SND_PCM_FORMAT_S16_LE, SND_PCM_FORMAT_FLOAT_LE};
constexpr unsigned ringMicroseconds = 1'000'000;
constexpr unsigned periodMicroseconds = 50'000;
constexpr int waitMilliseconds = 100;  // between two checks for a stop request

std::optional<PcmLayout> layoutOf(snd_pcm_format_t format) {
  for (const AlsaFormat& each : alsaFormats())
    if (each.format == format) return each.layout;
  return std::nullopt;
}

}  // namespace

std::expected<void, std::string> AlsaRecording::start(const Request& request) {
  snd_pcm_t* opened = nullptr;
  int status = snd_pcm_open(&opened, name_.c_str(), SND_PCM_STREAM_CAPTURE, SND_PCM_NONBLOCK);
  std::unique_ptr<snd_pcm_t, Close> pcm(opened);
  if (status == 0) status = configure(pcm.get(), request);
  if (status == 0) status = snd_pcm_start(pcm.get());
  if (status < 0)
    return std::unexpected(fmt::format("{} cannot record {} channels at {} Hz: {}.", name_, request.channels,
                                       request.rate, snd_strerror(status)));
  pcm_ = std::move(pcm);
  maximumBytes_ = request.maximumFrames * frames_.form.format.mBytesPerFrame;
  frames_.bytes.clear();
  frames_.bytes.reserve(maximumBytes_);  // memory is used only as frames arrive
  frames_.isWhole = true;
  reader_ = std::jthread([this](const std::stop_token& stop) { read(stop); });
  return {};
}

/// 0, or alsa-lib's error.
int AlsaRecording::configure(snd_pcm_t* pcm, const Request& request) {
  snd_pcm_hw_params_t* hardware = nullptr;
  snd_pcm_hw_params_alloca(&hardware);
  int status = snd_pcm_hw_params_any(pcm, hardware);
  if (status >= 0) status = snd_pcm_hw_params_set_rate_resample(pcm, hardware, 0);
  if (status >= 0) status = snd_pcm_hw_params_set_access(pcm, hardware, SND_PCM_ACCESS_RW_INTERLEAVED);
  if (status >= 0) status = snd_pcm_hw_params_set_channels(pcm, hardware, request.channels);
  if (status >= 0) status = snd_pcm_hw_params_set_rate(pcm, hardware, request.rate, 0);
  if (status < 0) return status;
  std::optional<PcmLayout> layout;
  for (const snd_pcm_format_t format : deepestFirst) {
    if (!layout && snd_pcm_hw_params_set_format(pcm, hardware, format) == 0) layout = layoutOf(format);
  }
  if (!layout) return -EINVAL;
  unsigned ring = ringMicroseconds;
  unsigned period = periodMicroseconds;
  status = snd_pcm_hw_params_set_buffer_time_near(pcm, hardware, &ring, nullptr);
  if (status >= 0) status = snd_pcm_hw_params_set_period_time_near(pcm, hardware, &period, nullptr);
  if (status >= 0) status = snd_pcm_hw_params(pcm, hardware);
  frames_.form = {describe(*layout, request.rate, request.channels), {}};
  return status < 0 ? status : 0;
}

void AlsaRecording::read(const std::stop_token& stop) {
  const std::size_t frameBytes = frames_.form.format.mBytesPerFrame;
  std::vector<std::byte> piece;
  while (!stop.stop_requested()) {
    if (snd_pcm_wait(pcm_.get(), waitMilliseconds) == 0) continue;
    const snd_pcm_sframes_t available = snd_pcm_avail_update(pcm_.get());
    if (available == 0) continue;
    snd_pcm_sframes_t count = available;
    if (available > 0) {
      piece.resize(static_cast<std::size_t>(available) * frameBytes);
      count = snd_pcm_readi(pcm_.get(), piece.data(), static_cast<snd_pcm_uframes_t>(available));
    }
    if (count == -EAGAIN) continue;
    if (count < 0 || frames_.bytes.size() + piece.size() > maximumBytes_) {
      frames_.isWhole = false;
      return;
    }
    frames_.bytes.insert(frames_.bytes.end(), piece.begin(),
                         piece.begin() + count * static_cast<std::ptrdiff_t>(frameBytes));
  }
}

Recording::Frames AlsaRecording::stop() {
  reader_ = {};  // asks it to stop, and joins it
  pcm_.reset();
  return std::exchange(frames_, {});
}

}  // namespace tolvane
