#include "tests/system/dac/VirtualPort.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

namespace tolvane {
namespace {

const std::string kController = "/sys/devices/platform/vhci_hcd.0/";
constexpr int kBufferBytes = 1 << 20;
constexpr int kHighSpeed = 3;
constexpr std::chrono::milliseconds kLook{20};
constexpr int kLooks = 250;  // five seconds: a port that was pulled is freed by a worker of the kernel

/// A free high-speed port, or that one, once it is free.
std::optional<int> freePort(int wanted) {
  std::ifstream status(kController + "status");
  for (std::string line; std::getline(status, line);) {
    std::istringstream fields(line);
    std::string hub;
    int port = -1, state = -1;
    constexpr int kFree = 4;
    if (fields >> hub >> port >> state && hub == "hs" && state == kFree && (wanted < 0 || wanted == port)) return port;
  }
  return std::nullopt;
}

bool writeAttach(int port, int socket) {
  const int deviceId = 0x10002 + port;
  std::ofstream attach(kController + "attach");
  attach << port << ' ' << socket << ' ' << deviceId << ' ' << kHighSpeed << std::flush;
  return static_cast<bool>(attach);
}

}  // namespace

std::expected<void, std::string> VirtualPort::plugIn() {
  if (isPluggedIn()) return {};
  if (!std::ifstream(kController + "status")) return std::unexpected("no virtual host controller: modprobe vhci-hcd");
  std::optional<int> port = freePort(port_);
  for (int look = 0; !port && look < kLooks; ++look) {
    std::this_thread::sleep_for(kLook);
    port = freePort(port_);
  }
  if (!port) return std::unexpected("no port of the virtual host controller is free");
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
    return std::unexpected(std::string("no socket: ") + std::strerror(errno));
  for (const int end : ends) setsockopt(end, SOL_SOCKET, SO_SNDBUF, &kBufferBytes, sizeof kBufferBytes);
  const bool isAttached = writeAttach(*port, ends[1]);
  close(ends[1]);  // the kernel holds its own reference
  if (!isAttached) {
    close(ends[0]);
    return std::unexpected("the virtual host controller takes no device");
  }
  socket_ = ends[0];
  port_ = *port;
  buffer_.resize(kBufferBytes);
  return {};
}

void VirtualPort::pull() {
  if (socket_ >= 0) close(socket_);
  socket_ = -1;
}

std::optional<ByteSpan> VirtualPort::receive() {
  const ssize_t count = recv(socket_, buffer_.data(), buffer_.size(), MSG_DONTWAIT);
  if (count > 0) return ByteSpan(buffer_).first(static_cast<std::size_t>(count));
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return ByteSpan();
  return std::nullopt;
}

bool VirtualPort::send(ByteSpan bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace tolvane
