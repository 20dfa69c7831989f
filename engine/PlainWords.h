#pragma once
// What went wrong, in one plain sentence for the user, beside the detail of PATH ERROR, which stays as it is. One
// table; pure functions for any thread.

#include <span>
#include <string>
#include <string_view>

#include "platform/AudioStatus.h"

namespace tolvane {

/// Of the detail of an AudioPathStatus of kind error; empty where there are no plainer words.
[[nodiscard]] std::string plainWords(std::string_view detail);

// The table, for its test.

struct PlainMessage {
  std::string_view message;
  std::string_view words;
};
struct PlainStatus {
  OSStatus status;
  std::string_view words;
};
[[nodiscard]] std::span<const PlainMessage> plainMessages();
/// Of stages that read a file, and of those that open or drive a device.
[[nodiscard]] std::span<const PlainStatus> plainFileStatuses();
[[nodiscard]] std::span<const PlainStatus> plainDeviceStatuses();

}  // namespace tolvane
