#include "tools/ProbeOutput.h"

#include <cstdio>

namespace tolvane {

void ProbeOutput::print(const Json& line) {
  write(line);
  flush();
}

void ProbeOutput::write(const Json& line) {
  sawError_ = sawError_ || line.contains("error");
  const std::string text = line.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) sawError_ = true;
}

void ProbeOutput::flush() {
  if (std::fflush(stdout) != 0) sawError_ = true;
}

void describe(Json& line, const AudioStreamBasicDescription& format) {
  line["sampleRate"] = format.mSampleRate;
  line["formatFlags"] = format.mFormatFlags;
  line["bytesPerFrame"] = format.mBytesPerFrame;
  line["channels"] = format.mChannelsPerFrame;
  line["bitsPerChannel"] = format.mBitsPerChannel;
}

}  // namespace tolvane
