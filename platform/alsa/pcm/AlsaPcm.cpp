#include "platform/alsa/pcm/AlsaPcm.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <string>

#include "platform/alsa/facts/AlsaChannelMap.h"
#include "platform/alsa/facts/AlsaFormats.h"
#include "platform/alsa/facts/AlsaStatus.h"
#include "platform/alsa/facts/ProvenBits.h"
#include "platform/conversion/ChannelMap.h"

namespace tolvane {
namespace {

/// Long enough for a busy desktop without real-time priority, short enough for a prompt pause.
constexpr double ringSeconds = 0.15;
constexpr unsigned periodsPerRing = 4;
/// Some drivers never send the last transfer of a stream: this many frames of silence follow the music at its end.
constexpr snd_pcm_uframes_t fewestTrailingFrames = 2048;

template <typename Params, int (*allocate)(Params**), void (*release)(Params*)>
class ParamsOwner {
 public:
  ParamsOwner() { allocate(&params_); }
  ~ParamsOwner() { release(params_); }
  ParamsOwner(const ParamsOwner&) = delete;
  ParamsOwner& operator=(const ParamsOwner&) = delete;
  operator Params*() const { return params_; }  // NOLINT(google-explicit-constructor): it stands for the pointer

 private:
  Params* params_ = nullptr;
};
using HwParams = ParamsOwner<snd_pcm_hw_params_t, &snd_pcm_hw_params_malloc, &snd_pcm_hw_params_free>;
using SwParams = ParamsOwner<snd_pcm_sw_params_t, &snd_pcm_sw_params_malloc, &snd_pcm_sw_params_free>;

/// The formats that these parameters still allow, each with its proven bits.
std::vector<DeviceFormat> allowedFormats(snd_pcm_t* pcm, snd_pcm_hw_params_t* params, std::uint32_t channels,
                                         const AlsaPcmRequest& request) {
  std::vector<DeviceFormat> formats;
  const HwParams narrowed;
  for (const AlsaFormat& format : alsaFormats()) {
    snd_pcm_hw_params_copy(narrowed, params);
    if (snd_pcm_hw_params_set_format(pcm, narrowed, format.format) < 0) continue;
    const int driverBits = std::max(0, snd_pcm_hw_params_get_sbits(narrowed));
    formats.push_back(
        {format.layout, request.provenBits ? request.provenBits(format.layout, channels, driverBits) : std::nullopt});
  }
  return formats;
}

/// One range if the hardware accepts any rate in it, else the usual rates that it accepts.
std::vector<AudioValueRange> allowedRates(snd_pcm_t* pcm, snd_pcm_hw_params_t* params) {
  const auto allows = [&](unsigned rate) { return snd_pcm_hw_params_test_rate(pcm, params, rate, 0) == 0; };
  unsigned least = 0;
  unsigned most = 0;
  int direction = 0;
  if (snd_pcm_hw_params_get_rate_min(params, &least, &direction) < 0) return {};
  if (snd_pcm_hw_params_get_rate_max(params, &most, &direction) < 0) return {};
  const unsigned middle = least + (most - least) / 2;
  // Values that no list of rates contains.
  if (most > least + 2000 && allows(least + 1) && allows(middle | 1U) && allows(most - 1) && allows(least + 997)) {
    return {{static_cast<double>(least), static_cast<double>(most)}};
  }
  std::vector<AudioValueRange> rates;
  for (const std::uint32_t rate : usualPcmRates) {
    if (allows(rate)) rates.push_back({static_cast<double>(rate), static_cast<double>(rate)});
  }
  return rates;
}

std::uint32_t chooseChannels(snd_pcm_t* pcm, snd_pcm_hw_params_t* params, const ChannelLayout& client) {
  unsigned most = 0;
  if (snd_pcm_hw_params_get_channels_max(params, &most) < 0) return 0;
  most = std::min(most, 256U);  // a plug-in may report "any number"
  return ChannelMap::chooseChannels(client, most, [&](std::uint32_t channels) {
    return snd_pcm_hw_params_test_channels(pcm, params, channels) == 0;
  });
}

/// mmap if the hardware supports it: avoids a second copy and system calls to write.
int setAccess(snd_pcm_t* pcm, snd_pcm_hw_params_t* params, bool& usesMmap) {
  usesMmap = snd_pcm_hw_params_set_access(pcm, params, SND_PCM_ACCESS_MMAP_INTERLEAVED) == 0;
  return usesMmap ? 0 : snd_pcm_hw_params_set_access(pcm, params, SND_PCM_ACCESS_RW_INTERLEAVED);
}

int setRing(snd_pcm_t* pcm, snd_pcm_hw_params_t* params, std::uint32_t rate) {
  // The order matters to hardware with few period sizes: first the ring, then a period that divides it.
  snd_pcm_uframes_t ring = desiredRingFrames(rate);
  if (const int error = snd_pcm_hw_params_set_buffer_size_near(pcm, params, &ring); error < 0) return error;
  snd_pcm_uframes_t period = std::max<snd_pcm_uframes_t>(ring / periodsPerRing, 1);
  int direction = 0;
  return snd_pcm_hw_params_set_period_size_near(pcm, params, &period, &direction);
}

int setSoftwareParams(snd_pcm_t* pcm, const AlsaPcmSetup& setup) {
  const SwParams params;
  snd_pcm_uframes_t boundary = 0;
  int error = snd_pcm_sw_params_current(pcm, params);
  if (error >= 0) error = snd_pcm_sw_params_get_boundary(params, &boundary);
  // Started explicitly once the ring is full; stopped by the kernel when it runs dry.
  if (error >= 0) error = snd_pcm_sw_params_set_start_threshold(pcm, params, boundary);
  if (error >= 0) error = snd_pcm_sw_params_set_stop_threshold(pcm, params, setup.bufferFrames);
  if (error >= 0) error = snd_pcm_sw_params_set_avail_min(pcm, params, setup.periodFrames);
  // What has been played becomes silence at once: a ring that runs dry must not repeat old music.
  if (error >= 0) error = snd_pcm_sw_params_set_silence_threshold(pcm, params, 0);
  if (error >= 0) error = snd_pcm_sw_params_set_silence_size(pcm, params, boundary);
  return error >= 0 ? snd_pcm_sw_params(pcm, params) : error;
}

int readSetup(snd_pcm_hw_params_t* params, AlsaPcmSetup& setup) {
  int direction = 0;
  unsigned numerator = 0;
  unsigned denominator = 0;
  int error = snd_pcm_hw_params_get_rate_numden(params, &numerator, &denominator);
  // An exact rate or none: a driver may round a rate that it had announced.
  if (error >= 0 && std::uint64_t{setup.rate} * denominator != numerator) return -EINVAL;
  if (error >= 0) error = snd_pcm_hw_params_get_channels(params, &setup.channels);
  if (error >= 0) error = snd_pcm_hw_params_get_period_size(params, &setup.periodFrames, &direction);
  if (error >= 0) error = snd_pcm_hw_params_get_buffer_size(params, &setup.bufferFrames);
  if (error < 0) return error;
  setup.driverBits = std::max(0, snd_pcm_hw_params_get_sbits(params));
  setup.canPause = snd_pcm_hw_params_can_pause(params) == 1;
  return setup.bufferFrames > setup.periodFrames ? 0 : -EINVAL;
}

/// Opens the card's own PCM. Not by its name, "hw:0,0", which the configuration of a user or a system may redefine, as
/// a plug-in that changes samples. Any thread.
std::expected<snd_pcm_t*, int> openHardware(int card, unsigned device) {
  const std::string definition = fmt::format("pcm.hardware {{ type hw card {} device {} }}", card, device);
  snd_config_t* configuration = nullptr;
  int error = snd_config_top(&configuration);
  if (error < 0) return std::unexpected(error);
  snd_input_t* text = nullptr;
  error = snd_input_buffer_open(&text, definition.data(), static_cast<ssize_t>(definition.size()));
  if (error >= 0) error = snd_config_load(configuration, text);
  if (text != nullptr) snd_input_close(text);
  snd_pcm_t* handle = nullptr;
  if (error >= 0)
    error = snd_pcm_open_lconf(&handle, "hardware", SND_PCM_STREAM_PLAYBACK, SND_PCM_NONBLOCK, configuration);
  snd_config_delete(configuration);
  if (error < 0) return std::unexpected(error);
  return handle;
}

}  // namespace

snd_pcm_uframes_t desiredRingFrames(double rate) {
  return std::bit_ceil(static_cast<snd_pcm_uframes_t>(std::max(rate, 1.0) * ringSeconds));
}

std::uint32_t halfDrainFrames(snd_pcm_uframes_t ringFrames, snd_pcm_uframes_t periodFrames, double deviceRate,
                              double clientRate) {
  const auto half = static_cast<double>((ringFrames + std::max(periodFrames, fewestTrailingFrames)) / 2);
  return static_cast<std::uint32_t>(std::ceil(half * std::max(clientRate / deviceRate, 1.0)));
}

std::expected<std::shared_ptr<AlsaPcm>, int> AlsaPcm::open(std::shared_ptr<AlsaDeviceCalls> calls, int card,
                                                           unsigned device) {
  const auto handle = openHardware(card, device);
  if (!handle) return std::unexpected(handle.error());
  std::shared_ptr<AlsaPcm> pcm(new AlsaPcm(*handle, std::move(calls)));
  // Any other type may change samples, and nothing that is read from the card would show it.
  if (snd_pcm_type(*handle) != SND_PCM_TYPE_HW) return std::unexpected(-ENOTSUP);
  return pcm;
}

AlsaPcm::AlsaPcm(snd_pcm_t* handle, std::shared_ptr<AlsaDeviceCalls> calls)
    : handle_(handle), calls_(std::move(calls)) {
  snd_pcm_info_t* info = nullptr;
  if (snd_pcm_info_malloc(&info) < 0) return;
  if (snd_pcm_info(handle_, info) >= 0) {
    subdevice_ = snd_pcm_info_get_subdevice(info);
    subdeviceCount_ = std::max(1U, snd_pcm_info_get_subdevices_count(info));
  }
  snd_pcm_info_free(info);
}

AlsaPcm::~AlsaPcm() {
  calls_->close([handle = handle_] { snd_pcm_close(handle); }, kept_);
}

AlsaCapabilities AlsaPcm::capabilities() const {
  AlsaCapabilities result;
  const HwParams params;
  if (snd_pcm_hw_params_any(handle_, params) < 0) return result;
  snd_pcm_hw_params_set_rate_resample(handle_, params, 0);
  result.rates = allowedRates(handle_, params);
  snd_pcm_hw_params_get_channels_max(params, &result.maximumChannels);
  return result;
}

std::expected<AlsaPcmSetup, int> AlsaPcm::configure(const AlsaPcmRequest& request) {
  unconfigure();
  const HwParams params;
  AlsaPcmSetup setup;
  setup.rate = request.rate;
  int error = snd_pcm_hw_params_any(handle_, params);
  if (error >= 0) error = snd_pcm_hw_params_set_rate_resample(handle_, params, 0);
  if (error >= 0) error = setAccess(handle_, params, setup.usesMmap);
  if (error >= 0) error = snd_pcm_hw_params_set_rate(handle_, params, request.rate, 0);
  if (error < 0) return std::unexpected(error);

  const std::uint32_t channels = chooseChannels(handle_, params, request.channels);
  if (channels == 0) return std::unexpected(-EINVAL);
  error = snd_pcm_hw_params_set_channels(handle_, params, channels);
  // Queried last: some devices have their widest formats only at some rates.
  const auto layout =
      chooseProvenFormat(request.client, request.sourceBits, allowedFormats(handle_, params, channels, request));
  if (error < 0 || !layout) return std::unexpected(error < 0 ? error : -EINVAL);
  setup.layout = *layout;
  error = snd_pcm_hw_params_set_format(handle_, params, *alsaFormatFor(*layout));
  if (error >= 0) error = setRing(handle_, params, request.rate);
  if (error >= 0) error = snd_pcm_hw_params(handle_, params);
  if (error < 0) return std::unexpected(error);
  error = readSetup(params, setup);
  if (error >= 0) error = setSoftwareParams(handle_, setup);
  if (error < 0) {
    unconfigure();
    return std::unexpected(error);
  }
  setup.positions = settleChannelMap(handle_, request.channels, setup.channels);
  return setup;
}

void AlsaPcm::unconfigure() {
  if (snd_pcm_state(handle_) == SND_PCM_STATE_OPEN) return;
  snd_pcm_drop(handle_);
  snd_pcm_hw_free(handle_);
}

std::expected<std::shared_ptr<AlsaPcm>, OSStatus> openAlsaPcm(const std::shared_ptr<AlsaDeviceCalls>& calls, int card,
                                                              unsigned device) {
  auto opened = calls->run([calls, card, device] { return AlsaPcm::open(calls, card, device); });
  if (!opened) return std::unexpected(opened.error());
  if (!*opened) return std::unexpected(statusFromAlsaError(opened->error()));
  return **std::move(opened);
}

}  // namespace tolvane
