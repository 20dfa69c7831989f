#pragma once
// Selects the dialogs that open files and folders: those of the desktop's portal where it has them, because Qt's own
// take one file at a time and have no bookmarks. Window's thread; waits for the portal no longer than the given limit.

#include <QDBusConnection>
#include <chrono>

namespace tolvane {

/// Whether a portal on this bus lets one choose files, and folders as well.
[[nodiscard]] bool portalOpensFiles(const QDBusConnection& bus,
                                    std::chrono::milliseconds limit = std::chrono::seconds(3));

/// Has Qt ask the portal of this session, unless other dialogs have been named. REQUIRES: no application object yet.
void preferPortalDialogs();

}  // namespace tolvane
