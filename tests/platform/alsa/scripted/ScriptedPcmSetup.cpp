// What may be set up of a ScriptedPcm: the channels and formats that it offers, 44.1, 48, 88.2 and 96 kHz, its own
// ring, no mmap, no pause. In the place of alsa-lib's functions, like the rest of it.

#include <alsa/asoundlib.h>

#include <cerrno>

#include "tests/platform/alsa/scripted/ScriptedPcm.h"

namespace tolvane {
namespace {

// By the thread that sets it up.
unsigned chosenRate = 0;
unsigned offeredChannels = 2;
snd_pcm_format_t chosenFormat = SND_PCM_FORMAT_UNKNOWN;

int allowing(bool isAllowed) { return isAllowed ? 0 : -EINVAL; }
bool isRate(unsigned rate) { return rate == 44100 || rate == 48000 || rate == 88200 || rate == 96000; }

}  // namespace
}  // namespace tolvane

using tolvane::allowing;
using tolvane::ScriptedPcm;

extern "C" {

int snd_pcm_hw_params_any(snd_pcm_t* pcm, snd_pcm_hw_params_t* /*params*/) {
  tolvane::offeredChannels = reinterpret_cast<ScriptedPcm*>(pcm)->channels();
  return 0;
}
int snd_pcm_hw_params_set_rate_resample(snd_pcm_t* /*pcm*/, snd_pcm_hw_params_t* /*params*/, unsigned /*on*/) {
  return 0;
}
int snd_pcm_hw_params_set_access(snd_pcm_t* /*pcm*/, snd_pcm_hw_params_t* /*params*/, snd_pcm_access_t access) {
  return allowing(access == SND_PCM_ACCESS_RW_INTERLEAVED);
}

int snd_pcm_hw_params_get_rate_min(const snd_pcm_hw_params_t* /*params*/, unsigned* rate, int* /*direction*/) {
  *rate = 44100;
  return 0;
}
int snd_pcm_hw_params_get_rate_max(const snd_pcm_hw_params_t* /*params*/, unsigned* rate, int* /*direction*/) {
  *rate = 96000;
  return 0;
}
int snd_pcm_hw_params_test_rate(snd_pcm_t* /*pcm*/, snd_pcm_hw_params_t* /*params*/, unsigned rate, int /*direction*/) {
  return allowing(tolvane::isRate(rate));
}
int snd_pcm_hw_params_set_rate(snd_pcm_t* /*pcm*/, snd_pcm_hw_params_t* /*params*/, unsigned rate, int /*direction*/) {
  tolvane::chosenRate = rate;
  return allowing(tolvane::isRate(rate));
}
int snd_pcm_hw_params_get_rate_numden(const snd_pcm_hw_params_t* /*params*/, unsigned* numerator,
                                      unsigned* denominator) {
  *numerator = tolvane::chosenRate;
  *denominator = 1;
  return 0;
}

int snd_pcm_hw_params_get_channels_max(const snd_pcm_hw_params_t* /*params*/, unsigned* channels) {
  *channels = tolvane::offeredChannels;
  return 0;
}
int snd_pcm_hw_params_test_channels(snd_pcm_t* /*pcm*/, snd_pcm_hw_params_t* /*params*/, unsigned channels) {
  return allowing(channels == tolvane::offeredChannels);
}
int snd_pcm_hw_params_set_channels(snd_pcm_t* /*pcm*/, snd_pcm_hw_params_t* /*params*/, unsigned channels) {
  return allowing(channels == tolvane::offeredChannels);
}
int snd_pcm_hw_params_get_channels(const snd_pcm_hw_params_t* /*params*/, unsigned* channels) {
  *channels = tolvane::offeredChannels;
  return 0;
}

int snd_pcm_hw_params_set_format(snd_pcm_t* pcm, snd_pcm_hw_params_t* /*params*/, snd_pcm_format_t format) {
  tolvane::chosenFormat = format;
  return allowing(reinterpret_cast<ScriptedPcm*>(pcm)->offers(format));
}
int snd_pcm_hw_params_get_sbits(const snd_pcm_hw_params_t* /*params*/) {
  return snd_pcm_format_width(tolvane::chosenFormat);
}

int snd_pcm_hw_params_set_buffer_size_near(snd_pcm_t* /*pcm*/, snd_pcm_hw_params_t* /*params*/,
                                           snd_pcm_uframes_t* frames) {
  *frames = ScriptedPcm::ringFrames;
  return 0;
}
int snd_pcm_hw_params_set_period_size_near(snd_pcm_t* /*pcm*/, snd_pcm_hw_params_t* /*params*/,
                                           snd_pcm_uframes_t* frames, int* /*direction*/) {
  *frames = ScriptedPcm::periodFrames;
  return 0;
}
int snd_pcm_hw_params_get_buffer_size(const snd_pcm_hw_params_t* /*params*/, snd_pcm_uframes_t* frames) {
  *frames = ScriptedPcm::ringFrames;
  return 0;
}
int snd_pcm_hw_params_get_period_size(const snd_pcm_hw_params_t* /*params*/, snd_pcm_uframes_t* frames,
                                      int* /*direction*/) {
  *frames = ScriptedPcm::periodFrames;
  return 0;
}
int snd_pcm_hw_params_can_pause(const snd_pcm_hw_params_t* /*params*/) { return 0; }

int snd_pcm_hw_params(snd_pcm_t* pcm, snd_pcm_hw_params_t* /*params*/) {
  return reinterpret_cast<ScriptedPcm*>(pcm)->setUp(tolvane::chosenRate, tolvane::chosenFormat);
}
int snd_pcm_hw_free(snd_pcm_t* /*pcm*/) { return 0; }

int snd_pcm_sw_params_current(snd_pcm_t* /*pcm*/, snd_pcm_sw_params_t* /*params*/) { return 0; }
int snd_pcm_sw_params_get_boundary(const snd_pcm_sw_params_t* /*params*/, snd_pcm_uframes_t* boundary) {
  *boundary = ScriptedPcm::ringFrames << 20;
  return 0;
}
int snd_pcm_sw_params_set_start_threshold(snd_pcm_t* /*pcm*/, snd_pcm_sw_params_t* /*params*/, snd_pcm_uframes_t) {
  return 0;
}
int snd_pcm_sw_params_set_stop_threshold(snd_pcm_t* /*pcm*/, snd_pcm_sw_params_t* /*params*/, snd_pcm_uframes_t) {
  return 0;
}
int snd_pcm_sw_params_set_avail_min(snd_pcm_t* /*pcm*/, snd_pcm_sw_params_t* /*params*/, snd_pcm_uframes_t) {
  return 0;
}
int snd_pcm_sw_params_set_silence_threshold(snd_pcm_t* /*pcm*/, snd_pcm_sw_params_t* /*params*/, snd_pcm_uframes_t) {
  return 0;
}
int snd_pcm_sw_params_set_silence_size(snd_pcm_t* /*pcm*/, snd_pcm_sw_params_t* /*params*/, snd_pcm_uframes_t) {
  return 0;
}
int snd_pcm_sw_params(snd_pcm_t* /*pcm*/, snd_pcm_sw_params_t* /*params*/) { return 0; }

}  // extern "C"
