#include "app/Compositing.h"

#include <QGuiApplication>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

#if QT_CONFIG(xcb)
#include <xcb/xcb.h>
#endif

namespace tolvane {

bool isComposited() {
#if QT_CONFIG(xcb)
  // Off the screen Qt has this interface, too, and no connection behind it.
  const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  if (x11 == nullptr || QGuiApplication::platformName() != QLatin1String("xcb")) return true;
  struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
  };
  auto* connection = x11->connection();
  if (connection == nullptr) return true;
  constexpr std::string_view name = "_NET_WM_CM_S0";  // held by the compositor of the first screen
  const auto question = xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.data());
  const std::unique_ptr<xcb_intern_atom_reply_t, FreeReply> atom(xcb_intern_atom_reply(connection, question, nullptr));
  if (!atom) return true;
  const std::unique_ptr<xcb_get_selection_owner_reply_t, FreeReply> owner(
      xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, atom->atom), nullptr));
  return !owner || owner->owner != XCB_NONE;
#else
  return true;
#endif
}

}  // namespace tolvane
