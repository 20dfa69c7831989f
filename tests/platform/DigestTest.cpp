#include "platform/Digest.h"

#include <gtest/gtest.h>

#include <string_view>

namespace tolvane {
namespace {

std::string digestOf(Digest::Algorithm algorithm, std::string_view text) {
  Digest digest(algorithm);
  const auto bytes = std::as_bytes(std::span(text));
  digest.add(bytes.first(bytes.size() / 2));
  (void)digest.result();  // in between
  digest.add(bytes.subspan(bytes.size() / 2));
  return hexText(digest.result().value_or(std::vector<std::byte>()));
}

/// RFC 1321, A.5, and FIPS 180-2, B.1.
TEST(DigestTest, AgreesWithThePublishedExamples) {
  EXPECT_EQ(digestOf(Digest::Algorithm::md5, ""), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(digestOf(Digest::Algorithm::md5, "message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
  EXPECT_EQ(digestOf(Digest::Algorithm::sha256, "abc"),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
}  // namespace tolvane
