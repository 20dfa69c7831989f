#pragma once
// A socket that takes connections and never answers, as a bus that hangs. Any thread; gone with the object.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace tolvane::test {

class SilentSocket {
 public:
  explicit SilentSocket(const std::string& path) : descriptor_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(::listen(descriptor_, 8), 0);
  }
  ~SilentSocket() { ::close(descriptor_); }
  SilentSocket(const SilentSocket&) = delete;
  SilentSocket& operator=(const SilentSocket&) = delete;

 private:
  int descriptor_;
};

}  // namespace tolvane::test
