#include "tools/ProbeOutput.h"

#include <cstdio>

namespace tolvane {

void ProbeOutput::print(const Json& line) {
  sawError_ = sawError_ || line.contains("error");
  writeLine(line.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n');
  flush();
}

void ProbeOutput::writeLine(std::string_view line) {
  if (std::fwrite(line.data(), 1, line.size(), stdout) != line.size()) sawError_ = true;
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
