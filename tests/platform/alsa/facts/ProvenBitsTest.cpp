#include "platform/alsa/facts/ProvenBits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "platform/AudioHardware.h"
#include "platform/alsa/facts/AlsaFormats.h"
#include "platform/alsa/facts/AlsaProc.h"
#include "platform/alsa/facts/UsbSampleBits.h"

namespace tolvane {
namespace {

const PcmLayout s16 = integerLayout(16, 2);
const PcmLayout s24 = integerLayout(24, 4);
const PcmLayout s24packed = integerLayout(24, 3);
const PcmLayout s32 = integerLayout(32, 4);
const PcmLayout f32 = floatLayout(4);

constexpr std::uint32_t transports[] = {kAudioDeviceTransportTypeUnknown, kAudioDeviceTransportTypeBuiltIn,
                                        kAudioDeviceTransportTypeVirtual, kAudioDeviceTransportTypePCI,
                                        kAudioDeviceTransportTypeUSB,     kAudioDeviceTransportTypeFireWire,
                                        kAudioDeviceTransportTypeHDMI,    kAudioDeviceTransportTypeDisplayPort};

DepthEvidence on(std::uint32_t transport, const PcmLayout& container, int driverBits = 0) {
  return {container, transport, driverBits, std::nullopt, std::nullopt};
}

TEST(ProvenBits, TakeNoContainerForAProof) {
  for (const std::uint32_t transport : transports) {
    if (transport == kAudioDeviceTransportTypeVirtual) continue;
    for (const PcmLayout& container : {s24, s24packed, s32, f32}) {
      EXPECT_EQ(provenBits(on(transport, container)), std::nullopt) << transport << ' ' << layoutText(container);
      EXPECT_EQ(provenBits(on(transport, container, container.bits)), std::nullopt) << layoutText(container);
      EXPECT_EQ(provenBits(on(transport, container, 64)), std::nullopt) << layoutText(container);
    }
  }
}

TEST(ProvenBits, AreThoseOfAnHdAudioCodecWhateverTheContainer) {
  DepthEvidence evidence = on(kAudioDeviceTransportTypeBuiltIn, s32, 32);
  evidence.codecBits = parseHdaSignificantBits("Node 0x02 [Audio Output] wcaps\n    bits [0xe]: 16 20 24\n");
  EXPECT_EQ(provenBits(evidence), 24);
  evidence.container = s16;
  EXPECT_EQ(provenBits(evidence), 16);
  evidence.container = f32;
  EXPECT_EQ(provenBits(evidence), std::nullopt) << "bits of integers say nothing about floats";
}

TEST(ProvenBits, NameTheirProof) {
  DepthEvidence evidence = on(kAudioDeviceTransportTypeUSB, s32, 32);
  EXPECT_EQ(proofOfBits(evidence), "");
  evidence.usbDescriptorBits = 24;
  EXPECT_EQ(proofOfBits(evidence), "the USB descriptor");
  evidence.driverBits = 20;
  EXPECT_EQ(proofOfBits(evidence), "the driver") << "which proves fewer";
  EXPECT_EQ(proofOfBits(on(kAudioDeviceTransportTypePCI, s16)), "a 16-bit container, which is always used whole");
  EXPECT_EQ(proofOfBits(on(kAudioDeviceTransportTypeVirtual, s32)), "a virtual card, which has no converter");
  evidence = on(kAudioDeviceTransportTypePCI, s32, 32);
  evidence.codecBits = 24;
  EXPECT_EQ(proofOfBits(evidence), "the codec's output converters");
}

/// Every combination, against the rule written another way: collect what proves something, take the fewest bits.
TEST(ProvenBits, AreTheFewestThatAnythingProves) {
  const char* codecs[] = {nullptr,
                          "",
                          "Node 0x02 [Audio Output] wcaps\n    bits [0x2]: 16\n",
                          "Node 0x02 [Audio Output] wcaps\n    bits [0xe]: 16 20 24\n",
                          "Node 0x02 [Audio Output] wcaps\n    bits [0x1e]: 16 20 24 32\n",
                          "Node 0x02 [Audio Output] wcaps\n"};
  const std::optional<int> codecBits[] = {std::nullopt, std::nullopt, 16, 24, 32, 0};
  const std::optional<int> descriptors[] = {std::nullopt, 16, 20, 24, 32};
  int cases = 0;
  int unknown = 0;
  for (const std::uint32_t transport : transports) {
    for (const AlsaFormat& format : alsaFormats()) {
      for (int driverBits = 0; driverBits <= 33; ++driverBits) {
        for (std::size_t codec = 0; codec < std::size(codecs); ++codec) {
          for (const auto& descriptor : descriptors) {
            const bool isUsb = transport == kAudioDeviceTransportTypeUSB;
            DepthEvidence evidence = on(transport, format.layout, driverBits);
            if (codecs[codec] != nullptr) evidence.codecBits = parseHdaSignificantBits(codecs[codec]);
            if (descriptor) {
              const std::string text =
                  "Playback:\n  Status: Stop\n  Interface 1\n    Altset 1\n    Format: " + std::string(format.name) +
                  "\n    Channels: 2\n    Bits: " + std::to_string(*descriptor) + "\n";
              evidence.usbDescriptorBits = parseUsbSignificantBits(text, format.name, 2);
              ASSERT_EQ(evidence.usbDescriptorBits, descriptor);
            }
            ASSERT_EQ(evidence.codecBits, codecBits[codec]);

            const int width = format.layout.bits;
            std::vector<int> proofs;
            if (transport == kAudioDeviceTransportTypeVirtual) proofs.push_back(width);
            if (isUsb && descriptor) proofs.push_back(*descriptor);
            if (!format.layout.isFloat()) {
              if (!isUsb && codecBits[codec].value_or(0) > 0) proofs.push_back(*codecBits[codec]);
              if (driverBits > 0 && driverBits < width) proofs.push_back(driverBits);
              if (width <= 16) proofs.push_back(width);
            }
            std::optional<int> expected;
            if (!proofs.empty()) expected = std::min(width, *std::ranges::min_element(proofs));
            if (format.layout.isFloat() && expected != width) expected.reset();

            EXPECT_EQ(provenBits(evidence), expected) << transport << ' ' << format.name << ", driver " << driverBits;
            ++cases;
            unknown += !expected;
          }
        }
      }
    }
  }
  EXPECT_EQ(cases, static_cast<int>(std::size(transports) * alsaFormats().size() * 34 * 6 * 5));
  EXPECT_GT(unknown, 1000);
  EXPECT_GT(cases - unknown, 1000);
}

TEST(ProvenFormat, IsTheClientsOwnWhereThatIsProven) {
  const DeviceFormat formats[] = {{s32, 24}, {s16, 16}, {s24, 24}};
  EXPECT_EQ(chooseProvenFormat(s16, 16, formats), s16);
  EXPECT_EQ(chooseProvenFormat(s24, 24, formats), s24);
}

TEST(ProvenFormat, IsAProvenOneRatherThanTheClientsOwn) {
  const DeviceFormat formats[] = {{s24, std::nullopt}, {s32, 24}, {s16, 16}};
  EXPECT_EQ(chooseProvenFormat(s24, 24, formats), s32);
  EXPECT_EQ(chooseProvenFormat(s24, 0, formats), s32) << "an integer client says its depth by itself";
}

TEST(ProvenFormat, NeverDropsBitsToBeProven) {
  const DeviceFormat formats[] = {{s32, std::nullopt}, {s16, 16}};
  EXPECT_EQ(chooseProvenFormat(s24, 24, formats), s32);
  EXPECT_EQ(chooseProvenFormat(s32, 32, formats), s32);
  EXPECT_EQ(chooseProvenFormat(f32, 24, formats), s32) << "a decoded 24-bit track";
  EXPECT_EQ(chooseProvenFormat(f32, 0, formats), s32) << "a float of unknown depth";
}

TEST(ProvenFormat, CarriesADecodedTrackInAContainerWhoseBitsAreProven) {
  const DeviceFormat unprovenWide[] = {{s32, std::nullopt}, {s24, std::nullopt}, {s16, 16}};
  EXPECT_EQ(chooseProvenFormat(f32, 16, unprovenWide), s16);
  const DeviceFormat provenWide[] = {{s32, 24}, {s16, 16}};
  EXPECT_EQ(chooseProvenFormat(f32, 16, provenWide), s32) << "the widest of the proven ones";
  const DeviceFormat unprovenFloat[] = {{f32, std::nullopt}, {s32, 24}};
  EXPECT_EQ(chooseProvenFormat(f32, 24, unprovenFloat), s32);
  const DeviceFormat provenFloat[] = {{f32, 32}, {s32, 32}};
  EXPECT_EQ(chooseProvenFormat(f32, 24, provenFloat), f32);
  EXPECT_EQ(chooseProvenFormat(f32, 32, provenFloat), s32) << "a float holds 24 bits";
}

TEST(ProvenFormat, IsTheBestOfAllWhereNothingIsProven) {
  const DeviceFormat formats[] = {{s32, std::nullopt}, {s24, std::nullopt}};
  for (const PcmLayout& client : {s16, s24, s24packed, s32, f32}) {
    const PcmLayout layouts[] = {s32, s24};
    EXPECT_EQ(chooseProvenFormat(client, 0, formats), chooseDeviceFormat(client, layouts)) << layoutText(client);
  }
  EXPECT_EQ(chooseProvenFormat(s16, 16, {}), std::nullopt);
}

}  // namespace
}  // namespace tolvane
