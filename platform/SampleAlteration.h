#pragma once
// One alteration of the samples between an output unit and the converter of its device. A value; player's thread.
// Device adapters report it, the verdict shows it: the detail is written for the user.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/BilingualText.h"

namespace tolvane {

/// What the user can do about an alteration: one full sentence, checked at compile time. If nothing can be done it says
/// so.
class Cure {
 public:
  consteval explicit Cure(std::string_view sentence) : sentence_(sentence) {
    if (!isSentence(sentence)) throw "a cure is one sentence, from a capital letter to the only full stop at its end";
  }
  [[nodiscard]] constexpr std::string_view sentence() const { return sentence_; }

  [[nodiscard]] static constexpr bool isSentence(std::string_view text) {
    if (text.size() < 2 || text.front() < 'A' || text.front() > 'Z' || text.back() != '.') return false;
    for (const char c : text)
      if (c < ' ' || c > '~') return false;
    return text.find(". ") == std::string_view::npos && !text.ends_with("..");
  }

 private:
  std::string_view sentence_;
};

/// "Unmute it."_cure: po/update collects it
consteval Cure operator""_cure(const char* text, std::size_t length) { return Cure(std::string_view(text, length)); }

struct SampleAlteration {
  enum class Kind : std::uint8_t {
    processed,  ///< a gain, a mute, dither, a filter, another program's samples added
    converted,  ///< resampling, remixing or reordering of channels
    unknown     ///< a stage that cannot be read, or whose effect the player does not know
  };

  /// `fact`: one full sentence with the stage and its value. Control characters that it quotes are replaced, and it is
  /// cut after 400 bytes.
  SampleAlteration(Kind itsKind, const BilingualText& fact, Cure cure);

  /// For a device whose report cannot be read.
  [[nodiscard]] static SampleAlteration unreadable();

  Kind kind;
  BilingualText detail;  ///< the fact and the cure

  bool operator==(const SampleAlteration&) const = default;
};

}  // namespace tolvane
