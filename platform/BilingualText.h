#pragma once
// Texts for the user in English and in the user's language. The English one is the text's identity: records,
// comparisons, logs, reports and the probe's output have it. The other one is what the window shows. This header knows
// of no catalogue: the program names one at its start, and without it both texts are the same. po/update collects what
// is marked here.

#include <fmt/format.h>

#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace tolvane {

/// Where translations are looked up, as gettext and ngettext do: what has no translation comes back as it is. Any
/// thread.
struct Catalogue {
  const char* (*text)(const char* english);
  const char* (*plural)(const char* one, const char* many, unsigned long count);
};

/// From now on, for all threads: call it before any other thread starts. Null: everything is English.
void setCatalogue(const Catalogue* catalogue);

/// A std::string in English, with its translation. Where one becomes a std::string, the English text is left.
class BilingualText : public std::string {
 public:
  BilingualText() = default;
  /// The same in both languages: names, figures, and texts from outside.
  BilingualText(std::string text) : std::string(std::move(text)) {}  // NOLINT(google-explicit-constructor)
  BilingualText(std::string_view text) : std::string(text) {}        // NOLINT(google-explicit-constructor)
  BilingualText(const char* text) : std::string(text) {}             // NOLINT(google-explicit-constructor)
  BilingualText(std::string english, std::string shown)
      : std::string(std::move(english)), shown_(std::move(shown)), isTranslated_(shown_ != this->english()) {}

  [[nodiscard]] const std::string& english() const { return *this; }
  [[nodiscard]] const std::string& shown() const { return isTranslated_ ? shown_ : english(); }
  [[nodiscard]] bool isTranslated() const { return isTranslated_; }

  /// Appends a part; the separator stands only between two that are not empty.
  void add(const BilingualText& part, std::string_view separator = " ");
  void clear() { *this = {}; }

  // These would change the English text alone.
  template <typename Part>
  BilingualText& operator+=(const Part&) = delete;
  template <typename... Parts>
  BilingualText& append(const Parts&...) = delete;

 private:
  std::string shown_;  ///< unless it is the same
  bool isTranslated_ = false;
};

template <typename Part>
std::string operator+(const BilingualText&, const Part&) = delete;
template <typename Part>
std::string operator+(const Part&, const BilingualText&) = delete;

/// Marks a text that is translated elsewhere, with inCatalogue().
[[nodiscard]] constexpr std::string_view toTranslate(std::string_view english) { return english; }

/// A whole text that was marked elsewhere; one that the catalogue does not have is the same in both languages.
[[nodiscard]] BilingualText inCatalogue(std::string_view english);

namespace detail {

template <typename Value>
using Formatted = std::conditional_t<std::is_same_v<Value, BilingualText>, std::string, Value>;
template <typename... Values>
using Format = std::type_identity_t<fmt::format_string<const Formatted<Values>&...>>;

template <typename Value>
const Value& inEnglish(const Value& value) {
  return value;
}
inline const std::string& inEnglish(const BilingualText& value) { return value.english(); }
template <typename Value>
const Value& asShown(const Value& value) {
  return value;
}
inline const std::string& asShown(const BilingualText& value) { return value.shown(); }

/// The literal.
[[nodiscard]] inline std::string_view textOf(fmt::string_view format) { return {format.data(), format.size()}; }

[[nodiscard]] std::string found(std::string_view english);
[[nodiscard]] std::string found(std::string_view one, std::string_view many, unsigned long count);
/// `translation` with its values; a translation whose placeholders do not fit gives `english` instead.
[[nodiscard]] std::string formatted(const std::string& translation, fmt::format_args values,
                                    const std::string& english);

template <typename... Values>
BilingualText both(std::string_view source, const std::string& translation, const Values&... values) {
  std::string english = fmt::format(fmt::runtime(source), inEnglish(values)...);
  std::string shown = formatted(translation, fmt::make_format_args(asShown(values)...), english);
  return {std::move(english), std::move(shown)};
}

}  // namespace detail

/// `bilingual("{} of {}", 2, 17)`: a literal for fmt, its values filled into the text and into its translation.
template <typename... Values>
[[nodiscard]] BilingualText bilingual(detail::Format<Values...> english, const Values&... values) {
  const std::string_view source = detail::textOf(english);
  return detail::both(source, detail::found(source), values...);
}

/// `bilingualPlural("{} track", "{} tracks", n, n)`: which of the forms depends on `count`, and on the language.
template <typename... Values>
[[nodiscard]] BilingualText bilingualPlural(detail::Format<Values...> one, detail::Format<Values...> many,
                                            unsigned long count, const Values&... values) {
  const std::string_view source = detail::textOf(count == 1 ? one : many);
  return detail::both(source, detail::found(detail::textOf(one), detail::textOf(many), count), values...);
}

/// The same, for what is only shown.
template <typename... Values>
[[nodiscard]] std::string translate(detail::Format<Values...> english, const Values&... values) {
  return bilingual<Values...>(english, values...).shown();
}
template <typename... Values>
[[nodiscard]] std::string translatePlural(detail::Format<Values...> one, detail::Format<Values...> many,
                                          unsigned long count, const Values&... values) {
  return bilingualPlural<Values...>(one, many, count, values...).shown();
}

}  // namespace tolvane
