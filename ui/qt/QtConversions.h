#pragma once
// Between the program's values and Qt's. Pure functions.

#include <QColor>
#include <QString>
#include <QUrl>
#include <concepts>
#include <string_view>
#include <vector>

#include "platform/BilingualText.h"
#include "platform/FileURL.h"
#include "ui/Theme.h"

namespace tolvane {

/// Bytes that are not UTF-8 show as replacement characters.
[[nodiscard]] QString toQString(std::string_view text);
/// In the user's language.
template <std::same_as<BilingualText> Text>
[[nodiscard]] QString toQString(const Text& text) {
  return toQString(std::string_view(text.shown()));
}
[[nodiscard]] QColor toQColor(const ThemeColor& color);

/// The bytes of the path as the URL spells them, also those that are not UTF-8. Left out: what is no file of this
/// machine.
[[nodiscard]] std::vector<FileURL> fileURLs(const QList<QUrl>& urls);

}  // namespace tolvane
