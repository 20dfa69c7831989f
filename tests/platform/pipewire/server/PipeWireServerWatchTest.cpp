#include "platform/pipewire/server/PipeWireServerWatch.h"

#include <gtest/gtest.h>

#include <map>

namespace tolvane {
namespace {

TEST(PipeWireSocket, isWhereTheEnvironmentSays) {
  using Variables = std::map<std::string, std::string>;
  const struct {
    Variables variables;
    const char* path;
  } rows[] = {
      {{}, ""},
      {{{"XDG_RUNTIME_DIR", "/run/user/1"}}, "/run/user/1/pipewire-0"},
      {{{"XDG_RUNTIME_DIR", "/run/user/1"}, {"PIPEWIRE_RUNTIME_DIR", "/run/pw"}}, "/run/pw/pipewire-0"},
      {{{"XDG_RUNTIME_DIR", "/run/user/1"}, {"PIPEWIRE_REMOTE", "other"}}, "/run/user/1/other"},
      {{{"PIPEWIRE_REMOTE", "/run/shared/socket"}}, "/run/shared/socket"},
      {{{"PIPEWIRE_REMOTE", "other"}}, ""},
  };
  for (const auto& row : rows) {
    const auto variable = [&row](const char* name) {
      const auto found = row.variables.find(name);
      return found == row.variables.end() ? std::string() : found->second;
    };
    EXPECT_EQ(pipeWireSocketPath(variable), row.path);
  }
}

}  // namespace
}  // namespace tolvane
