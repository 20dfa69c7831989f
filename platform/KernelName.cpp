#include "platform/KernelName.h"

#include <sys/utsname.h>

namespace tolvane {

std::string kernelName() {
  utsname names{};
  return uname(&names) == 0 ? std::string(names.sysname) + ' ' + names.release : "not known";
}

}  // namespace tolvane
