#pragma once
// A failure in one plain sentence for the user, shown beside the detail of PATH ERROR, which does not change. One
// table; pure functions for any thread.

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "engine/AudioPathStatus.h"
#include "engine/FailureContext.h"
#include "platform/AudioStatus.h"
#include "platform/BilingualText.h"
#include "platform/FileFinding.h"

namespace tolvane {

/// For the detail of an AudioPathStatus of kind error and its context; empty if there is no plainer sentence. A
/// sentence from the context takes precedence: "This is not a FLAC file: it begins like a WAV."
[[nodiscard]] BilingualText plainWords(std::string_view detail, const FailureContext& context = {});
/// For a status: why there is no path, or that the track on it is cut off; else empty.
[[nodiscard]] BilingualText plainWords(const AudioPathStatus& status, const std::optional<TrackCut>& cut = {});

/// "Another program has the device open: mpv (1234)."
[[nodiscard]] BilingualText plainOwner(const DeviceOwner& owner);

/// "The file is cut off after 3:12 of 4:05."
[[nodiscard]] BilingualText plainCut(const TrackCut& cut);

// The table, for its test.

struct PlainMessage {
  std::string_view message;
  std::string_view words;
};
struct PlainStatus {
  OSStatus status;
  std::string_view words;
};
struct PlainPlace {
  FilePlace place;
  std::string_view words;
};
struct PlainContent {
  FileContent content;
  std::string_view name;    ///< with its article: "a WAV"
  std::string_view format;  ///< AudioFormat::name if it is supported; else empty
};
[[nodiscard]] std::span<const PlainMessage> plainMessages();
[[nodiscard]] std::span<const PlainPlace> plainPlaces();
[[nodiscard]] std::span<const PlainContent> plainContents();
/// For stages that read a file, and for those that open or drive a device.
[[nodiscard]] std::span<const PlainStatus> plainFileStatuses();
[[nodiscard]] std::span<const PlainStatus> plainDeviceStatuses();

}  // namespace tolvane
