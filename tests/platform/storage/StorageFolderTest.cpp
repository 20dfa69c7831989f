#include "platform/storage/StorageFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>

namespace tolvane {
namespace {

/// An environment variable while this lives; a null value takes it away.
class Variable {
 public:
  Variable(const char* name, const char* value) : name_(name) {
    if (const char* before = std::getenv(name)) before_ = before;
    set(value);
  }
  ~Variable() { set(before_ ? before_->c_str() : nullptr); }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  void set(const char* value) const {
    if (value != nullptr) {
      ::setenv(name_, value, 1);
    } else {
      ::unsetenv(name_);
    }
  }

  const char* name_;
  std::optional<std::string> before_;
};

TEST(StorageFolder, FollowsTheEnvironment) {
  struct Case {
    const char* data;
    const char* home;
    const char* folder;
  };
  for (const auto& [data, home, folder] : {Case{"/data", "/home/me", "/data/tolvane-player"},
                                           Case{nullptr, "/home/me", "/home/me/.local/share/tolvane-player"},
                                           Case{"", "/home/me", "/home/me/.local/share/tolvane-player"},
                                           Case{"not/absolute", "/home/me", "/home/me/.local/share/tolvane-player"}}) {
    const Variable dataVariable("XDG_DATA_HOME", data);
    const Variable homeVariable("HOME", home);
    EXPECT_EQ(storageFolder(), folder);
  }
}

TEST(StorageFolder, WhatCanBeMadeAgainIsApart) {
  struct Case {
    const char* cache;
    const char* home;
    const char* folder;
  };
  for (const auto& [cache, home, folder] : {Case{"/cache", "/home/me", "/cache/tolvane-player"},
                                            Case{nullptr, "/home/me", "/home/me/.cache/tolvane-player"},
                                            Case{"", "/home/me", "/home/me/.cache/tolvane-player"},
                                            Case{"not/absolute", "/home/me", "/home/me/.cache/tolvane-player"}}) {
    const Variable cacheVariable("XDG_CACHE_HOME", cache);
    const Variable homeVariable("HOME", home);
    EXPECT_EQ(cacheFolder(), folder);
  }
}

TEST(StorageFolder, IsAbsoluteAlsoWithoutAHomeInTheEnvironment) {
  const Variable data("XDG_DATA_HOME", nullptr);
  const Variable home("HOME", nullptr);
  EXPECT_TRUE(storageFolder().is_absolute());
}

}  // namespace
}  // namespace tolvane
