#pragma once
// The program's messages in the user's language: gettext's catalogue of the domain "tolvane-player", for C++ and for
// QML.

#include <QTranslator>
#include <filesystem>

namespace tolvane {

/// The folder with LANG/LC_MESSAGES/tolvane-player.mo: "../share/locale" beside this program's folder, as it is in the
/// build tree and where the program is installed. Empty if the system does not say where the program is.
[[nodiscard]] std::filesystem::path translationsFolder();

/// Looks the language up in the environment, as gettext does (LANGUAGE, LC_ALL, LC_MESSAGES, LANG), and from now on
/// every text in this folder's catalogue of that language. Without one, everything is English. To be called before any
/// other thread starts, and after Qt has set the locale.
void useTranslations(const std::filesystem::path& folder);

/// What QML and Qt classes show, from the same catalogue. Window's thread.
class CatalogueTranslator final : public QTranslator {
 public:
  using QTranslator::QTranslator;
  [[nodiscard]] bool isEmpty() const override { return false; }
  /// A null text, which leaves the English one as it is, if there is no translation. The context does not matter: what
  /// reads the same in English reads the same in every language.
  [[nodiscard]] QString translate(const char* context, const char* sourceText, const char* disambiguation,
                                  int number) const override;
};

}  // namespace tolvane
