#pragma once
// The program's icon: for trays and task bars that do not find the installed one by its name. Window's thread.

#include <QIcon>

namespace tolvane {

[[nodiscard]] QIcon applicationIcon();

}  // namespace tolvane
