#include "tests/app/windowmanagers/XServer.h"

#include <poll.h>
#include <sys/wait.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace tolvane::test {

namespace {

struct FreeReply {
  void operator()(void* reply) const { std::free(reply); }
};
template <typename Type>
using Reply = std::unique_ptr<Type, FreeReply>;

constexpr std::uint8_t leftButton = 1;

}  // namespace

XServer::XServer() : connection_(xcb_connect(nullptr, nullptr)) {
  if (xcb_connection_has_error(connection_) != 0) throw std::runtime_error("There is no X server.");
  root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
  const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
  xcb_change_window_attributes(connection_, root_, XCB_CW_EVENT_MASK, &events);
  synchronise();
}

XServer::~XServer() { xcb_disconnect(connection_); }

void XServer::waitForWindowManager(pid_t pid) const {
  while (property(root_, "_NET_SUPPORTING_WM_CHECK").empty() || property(root_, "_NET_SUPPORTED").empty()) {
    if (::waitpid(pid, nullptr, WNOHANG) == pid) throw std::runtime_error("The window manager has ended.");
    if (xcb_connection_has_error(connection_) != 0) throw std::runtime_error("The X server is gone.");
    // The root window's properties change; now and then a look whether the process still lives.
    if (const Reply<xcb_generic_event_t> event(xcb_poll_for_event(connection_)); event) continue;
    pollfd change{xcb_get_file_descriptor(connection_), POLLIN, 0};
    ::poll(&change, 1, 1000);
  }
}

void XServer::movePointer(QPoint place) const { fake(XCB_MOTION_NOTIFY, 0, place); }

void XServer::pressButton() const { fake(XCB_BUTTON_PRESS, leftButton, {}); }

void XServer::releaseButton() const { fake(XCB_BUTTON_RELEASE, leftButton, {}); }

void XServer::fake(std::uint8_t type, std::uint8_t detail, QPoint place) const {
  xcb_test_fake_input(connection_, type, detail, XCB_CURRENT_TIME, root_, static_cast<std::int16_t>(place.x()),
                      static_cast<std::int16_t>(place.y()), 0);
  synchronise();
}

void XServer::synchronise() const {
  const Reply<void> answer(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
  if (!answer) throw std::runtime_error("The X server is gone.");
}

std::vector<std::uint32_t> XServer::property(xcb_window_t window, const char* name) const {
  const auto question = xcb_get_property(connection_, 0, window, atom(name), XCB_GET_PROPERTY_TYPE_ANY, 0, 1024);
  const Reply<xcb_get_property_reply_t> answer(xcb_get_property_reply(connection_, question, nullptr));
  if (!answer || answer->format != 32) return {};
  std::vector<std::uint32_t> values(answer->value_len);
  std::memcpy(values.data(), xcb_get_property_value(answer.get()), values.size() * sizeof(std::uint32_t));
  return values;
}

bool XServer::hasState(xcb_window_t window, const char* state) const {
  const auto states = property(window, "_NET_WM_STATE");
  return std::ranges::find(states, atom(state)) != states.end();
}

QRect XServer::geometryOf(xcb_window_t window) const {
  const auto place = xcb_translate_coordinates(connection_, window, root_, 0, 0);
  const auto size = xcb_get_geometry(connection_, window);
  const Reply<xcb_translate_coordinates_reply_t> origin(xcb_translate_coordinates_reply(connection_, place, nullptr));
  const Reply<xcb_get_geometry_reply_t> extent(xcb_get_geometry_reply(connection_, size, nullptr));
  if (!origin || !extent) throw std::runtime_error("There is no such window.");
  return {origin->dst_x, origin->dst_y, extent->width, extent->height};
}

QRect XServer::boundsOfOtherThan(std::uint32_t colour, int most) const {
  constexpr std::uint32_t besideTheScreen = 0;  // black
  return boundsWhere([colour](std::uint32_t seen) { return seen != colour && seen != besideTheScreen; }, most);
}

QRect XServer::boundsOf(std::uint32_t colour, int most) const {
  return boundsWhere([colour](std::uint32_t seen) { return seen == colour; }, most);
}

QRect XServer::boundsWhere(const std::function<bool(std::uint32_t)>& counts, int most) const {
  constexpr std::uint32_t colourBits = 0xFFFFFF;
  const auto size = xcb_get_geometry(connection_, root_);
  const Reply<xcb_get_geometry_reply_t> extent(xcb_get_geometry_reply(connection_, size, nullptr));
  if (!extent) throw std::runtime_error("The X server is gone.");
  const auto question = xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, root_, 0, 0, extent->width,
                                      extent->height, ~std::uint32_t{0});
  const Reply<xcb_get_image_reply_t> picture(xcb_get_image_reply(connection_, question, nullptr));
  if (!picture) throw std::runtime_error("The screen cannot be read.");
  const std::uint8_t* at = xcb_get_image_data(picture.get());
  std::vector<int> columns(extent->width);
  std::vector<int> rows(extent->height);
  for (std::size_t y = 0; y < rows.size(); ++y)
    for (std::size_t x = 0; x < columns.size(); ++x, at += sizeof(std::uint32_t)) {
      std::uint32_t pixel = 0;
      std::memcpy(&pixel, at, sizeof(pixel));
      if (!counts(pixel & colourBits)) continue;
      ++columns[x];
      ++rows[y];
    }
  const auto isFull = [most](int count) { return count > most; };
  const auto left = std::ranges::find_if(columns, isFull);
  const auto top = std::ranges::find_if(rows, isFull);
  if (left == columns.end() || top == rows.end()) return {};
  const auto right = std::find_if(columns.rbegin(), columns.rend(), isFull).base();
  const auto bottom = std::find_if(rows.rbegin(), rows.rend(), isFull).base();
  return {static_cast<int>(left - columns.begin()), static_cast<int>(top - rows.begin()),
          static_cast<int>(right - left), static_cast<int>(bottom - top)};
}

void XServer::ask(xcb_window_t window, const char* message, const std::vector<std::uint32_t>& values) const {
  send(root_, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT, window, message, values);
}

void XServer::setState(xcb_window_t window, const char* state, bool isSet) const {
  constexpr std::uint32_t fromAPager = 2;
  ask(window, "_NET_WM_STATE", {isSet ? 1U : 0U, atom(state), 0, fromAPager});
}

void XServer::sendMessage(xcb_window_t window, const char* message, std::uint32_t value) const {
  send(window, XCB_EVENT_MASK_NO_EVENT, window, message, {value});
}

void XServer::send(xcb_window_t to, std::uint32_t mask, xcb_window_t about, const char* message,
                   const std::vector<std::uint32_t>& values) const {
  xcb_client_message_event_t event{};
  event.response_type = XCB_CLIENT_MESSAGE;
  event.format = 32;
  event.window = about;
  event.type = atom(message);
  std::ranges::copy(values, event.data.data32);
  xcb_send_event(connection_, 0, to, mask, reinterpret_cast<const char*>(&event));
  synchronise();
}

xcb_atom_t XServer::atom(const char* name) const {
  const auto length = static_cast<std::uint16_t>(std::string_view(name).size());
  const Reply<xcb_intern_atom_reply_t> answer(
      xcb_intern_atom_reply(connection_, xcb_intern_atom(connection_, 0, length, name), nullptr));
  if (!answer) throw std::runtime_error("The X server is gone.");
  return answer->atom;
}

}  // namespace tolvane::test
