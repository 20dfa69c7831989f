#include "platform/BilingualText.h"

namespace tolvane {
namespace {

const Catalogue* theCatalogue = nullptr;  // set while there is one thread

}  // namespace

void setCatalogue(const Catalogue* catalogue) { theCatalogue = catalogue; }

void BilingualText::add(const BilingualText& part, std::string_view separator) {
  if (part.empty()) return;
  if (empty()) {
    *this = part;
    return;
  }
  *this = BilingualText((english() + std::string(separator)) + part.english(),
                        (shown() + std::string(separator)) + part.shown());
}

BilingualText inCatalogue(std::string_view english) { return {std::string(english), detail::found(english)}; }

namespace detail {

std::string found(std::string_view english) {
  const std::string source(english);
  // For gettext the empty text is the catalogue's own description.
  return theCatalogue == nullptr || source.empty() ? source : theCatalogue->text(source.c_str());
}

std::string found(std::string_view one, std::string_view many, unsigned long count) {
  const std::string singular(one);
  const std::string plural(many);
  if (theCatalogue == nullptr) return count == 1 ? singular : plural;
  return theCatalogue->plural(singular.c_str(), plural.c_str(), count);
}

std::string formatted(const std::string& translation, fmt::format_args values, const std::string& english) {
  try {
    return fmt::vformat(translation, values);
  } catch (const fmt::format_error&) {
    return english;
  }
}

}  // namespace detail
}  // namespace tolvane
