#include "app/Translations.h"

#include <libintl.h>

#include <clocale>
#include <string_view>
#include <system_error>

#include "platform/BilingualText.h"

namespace tolvane {
namespace {

constexpr const char* domain = "tolvane-player";

constexpr Catalogue gettextCatalogue{
    .text = [](const char* english) -> const char* { return ::dgettext(domain, english); },
    .plural = [](const char* one, const char* many, unsigned long count) -> const char* {
      return ::dngettext(domain, one, many, count);
    }};

}  // namespace

std::filesystem::path translationsFolder() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::filesystem::path() : program.parent_path().parent_path() / "share" / "locale";
}

void useTranslations(const std::filesystem::path& folder) {
  if (folder.empty()) return;
  // Without a language of its own, or with one that is not installed, the locale is "C", in which gettext translates
  // nothing.
  std::setlocale(LC_MESSAGES, "");
  ::bindtextdomain(domain, folder.c_str());
  ::bind_textdomain_codeset(domain, "UTF-8");
  setCatalogue(&gettextCatalogue);
}

QString CatalogueTranslator::translate(const char* /*context*/, const char* sourceText, const char* /*disambiguation*/,
                                       int /*number*/) const {
  const BilingualText text = inCatalogue(sourceText == nullptr ? std::string_view() : std::string_view(sourceText));
  return text.isTranslated() ? QString::fromStdString(text.shown()) : QString();
}

}  // namespace tolvane
