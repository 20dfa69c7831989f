#pragma once
// Records from an ALSA capture PCM, such as the other end of a loopback card. Player's thread; a thread of its own
// reads while it records.

#include <alsa/asoundlib.h>

#include <memory>
#include <string>
#include <thread>

#include "platform/Recording.h"

namespace tolvane {

class AlsaRecording final : public Recording {
 public:
  /// `pcm` as ALSA names it: "hw:Loopback,1,0".
  explicit AlsaRecording(std::string pcm) : name_(std::move(pcm)) {}

  /// In the deepest format that the PCM has, integers first. The PCM must have the rate and the channels.
  std::expected<void, std::string> start(const Request& request) override;
  Frames stop() override;

 private:
  struct Close {
    void operator()(snd_pcm_t* pcm) const { snd_pcm_close(pcm); }
  };

  [[nodiscard]] int configure(snd_pcm_t* pcm, const Request& request);
  void read(const std::stop_token& stop);

  const std::string name_;
  std::unique_ptr<snd_pcm_t, Close> pcm_;
  Frames frames_;  ///< owned by the reading thread while it runs
  std::size_t maximumBytes_ = 0;
  std::jthread reader_;  ///< last: it ends before what it uses is destroyed
};

}  // namespace tolvane
