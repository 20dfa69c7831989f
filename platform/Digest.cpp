#include "platform/Digest.h"

#include <openssl/evp.h>

#include <array>

namespace tolvane {

struct Digest::State {
  struct Free {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
  };
  std::unique_ptr<EVP_MD_CTX, Free> context{EVP_MD_CTX_new()};
};

Digest::Digest(Algorithm algorithm) : state_(std::make_unique<State>()) {
  const EVP_MD* const kind = algorithm == Algorithm::md5 ? EVP_md5() : EVP_sha256();
  if (!state_->context || EVP_DigestInit_ex(state_->context.get(), kind, nullptr) != 1) state_.reset();
}

Digest::~Digest() = default;
Digest::Digest(Digest&&) noexcept = default;
Digest& Digest::operator=(Digest&&) noexcept = default;

void Digest::add(std::span<const std::byte> bytes) {
  if (state_ && EVP_DigestUpdate(state_->context.get(), bytes.data(), bytes.size()) != 1) state_.reset();
}

std::optional<std::vector<std::byte>> Digest::result() const {
  if (!state_) return std::nullopt;
  const State copy;
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int size = 0;
  if (!copy.context || EVP_MD_CTX_copy_ex(copy.context.get(), state_->context.get()) != 1 ||
      EVP_DigestFinal_ex(copy.context.get(), digest.data(), &size) != 1)
    return std::nullopt;
  const auto bytes = std::as_bytes(std::span(digest).first(size));
  return std::vector(bytes.begin(), bytes.end());
}

std::string hexText(std::span<const std::byte> bytes) {
  constexpr char digits[] = "0123456789abcdef";
  std::string text;
  for (const std::byte byte : bytes) {
    text += digits[std::to_integer<unsigned>(byte) >> 4U];
    text += digits[std::to_integer<unsigned>(byte) & 15U];
  }
  return text;
}

}  // namespace tolvane
