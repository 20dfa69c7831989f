#include "tests/support/Printers.h"

#include <algorithm>

#include "platform/FourCharText.h"

namespace tolvane {

void PrintTo(const AudioStreamBasicDescription& format, std::ostream* stream) {
  *stream << format.mSampleRate << " Hz, '" << fourCharText(format.mFormatID) << "', flags " << format.mFormatFlags
          << ", " << format.mBytesPerPacket << " bytes/packet, " << format.mFramesPerPacket << " frames/packet, "
          << format.mBytesPerFrame << " bytes/frame, " << format.mChannelsPerFrame << " channels, "
          << format.mBitsPerChannel << " bits";
}

void PrintTo(const AudioObjectPropertyAddress& address, std::ostream* stream) {
  *stream << "'" << fourCharText(address.mSelector) << "' '" << fourCharText(address.mScope) << "' "
          << address.mElement;
}

void PrintTo(const AudioValueRange& range, std::ostream* stream) {
  *stream << range.mMinimum << " … " << range.mMaximum << " Hz";
}

void PrintTo(const BilingualText& text, std::ostream* stream) { *stream << '"' << text.english() << '"'; }

void PrintTo(const FileURL& url, std::ostream* stream) { *stream << url.absoluteString(); }

namespace test {

std::string statusText(OSStatus status) {
  if (status == noErr) return "noErr";
  const std::string code = fourCharText(static_cast<FourCharCode>(status));
  const auto number = std::to_string(status);
  return std::ranges::find(code, '.') == code.end() ? "'" + code + "' (" + number + ")" : number;
}

}  // namespace test
}  // namespace tolvane
