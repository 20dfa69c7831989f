#include "tools/ProbeOutput.h"

#include <fmt/format.h>

#include <cstdint>
#include <cstdio>

#include "engine/PlainWords.h"
#include "platform/Digest.h"
#include "platform/PrintableText.h"

namespace tolvane {
namespace {

/// Of a control character: up to three bytes of UTF-8.
std::uint32_t codePointOf(std::string_view character) {
  std::uint32_t code = static_cast<unsigned char>(character.front());
  if (character.size() > 1) code &= character.size() == 2 ? 0x1FU : 0x0FU;
  for (const char byte : character.substr(1)) code = code << 6U | (static_cast<unsigned char>(byte) & 0x3FU);
  return code;
}

}  // namespace

std::string jsonLine(const Json& value) {
  const std::string dumped = value.dump(-1, ' ', false, Json::error_handler_t::replace);
  std::string line;
  line.reserve(dumped.size());
  for (std::string_view rest = dumped; !rest.empty();) {
    const auto [length, isControl] = firstCharacter(rest);
    if (isControl)
      line += fmt::format("\\u{:04x}", codePointOf(rest.substr(0, length)));
    else
      line += rest.substr(0, length);
    rest.remove_prefix(length);
  }
  return line;
}

void ProbeOutput::print(const Json& line) {
  sawError_ = sawError_ || line.contains("error");
  writeLine(jsonLine(line) + '\n');
  flush();
}

void ProbeOutput::writeLine(std::string_view line) {
  if (std::fwrite(line.data(), 1, line.size(), stdout) != line.size()) sawError_ = true;
}

void ProbeOutput::printText(std::string_view text, bool isError) {
  sawError_ = sawError_ || isError;
  writeLine(text);
  flush();
}

void ProbeOutput::flush() {
  if (std::fflush(stdout) != 0) sawError_ = true;
}

void describe(Json& line, const FileURL& url) {
  line["url"] = url.absoluteString();
  const FileExcerpt* const part = url.excerpt();
  if (part == nullptr) return;
  line["firstSector"] = part->first;
  line["endSector"] = part->end ? Json(*part->end) : Json(nullptr);
  line["title"] = part->title;
}

void describe(Json& line, const DeliveryReport& report) {
  const auto hex = [](const std::optional<SampleSignature>& signature) {
    return signature ? Json(hexText(*signature)) : Json(nullptr);
  };
  line["url"] = report.url.absoluteString();
  line["result"] = resultName(report.result);
  line["reason"] = reasonName(report.reason);
  line["frames"] = report.frames;
  line["totalFrames"] = report.totalFrames;
  line["firstDifference"] = report.firstDifference ? Json(*report.firstDifference) : Json(nullptr);
  line["deliveredMD5"] = hex(report.delivered);
  line["storedMD5"] = hex(report.stored);
  line["detail"] = deliverySentence(report);
}

void describe(Json& line, const AudioStreamBasicDescription& format) {
  line["sampleRate"] = format.mSampleRate;
  line["formatFlags"] = format.mFormatFlags;
  line["bytesPerFrame"] = format.mBytesPerFrame;
  line["channels"] = format.mChannelsPerFrame;
  line["bitsPerChannel"] = format.mBitsPerChannel;
}

std::string plainly(const BitPerfectAudioPlayer& player, const AudioPathStatus& status) {
  const auto& path = player.signalPath().value();
  return plainWords(status, path ? path->cut : std::nullopt);
}

}  // namespace tolvane
