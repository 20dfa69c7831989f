// A campaign's program: GoogleTest's own options, and --seed N and --hours H.

#include <gtest/gtest.h>

#include <charconv>
#include <cstdio>
#include <string_view>

#include "tests/engine/campaign/CampaignOptions.h"

namespace {

// Of the hours of an optimised build.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr double share = 1.0 / 26;  // a tenth of the speed or less
#elif !defined(NDEBUG)
constexpr double share = 1.0 / 5;
#else
constexpr double share = 1;
#endif

template <typename Number>
bool read(std::string_view text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

tolvane::CampaignOptions& tolvane::campaignOptions() {
  static CampaignOptions options;
  return options;
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  auto& options = tolvane::campaignOptions();
  options.hours = tolvane::usualCampaignHours() * share;
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
