#pragma once
// How a failed expectation prints statuses, stream descriptions and property addresses.

#include <ostream>
#include <string>

#include "platform/AudioHardware.h"
#include "platform/BilingualText.h"
#include "platform/FileURL.h"

namespace tolvane {

// Found by argument-dependent look-up, hence in the types' own namespace.
void PrintTo(const AudioStreamBasicDescription& format, std::ostream* stream);
void PrintTo(const AudioObjectPropertyAddress& address, std::ostream* stream);
void PrintTo(const AudioValueRange& range, std::ostream* stream);
void PrintTo(const FileURL& url, std::ostream* stream);
void PrintTo(const BilingualText& text, std::ostream* stream);

namespace test {

/// "noErr", "'!hog' (560492391)" or "-10867".
[[nodiscard]] std::string statusText(OSStatus status);

}  // namespace test
}  // namespace tolvane
