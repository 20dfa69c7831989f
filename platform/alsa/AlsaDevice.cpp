#include "platform/alsa/AlsaDevice.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/alsa/AlsaFormats.h"
#include "platform/alsa/AlsaMixer.h"
#include "platform/alsa/AlsaStatus.h"
#include "platform/alsa/AlsaUsbStream.h"
#include "platform/alsa/ProvenBits.h"

namespace tolvane {
namespace {

constexpr double usualRate = 48000;
constexpr std::uint32_t buffersBeforeOpening = 512;

/// The nominal rate as the kernel counts it; 0 when it is no whole number of hertz.
std::uint32_t wholeRate(double rate) {
  if (!(rate >= 1) || rate > 10'000'000 || std::fabs(rate - std::round(rate)) > 1e-6) return 0;
  return static_cast<std::uint32_t>(std::lround(rate));
}

}  // namespace

AlsaDevice::AlsaDevice(AlsaDeviceInfo info, AudioObjectID id, AudioObjectID streamId, const System& system)
    : info_(std::move(info)),
      id_(id),
      streamId_(streamId),
      system_(system),
      claim_({info_.card, info_.device, info_.name}, system.paths, system.runLoop, system.reservation),
      lastOwner_(hogOwner()) {}

std::expected<std::shared_ptr<AlsaPcm>, OSStatus> AlsaDevice::openPcm() const {
  if (claim_.isReservedByAnother()) return std::unexpected(kAudioDevicePermissionsError);
  auto pcm = AlsaPcm::open(info_.card, info_.device);
  if (!pcm) return std::unexpected(statusFromAlsaError(pcm.error()));
  return *std::move(pcm);
}

/// A substream that is open in this process already.
std::shared_ptr<AlsaPcm> AlsaDevice::heldPcm() const {
  if (auto pcm = unitPcm_.lock()) return pcm;
  return claim_.pcm();
}

const AlsaCapabilities* AlsaDevice::capabilities() {
  if (!capabilities_) {
    auto pcm = heldPcm();
    if (!pcm) {
      auto opened = openPcm();
      probeStatus_ = opened ? noErr : opened.error();
      if (!opened) return nullptr;
      pcm = *std::move(opened);
    }
    capabilities_ = pcm->capabilities();
  }
  return &*capabilities_;
}

std::expected<double, OSStatus> AlsaDevice::nominalRate() {
  if (unitSetup_) return unitSetup_->rate;
  if (chosenRate_) return *chosenRate_;
  for (const AlsaSubstream& substream : readSubstreams(system_.paths, info_.card, info_.device)) {
    if (substream.hwParams) return substream.hwParams->rate;
  }
  const AlsaCapabilities* can = capabilities();
  if (can == nullptr) return std::unexpected(probeStatus_);
  if (can->rates.empty()) return std::unexpected(kAudioHardwareUnspecifiedError);
  double nearest = 0;
  for (const AudioValueRange& range : can->rates) {
    const double candidate = std::clamp(usualRate, range.mMinimum, range.mMaximum);
    if (nearest == 0 || std::fabs(candidate - usualRate) < std::fabs(nearest - usualRate)) nearest = candidate;
  }
  return nearest;
}

OSStatus AlsaDevice::setNominalRate(double rate) {
  const std::uint32_t whole = wholeRate(rate);
  if (whole == 0) return kAudioDeviceUnsupportedFormatError;
  if (unitSetup_) return unitSetup_->rate == whole ? noErr : kAudioHardwareIllegalOperationError;
  const auto before = nominalRate();
  if (const OSStatus status = tryRate(whole); status != noErr) return status;
  chosenRate_ = whole;
  if (!before || *before != *chosenRate_) system_.notify(id_, kAudioDevicePropertyNominalSampleRate);
  return noErr;
}

/// Sets the hardware up at the rate and lets go of it: some refuse only then what they had allowed before.
OSStatus AlsaDevice::tryRate(std::uint32_t rate) {
  auto pcm = heldPcm();
  if (!pcm) {
    auto opened = openPcm();
    if (!opened) {
      if (opened.error() != kAudioDevicePermissionsError || !capabilities_) return opened.error();
      // In use by another process: what the hardware told earlier still holds.
      const bool allowed = std::ranges::any_of(
          capabilities_->rates, [rate](const auto& range) { return range.mMinimum <= rate && rate <= range.mMaximum; });
      return allowed ? noErr : kAudioDeviceUnsupportedFormatError;
    }
    pcm = *std::move(opened);
  }
  const auto setup = pcm->configure({integerLayout(32, 4), usualLayout(2), rate});
  pcm->unconfigure();
  return setup ? noErr : statusFromAlsaError(setup.error());
}

std::expected<std::vector<AudioValueRange>, OSStatus> AlsaDevice::availableRates() {
  const AlsaCapabilities* can = capabilities();
  if (can == nullptr) return std::unexpected(probeStatus_);
  return can->rates;
}

/// The substream that the unit plays on, as the kernel shows it; nothing unless it is open and this process's.
std::optional<AlsaSubstream> AlsaDevice::ownSubstream() const {
  const auto pcm = unitPcm_.lock();
  if (!pcm || !unitSetup_) return std::nullopt;
  for (AlsaSubstream& substream : readSubstreams(system_.paths, info_.card, info_.device)) {
    if (substream.index == pcm->subdevice() && substream.ownerProcess == getpid()) return std::move(substream);
  }
  return std::nullopt;
}

/// The one substream that is open, whoever has it; nothing while several are, because nobody can tell whose samples
/// would be meant.
std::optional<AlsaSubstream> AlsaDevice::playingSubstream() const {
  if (!unitPcm_.expired()) return ownSubstream();
  std::optional<AlsaSubstream> only;
  for (AlsaSubstream& substream : readSubstreams(system_.paths, info_.card, info_.device)) {
    if (!substream.hwParams) continue;
    if (only) return std::nullopt;
    only = std::move(substream);
  }
  return only;
}

std::expected<double, OSStatus> AlsaDevice::actualRate() const {
  const auto playing = playingSubstream();
  if (!playing || !playing->hwParams) return std::unexpected(kAudioHardwareNotRunningError);
  return playing->hwParams->rate;
}

AlsaDepthTexts AlsaDevice::readDepthTexts() const {
  return readAlsaDepthTexts(system_.paths, info_.card, info_.device, info_.transport == kAudioDeviceTransportTypeUSB);
}

std::optional<int> AlsaDevice::provenBits(const AlsaDepthTexts& texts, const PcmLayout& container,
                                          std::uint32_t channels, int driverBits) const {
  DepthEvidence evidence{container, info_.transport, driverBits, std::nullopt, texts.codecBits};
  if (const auto name = alsaFormatName(container); name && texts.usbStream)
    evidence.usbDescriptorBits = parseUsbSignificantBits(*texts.usbStream, *name, channels);
  return tolvane::provenBits(evidence);
}

std::expected<AudioStreamBasicDescription, OSStatus> AlsaDevice::physicalFormat() const {
  const auto playing = playingSubstream();
  if (!playing || !playing->hwParams) return std::unexpected(kAudioHardwareNotRunningError);
  const auto container = layoutOfAlsaFormat(playing->hwParams->format);
  if (!container) return std::unexpected(kAudioDeviceUnsupportedFormatError);
  // The driver is asked about the unit's own PCM only.
  const int driverBits = unitSetup_ ? unitSetup_->driverBits : 0;
  const auto bits = provenBits(readDepthTexts(), *container, playing->hwParams->channels, driverBits);
  if (!bits) return std::unexpected(kAudioDeviceUnsupportedFormatError);
  return describe(physicalLayout(*container, *bits), playing->hwParams->rate, playing->hwParams->channels);
}

std::expected<AudioStreamBasicDescription, OSStatus> AlsaDevice::virtualFormat() const {
  if (!unitSetup_) return std::unexpected(kAudioHardwareNotRunningError);
  return unitClient_;
}

bool AlsaDevice::isStreamActive() const {
  const auto own = ownSubstream();
  return own && (own->status.state == AlsaStreamState::running || own->status.state == AlsaStreamState::draining);
}

/// As many as the hardware has; two before it could first be asked, which is what everything that plays music has.
std::uint32_t AlsaDevice::channelCount() const {
  return capabilities_ && capabilities_->maximumChannels > 0 ? capabilities_->maximumChannels : 2;
}

std::uint32_t AlsaDevice::bufferFrameSize() {
  if (unitSetup_) {
    return halfDrainFrames(unitSetup_->bufferFrames, unitSetup_->periodFrames, unitSetup_->rate,
                           unitClient_.mSampleRate);
  }
  const auto rate = nominalRate();
  if (!rate) return buffersBeforeOpening;
  return halfDrainFrames(desiredRingFrames(*rate), 0, *rate, *rate);
}

std::optional<double> AlsaDevice::volumeDecibels() const {
  return hardwareVolume(readVolumeControls(info_.card), info_.transport == kAudioDeviceTransportTypeUSB);
}

// Ownership.

pid_t AlsaDevice::hogOwner() const { return claim_.owner(); }

OSStatus AlsaDevice::toggleHog() {
  if (claim_.isHeld()) {
    claim_.release();
  } else if (const OSStatus status = claim_.take(unitPcm_.lock()); status != noErr) {
    return status;
  }
  checkOwner();
  return noErr;
}

void AlsaDevice::checkOwner() {
  const pid_t owner = hogOwner();
  if (std::exchange(lastOwner_, owner) != owner) system_.notify(id_, kAudioDevicePropertyHogMode);
}

void AlsaDevice::yield() {
  claim_.release();
  if (const auto surrender = std::exchange(surrenderUnit_, nullptr)) surrender();
  checkOwner();
}

void AlsaDevice::markGone() { claim_.release(); }

// Units.

std::expected<AlsaDevice::OpenPcm, OSStatus> AlsaDevice::openForUnit(const OutputUnitSettings& settings,
                                                                     std::function<void()> surrender) {
  const AudioStreamBasicDescription& client = settings.format();
  const auto layout = pcmLayout(client);
  if (!layout) return std::unexpected(kAudioUnitErr_FormatNotSupported);
  if (!unitPcm_.expired()) return std::unexpected(kAudioDevicePermissionsError);  // one unit at a time
  const auto nominal = nominalRate();
  if (!nominal) return std::unexpected(nominal.error());
  auto pcm = heldPcm();
  if (!pcm) {
    auto opened = openPcm();
    if (!opened) return std::unexpected(opened.error());
    pcm = *std::move(opened);
  }
  if (!capabilities_) capabilities_ = pcm->capabilities();
  AlsaPcmRequest request{*layout, settings.channelLayout(), wholeRate(*nominal), settings.sourceBits()};
  request.provenBits = [this, texts = readDepthTexts()](const PcmLayout& container, std::uint32_t channels,
                                                        int driverBits) {
    return provenBits(texts, container, channels, driverBits);
  };
  const auto setup = pcm->configure(request);
  if (!setup) return std::unexpected(statusFromAlsaError(setup.error()));
  unitPcm_ = pcm;
  unitSetup_ = *setup;
  unitClient_ = client;
  if (auto alteration = placementAlteration(settings.channelLayout(), setup->positions))
    setAlterations({*std::move(alteration)});
  surrenderUnit_ = std::move(surrender);
  return OpenPcm{std::move(pcm), *setup};
}

void AlsaDevice::setAlterations(std::vector<SampleAlteration> alterations) {
  if (alterations_ == alterations) return;
  alterations_ = std::move(alterations);
  system_.notify(id_, kAudioDevicePropertyProcessingIsActive);
}

void AlsaDevice::closeForUnit() {
  if (const auto pcm = unitPcm_.lock()) pcm->unconfigure();
  // The rate stays what it was set to, or was found to be, until somebody writes another one.
  if (unitSetup_ && !chosenRate_) chosenRate_ = unitSetup_->rate;
  unitPcm_.reset();
  unitSetup_.reset();
  setAlterations({});
  surrenderUnit_ = nullptr;
}

}  // namespace tolvane
