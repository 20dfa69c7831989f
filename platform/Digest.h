#pragma once
// Digests of data that arrives in pieces. One thread at a time. If the system's cryptography refuses an algorithm, as a
// hardened one may refuse MD5, there is no result.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tolvane {

class Digest {
 public:
  enum class Algorithm : std::uint8_t { md5, sha256 };

  explicit Digest(Algorithm algorithm);
  ~Digest();
  Digest(Digest&&) noexcept;
  Digest& operator=(Digest&&) noexcept;

  void add(std::span<const std::byte> bytes);
  /// The digest of all bytes so far, 16 or 32 bytes; nothing after a failure. More bytes may follow.
  [[nodiscard]] std::optional<std::vector<std::byte>> result() const;

 private:
  struct State;
  std::unique_ptr<State> state_;  ///< null after a failure
};

/// "d41d8cd9…"
[[nodiscard]] std::string hexText(std::span<const std::byte> bytes);

}  // namespace tolvane
