// The campaign's program: GoogleTest's own options, and --seed N and --hours H.

#include <gtest/gtest.h>

#include <charconv>
#include <cstdio>
#include <string_view>

#include "tests/engine/campaign/Campaign.h"

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr double usualHours = 400;  // a tenth of the speed or less
#elif !defined(NDEBUG)
constexpr double usualHours = 2000;
#else
constexpr double usualHours = 10400;
#endif

template <typename Number>
bool read(std::string_view text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  auto& options = tolvane::campaignOptions();
  options.hours = usualHours;
  for (int i = 1; i < argc; i += 2) {
    const std::string_view name = argv[i];
    const std::string_view value = i + 1 < argc ? argv[i + 1] : "";
    const bool isRead = name == "--seed"    ? read(value, options.seed)
                        : name == "--hours" ? read(value, options.hours)
                                            : false;
    if (isRead) continue;
    std::fprintf(stderr, "usage: %s [--seed N] [--hours H] [options of GoogleTest]\n", argv[0]);
    return 2;
  }
  return RUN_ALL_TESTS();
}
