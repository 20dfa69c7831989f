#include "platform/SampleAlteration.h"

#include "platform/PrintableText.h"

namespace tolvane {
namespace {

/// Names and settings from other programs may be of any length; facts with usual names are half as long.
constexpr std::size_t longestFact = 400;  // bytes

std::string_view cutBetweenCharacters(std::string_view text, std::size_t most) {
  std::size_t length = 0;
  while (length < text.size()) {
    const std::size_t next = length + firstCharacter(text.substr(length)).length;
    if (next > most) break;
    length = next;
  }
  return text.substr(0, length);
}

std::string shortened(const std::string& fact) {
  return printableText(cutBetweenCharacters(fact, longestFact)) + (fact.size() > longestFact ? "…" : "");
}

}  // namespace

SampleAlteration::SampleAlteration(Kind itsKind, const BilingualText& fact, Cure cure)
    : kind(itsKind), detail(shortened(fact.english()), shortened(fact.shown())) {
  detail.add(inCatalogue(cure.sentence()));
}

SampleAlteration SampleAlteration::unreadable() {
  return {Kind::unknown, bilingual("The device cannot report whether it alters samples."),
          "Play the track again."_cure};
}

}  // namespace tolvane
