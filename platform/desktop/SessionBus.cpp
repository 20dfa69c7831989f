#include "platform/desktop/SessionBus.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

namespace tolvane {
namespace {

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

/// Decodes "%2f" and the like; everything else is kept unchanged.
std::string unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t at = 0; at < text.size(); ++at) {
    unsigned value = 0;
    const char* digits = text.data() + at + 1;
    if (text[at] == '%' && at + 2 < text.size() && std::from_chars(digits, digits + 2, value, 16).ptr == digits + 2) {
      plain += static_cast<char>(value);
      at += 2;
    } else {
      plain += text[at];
    }
  }
  return plain;
}

struct SocketAddress {
  sockaddr_un address{};
  socklen_t length = 0;
};

/// The socket that one entry of an address list names ("unix:path=/run/user/1000/bus,guid=…").
std::optional<SocketAddress> socketOf(std::string_view entry) {
  constexpr std::string_view transport = "unix:";
  if (!entry.starts_with(transport)) return std::nullopt;
  for (std::string_view rest = entry.substr(transport.size()); !rest.empty();) {
    const std::string_view pair = rest.substr(0, rest.find(','));
    rest.remove_prefix(std::min(rest.size(), pair.size() + 1));
    const std::string_view key = pair.substr(0, pair.find('='));
    if (key != "path" && key != "abstract") continue;
    const std::string name =
        (key == "abstract" ? std::string(1, '\0') : "") + unescaped(pair.substr(std::min(pair.size(), key.size() + 1)));
    SocketAddress result;
    if (name.size() >= sizeof result.address.sun_path) return std::nullopt;
    result.address.sun_family = AF_UNIX;
    std::memcpy(result.address.sun_path, name.data(), name.size());
    result.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    return result;
  }
  return std::nullopt;
}

/// Sends a client's greeting; any answer will do.
bool answers(const SocketAddress& place, std::chrono::milliseconds limit) {
  const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) return false;
  const auto* address = reinterpret_cast<const sockaddr*>(&place.address);
  constexpr std::string_view greeting("\0AUTH\r\n", 7);
  bool answered = false;
  if (::connect(descriptor, address, place.length) == 0 &&
      ::send(descriptor, greeting.data(), greeting.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(greeting.size())) {
    pollfd waiting{descriptor, POLLIN, 0};
    char byte = 0;
    answered = ::poll(&waiting, 1, static_cast<int>(limit.count())) == 1 && ::recv(descriptor, &byte, 1, 0) == 1;
  }
  ::close(descriptor);
  return answered;
}

}  // namespace

std::string sessionBusAddress() {
  if (std::string address = environment("DBUS_SESSION_BUS_ADDRESS"); !address.empty()) return address;
  const std::string path = environment("XDG_RUNTIME_DIR") + "/bus";
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode) ? "unix:path=" + path : "";
}

bool busAnswers(const std::string& address, std::chrono::milliseconds limit) {
  for (std::string_view rest = address; !rest.empty();) {
    const std::string_view entry = rest.substr(0, rest.find(';'));
    rest.remove_prefix(std::min(rest.size(), entry.size() + 1));
    const auto place = socketOf(entry);
    const bool isElsewhere =
        entry.starts_with("tcp:") || entry.starts_with("nonce-tcp:") || entry.starts_with("unixexec:");
    if (isElsewhere || (place && answers(*place, limit))) return true;
  }
  return false;
}

}  // namespace tolvane
