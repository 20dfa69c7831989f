#pragma once
// The probe's one way out: a JSON object a line on standard output, flushed at once so that a pipe sees it in time.

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "engine/BitPerfectAudioPlayer.h"
#include "engine/delivery/DeliveryReport.h"
#include "platform/AudioStreamBasicDescription.h"

namespace tolvane {

using Json = nlohmann::ordered_json;

/// One line of JSON. Control characters of texts, those included that JSON allows, are escaped: the line may be read on a
/// terminal. Text that is not UTF-8 is shown with replacement characters.
[[nodiscard]] std::string jsonLine(const Json& value);

class ProbeOutput {
 public:
  /// A line that carries `error` makes the exit status 1.
  void print(const Json& line);
  /// A finished line that carries no `error`, without a flush: for many that come at once.
  void writeLine(std::string_view line);
  void flush();
  /// Text of many lines. An error makes the exit status 1.
  void printText(std::string_view text, bool isError);

  [[nodiscard]] int exitStatus() const { return sawError_ ? 1 : 0; }

 private:
  bool sawError_ = false;
};

/// The members that describe what was delivered of a track.
void describe(Json& line, const DeliveryReport& report);
/// Where the track is; of a part of a file also which one, in sectors of 1/75 s, and what its CUE sheet calls it.
void describe(Json& line, const FileURL& url);

/// What the status, and the track that is loaded, mean in plain words; empty where there are none.
[[nodiscard]] std::string plainly(const BitPerfectAudioPlayer& player, const AudioPathStatus& status);

/// The members that describe a PCM layout.
void describe(Json& line, const AudioStreamBasicDescription& format);

}  // namespace tolvane
