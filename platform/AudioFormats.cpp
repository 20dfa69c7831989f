#include "platform/AudioFormats.h"

#include <algorithm>
#include <cctype>

namespace tolvane {

namespace {

auto losslessFirst() {
  auto formats = audioFormats;
  std::ranges::stable_partition(formats, &AudioFormat::isLossless);
  return formats;
}

std::string inUpperCase(std::string_view text) {
  std::string upper(text);
  std::ranges::transform(upper, upper.begin(), [](unsigned char letter) { return std::toupper(letter); });
  return upper;
}

}  // namespace

std::string audioFormatNames(std::string_view conjunction) {
  std::string text;
  const auto formats = losslessFirst();
  for (const AudioFormat& format : formats) {
    if (!text.empty()) text += &format == &formats.back() ? ' ' + std::string(conjunction) + ' ' : ", ";
    text += format.name;
  }
  return text;
}

std::vector<std::string> audioFormatLabels() {
  std::vector<std::string> labels;
  for (const AudioFormat& format : losslessFirst()) {
    labels.emplace_back(format.name);
    for (const std::string_view extension : format.extensions)
      if (const std::string label = inUpperCase(extension); !label.empty() && label != format.name)
        labels.push_back(label);
  }
  return labels;
}

}  // namespace tolvane
