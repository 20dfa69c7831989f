#include "platform/ProcessName.h"

#include <fstream>
#include <iterator>

namespace tolvane {

std::string readProcessName(pid_t process, const std::string& processes) {
  std::ifstream file(processes + '/' + std::to_string(process) + "/comm");
  std::string name{std::istreambuf_iterator<char>(file), {}};
  if (name.ends_with('\n')) name.pop_back();
  return name;
}

bool isSoundServer(pid_t process, const std::string& processes) {
  return readProcessName(process, processes) == "pipewire";
}

}  // namespace tolvane
