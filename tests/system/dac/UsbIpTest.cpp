#include "tests/system/dac/UsbIp.h"

#include <gmock/gmock.h>

namespace tolvane {
namespace {

/// Big-endian numbers, as they come over the wire.
Bytes wire(std::initializer_list<std::uint32_t> numbers) {
  Bytes bytes;
  for (const std::uint32_t number : numbers)
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(number >> shift));
  return bytes;
}

constexpr std::uint32_t kToDevice = 0;

/// Two packets of two bytes each for endpoint 1.
Bytes isochronousTransfer() {
  Bytes bytes = wire({1, 77, 0x10002, kToDevice, 1, 0, 4, 0, 2, 1, 0, 0});
  bytes.insert(bytes.end(), {0xaa, 0xbb, 0xcc, 0xdd});
  const Bytes packets = wire({0, 2, 0, 0, 2, 2, 0, 0});
  bytes.insert(bytes.end(), packets.begin(), packets.end());
  return bytes;
}

TEST(UsbIpReader, WaitsUntilARequestIsThereInFull) {
  const Bytes bytes = isochronousTransfer();
  for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
    UsbIpReader reader;
    reader.append(ByteSpan(bytes).first(cut));
    ASSERT_EQ(reader.next().value(), std::nullopt) << cut;
    reader.append(ByteSpan(bytes).subspan(cut));
    ASSERT_TRUE(reader.next().value()) << cut;
    ASSERT_EQ(reader.next().value(), std::nullopt) << cut;
  }
}

TEST(UsbIpReader, ReadsATransferAndItsPackets) {
  UsbIpReader reader;
  reader.append(isochronousTransfer());
  const auto request = std::get<UsbIpSubmit>(reader.next().value().value());
  EXPECT_EQ(request.sequence, 77);
  EXPECT_EQ(request.endpoint, 1);
  EXPECT_FALSE(request.isToHost);
  EXPECT_EQ(request.data, (Bytes{0xaa, 0xbb, 0xcc, 0xdd}));
  ASSERT_EQ(request.packets.size(), 2);
  EXPECT_EQ(request.packets[1].offset, 2);
  EXPECT_EQ(request.packets[1].length, 2);
}

TEST(UsbIpReader, ReadsACancellationBetweenTransfers) {
  UsbIpReader reader;
  reader.append(isochronousTransfer());
  reader.append(wire({2, 78, 0x10002, 0, 0, 77, 0, 0, 0, 0, 0, 0}));
  reader.append(isochronousTransfer());
  EXPECT_TRUE(std::holds_alternative<UsbIpSubmit>(reader.next().value().value()));
  EXPECT_EQ(std::get<UsbIpUnlink>(reader.next().value().value()).victim, 77);
  EXPECT_TRUE(std::holds_alternative<UsbIpSubmit>(reader.next().value().value()));
}

TEST(UsbIpReader, RefusesWhatIsNoRequest) {
  for (const Bytes& bytes :
       {wire({9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), wire({1, 0, 0, 0, 1, 0, 0xfffffff0, 0, 1, 0, 0, 0}),
        wire({1, 0, 0, 0, 1, 0, 4, 0, 0x10000000, 0, 0, 0})}) {
    UsbIpReader reader;
    reader.append(bytes);
    EXPECT_FALSE(reader.next());
  }
}

TEST(UsbIpReplies, SayWhatBecameOfATransfer) {
  UsbIpReplies replies;
  replies.submitted(77, -32, 0, {}, {});
  const Bytes wanted = wire({3, 77, 0, 0, 0, 0xffffffe0, 0, 0, 0, 0, 0, 0});
  EXPECT_THAT(replies.bytes(), ::testing::ElementsAreArray(wanted));
}

}  // namespace
}  // namespace tolvane
