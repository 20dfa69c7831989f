#include "platform/alsa/cards/AlsaDevice.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <utility>

#include "platform/ProcessName.h"
#include "platform/alsa/cards/AlsaMixer.h"
#include "platform/alsa/facts/AlsaChannelMap.h"
#include "platform/alsa/facts/AlsaFormats.h"
#include "platform/alsa/facts/AlsaStatus.h"
#include "platform/alsa/facts/ProvenBits.h"
#include "platform/alsa/facts/UsbChannelStatement.h"
#include "platform/alsa/facts/UsbSampleBits.h"

namespace tolvane {
namespace {

constexpr std::uint32_t buffersBeforeOpening = 512;

/// The nominal rate as the kernel counts it; 0 if it is not a whole number of hertz.
std::uint32_t wholeRate(double rate) {
  if (!(rate >= 1) || rate > 10'000'000 || std::fabs(rate - std::round(rate)) > 1e-6) return 0;
  return static_cast<std::uint32_t>(std::lround(rate));
}

/// What the kernel reports about the depth of one of a device's formats.
DepthEvidence evidenceOf(const AlsaDepthTexts& texts, std::uint32_t transport, const PcmLayout& container,
                         std::uint32_t channels, int driverBits) {
  DepthEvidence evidence{container, transport, driverBits, std::nullopt, texts.codecBits};
  if (const auto name = alsaFormatName(container); name && texts.usbStream)
    evidence.usbDescriptorBits = parseUsbSignificantBits(*texts.usbStream, *name, channels);
  return evidence;
}

/// Whether the error concerns the request, and not a card that is gone, in use or unresponsive. A USB device refuses a
/// rate with a bus error.
bool isRefusal(OSStatus status) {
  return status == kAudioDeviceUnsupportedFormatError || status == kAudioHardwareUnspecifiedError;
}

AlsaDepthTexts readDepthTextsOf(const AlsaPaths& paths, const AlsaDeviceInfo& info) {
  return readAlsaDepthTexts(paths, info.card, info.device, info.transport == kAudioDeviceTransportTypeUSB);
}

/// Whether the channel map of the card's driver comes from the device, not from the driver.
bool isMapStated(const AlsaPaths& paths, const AlsaDeviceInfo& info, std::uint32_t channels) {
  if (channels <= 2 || info.transport != kAudioDeviceTransportTypeUSB) return true;
  // "device" is a link to the device's first interface.
  const std::string path = paths.classSound + "/card" + std::to_string(info.card) + "/device/../descriptors";
  return statesLoudspeakers(readSmallFile(path).value_or(""), channels);
}

}  // namespace

AlsaDevice::AlsaDevice(AlsaDeviceInfo info, AudioObjectID id, AudioObjectID streamId, const System& system)
    : info_(std::move(info)),
      id_(id),
      streamId_(streamId),
      system_(system),
      calls_(std::make_shared<AlsaDeviceCalls>(system.calls, info_.name,
                                               [settled = system.callsSettled, card = info_.card] { settled(card); })),
      claim_({info_.card, info_.device, info_.name}, system.paths, system.runLoop, system.reservation, calls_),
      lastOwner_(hogOwner().value_or(-1)) {}

std::expected<std::vector<AlsaSubstream>, OSStatus> AlsaDevice::substreams() const {
  return calls_->run([paths = system_.paths, card = info_.card, device = info_.device] {
    return readSubstreams(paths, card, device);
  });
}

std::expected<std::shared_ptr<AlsaPcm>, OSStatus> AlsaDevice::openPcm() const {
  if (claim_.isReservedByAnother()) return std::unexpected(kAudioDevicePermissionsError);
  return openAlsaPcm(calls_, info_.card, info_.device);
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
      if (!opened) {
        probeStatus_ = opened.error();
        return nullptr;
      }
      pcm = *std::move(opened);
    }
    probeStatus_ = learnCapabilities(pcm);
  }
  return capabilities_ ? &*capabilities_ : nullptr;
}

OSStatus AlsaDevice::learnCapabilities(const std::shared_ptr<AlsaPcm>& pcm) {
  if (capabilities_) return noErr;
  const auto found = calls_->run([pcm] { return pcm->capabilities(); });
  if (!found) return found.error();
  capabilities_ = *found;
  return noErr;
}

std::expected<double, OSStatus> AlsaDevice::nominalRate() const {
  if (unitSetup_) return unitSetup_->rate;
  if (chosenRate_) return *chosenRate_;
  const auto all = substreams();
  if (!all) return std::unexpected(all.error());
  for (const AlsaSubstream& substream : *all) {
    if (substream.hwParams) return substream.hwParams->rate;
  }
  return std::unexpected(kAudioHardwareNotRunningError);
}

OSStatus AlsaDevice::setNominalRate(double rate) {
  const std::uint32_t whole = wholeRate(rate);
  if (whole == 0) return kAudioDeviceUnsupportedFormatError;
  if (unitSetup_) return unitSetup_->rate == whole ? noErr : kAudioHardwareIllegalOperationError;
  const auto before = nominalRate();
  const auto isProven = isProvenRate(whole);
  if (!isProven) return isProven.error();
  if (!*isProven)
    if (const OSStatus status = tryRate(whole); status != noErr) return status;
  chosenRate_ = whole;
  if (!before || *before != *chosenRate_) system_.notify(id_, kAudioDevicePropertyNominalSampleRate);
  return noErr;
}

/// Whether the hardware is known to accept the rate without opening it: it was set up to it before, and no program has
/// a substream open whose rate may bind the others.
std::expected<bool, OSStatus> AlsaDevice::isProvenRate(std::uint32_t rate) const {
  const auto all = substreams();
  if (!all) return std::unexpected(all.error());
  const bool isInUse = std::ranges::any_of(*all, [](const AlsaSubstream& each) { return each.hwParams.has_value(); });
  return !isInUse && provenRates_.contains(rate);
}

/// Sets the hardware up at the rate and releases it: some devices refuse only then what they had announced.
OSStatus AlsaDevice::tryRate(std::uint32_t rate) {
  auto pcm = heldPcm();
  if (!pcm) {
    auto opened = openPcm();
    if (!opened) {
      if (opened.error() != kAudioDevicePermissionsError || !capabilities_) return opened.error();
      // In use by another process: what the hardware reported earlier still holds.
      return offers(rate) ? noErr : kAudioDeviceUnsupportedFormatError;
    }
    pcm = *std::move(opened);
  }
  if (const OSStatus status = learnCapabilities(pcm); status != noErr) return status;
  const auto status = calls_->run([pcm, rate] {
    const auto setup = pcm->configure({integerLayout(32, 4), usualLayout(2), rate});
    pcm->unconfigure();
    return setup ? noErr : statusFromAlsaError(setup.error());
  });
  if (!status) return status.error();
  if (*status == noErr || isRefusal(*status)) remember(rate, *status == noErr);
  return *status;
}

/// Records the result of setting the hardware up at a rate.
void AlsaDevice::remember(std::uint32_t rate, bool isTaken) {
  (isTaken ? refusedRates_ : provenRates_).erase(rate);
  (isTaken ? provenRates_ : refusedRates_).insert(rate);
}

bool AlsaDevice::offers(std::uint32_t rate) const {
  return std::ranges::any_of(capabilities_->rates, [rate](const AudioValueRange& range) {
    return range.mMinimum <= rate && rate <= range.mMaximum;
  });
}

/// The rates to try for a unit, best first: the nominal one, then the hardware's rates that it has not refused: the
/// client's own, its multiples, higher ones, lower ones. REQUIRES: the capabilities are known.
std::vector<std::uint32_t> AlsaDevice::ratesForUnit(double clientRate) const {
  const std::uint32_t client = std::max(wholeRate(clientRate), 1U);
  std::set<std::uint32_t> offered(usualPcmRates.begin(), usualPcmRates.end());
  offered.insert(client);
  for (const AudioValueRange& range : capabilities_->rates)
    offered.insert({wholeRate(range.mMinimum), wholeRate(range.mMaximum)});
  std::erase_if(offered, [this](std::uint32_t rate) { return !offers(rate) || refusedRates_.contains(rate); });

  std::vector<std::uint32_t> rates;
  if (const auto nominal = nominalRate()) rates.push_back(wholeRate(*nominal));
  const auto add = [&rates](std::uint32_t rate) {
    if (std::ranges::find(rates, rate) == rates.end()) rates.push_back(rate);
  };
  const auto above = offered.lower_bound(client);
  std::for_each(above, offered.end(), [&](std::uint32_t rate) {
    if (rate % client == 0) add(rate);
  });
  std::for_each(above, offered.end(), add);
  std::for_each(std::make_reverse_iterator(above), offered.rend(), add);
  if (rates.empty()) rates.push_back(client);  // which the hardware will refuse
  return rates;
}

/// Opens the PCM at the first of the rates that the hardware accepts.
std::expected<AlsaPcmSetup, OSStatus> AlsaDevice::setUpForUnit(const std::shared_ptr<AlsaPcm>& pcm,
                                                               const PcmLayout& layout,
                                                               const OutputUnitSettings& settings) {
  OSStatus failure = kAudioDeviceUnsupportedFormatError;
  std::vector<std::uint32_t> refused;
  for (const std::uint32_t rate : ratesForUnit(settings.format().mSampleRate)) {
    const auto configured = calls_->run([pcm, layout, channels = settings.channelLayout(), rate,
                                         bits = settings.sourceBits(), paths = system_.paths, info = info_] {
      AlsaPcmRequest request{layout, channels, rate, bits};
      request.provenBits = [texts = readDepthTextsOf(paths, info), transport = info.transport](
                               const PcmLayout& container, std::uint32_t channelCount, int driverBits) {
        return provenBits(evidenceOf(texts, transport, container, channelCount, driverBits));
      };
      auto setup = pcm->configure(request);
      if (setup && !isMapStated(paths, info, setup->channels)) setup->positions = unknownLayout(setup->channels);
      return setup;
    });
    if (!configured) return std::unexpected(configured.error());
    if (*configured) {
      for (const std::uint32_t other : refused) remember(other, false);
      if (chosenRate_ != rate) chosenRate_.reset();  // a rate that was only recorded, and is no longer accepted
      remember(rate, true);
      return **configured;
    }
    failure = statusFromAlsaError(configured->error());
    provenRates_.erase(rate);
    if (!isRefusal(failure)) break;
    refused.push_back(rate);
  }
  return std::unexpected(failure);
}

std::expected<std::vector<AudioValueRange>, OSStatus> AlsaDevice::availableRates() {
  const AlsaCapabilities* can = capabilities();
  if (can == nullptr) return std::unexpected(probeStatus_);
  return can->rates;
}

/// The substream that the unit plays on, as the kernel shows it; an error unless this process has it open.
std::expected<AlsaSubstream, OSStatus> AlsaDevice::ownSubstream() const {
  const auto pcm = unitPcm_.lock();
  if (!pcm || !unitSetup_) return std::unexpected(kAudioHardwareNotRunningError);
  auto all = substreams();
  if (!all) return std::unexpected(all.error());
  for (AlsaSubstream& substream : *all) {
    if (substream.index == pcm->subdevice() && substream.ownerProcess == getpid()) return std::move(substream);
  }
  return std::unexpected(kAudioHardwareNotRunningError);
}

/// The one substream that is open, in any process; an error while several are, because it is unknown whose samples are
/// meant.
std::expected<AlsaSubstream, OSStatus> AlsaDevice::playingSubstream() const {
  if (!unitPcm_.expired()) return ownSubstream();
  auto all = substreams();
  if (!all) return std::unexpected(all.error());
  std::expected<AlsaSubstream, OSStatus> only = std::unexpected(kAudioHardwareNotRunningError);
  for (AlsaSubstream& substream : *all) {
    if (!substream.hwParams) continue;
    if (only) return std::unexpected(kAudioHardwareNotRunningError);
    only = std::move(substream);
  }
  return only;
}

std::expected<double, OSStatus> AlsaDevice::actualRate() const {
  const auto playing = playingSubstream();
  if (!playing) return std::unexpected(playing.error());
  if (!playing->hwParams) return std::unexpected(kAudioHardwareNotRunningError);
  return playing->hwParams->rate;
}

std::expected<AudioStreamBasicDescription, OSStatus> AlsaDevice::physicalFormat() const {
  physicalFormatSource_.clear();
  const auto playing = playingSubstream();
  if (!playing) return std::unexpected(playing.error());
  if (!playing->hwParams) return std::unexpected(kAudioHardwareNotRunningError);
  const auto container = layoutOfAlsaFormat(playing->hwParams->format);
  if (!container) return std::unexpected(kAudioDeviceUnsupportedFormatError);
  // Only the unit's own PCM can be queried through the driver.
  const int driverBits = unitSetup_ ? unitSetup_->driverBits : 0;
  const auto texts = calls_->run([paths = system_.paths, info = info_] { return readDepthTextsOf(paths, info); });
  if (!texts) return std::unexpected(texts.error());
  const DepthEvidence evidence =
      evidenceOf(*texts, info_.transport, *container, playing->hwParams->channels, driverBits);
  const auto bits = provenBits(evidence);
  if (!bits) return std::unexpected(kAudioDeviceUnsupportedFormatError);
  physicalFormatSource_ =
      fmt::format("{}/card{}/pcm{}p/sub{}/hw_params ({}); {} significant bits by {}", system_.paths.asound, info_.card,
                  info_.device, playing->index, playing->hwParams->format, *bits, proofOfBits(evidence));
  return describe(physicalLayout(*container, *bits), playing->hwParams->rate, playing->hwParams->channels);
}

/// "device" is a link to the hardware behind the card, which has one to its driver.
std::string AlsaDevice::driver() const {
  std::error_code error;
  const auto link = std::filesystem::read_symlink(
      fmt::format("{}/card{}/device/driver", system_.paths.classSound, info_.card), error);
  return error ? std::string() : link.filename().string();
}

std::expected<AudioStreamBasicDescription, OSStatus> AlsaDevice::virtualFormat() const {
  if (!unitSetup_) return std::unexpected(kAudioHardwareNotRunningError);
  return unitClient_;
}

bool AlsaDevice::isStreamActive() const {
  const auto own = ownSubstream();
  return own && (own->status.state == AlsaStreamState::running || own->status.state == AlsaStreamState::draining);
}

/// The most channels of the hardware; two before it could first be queried, which is the usual number.
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
  const auto controls = calls_->run([card = info_.card] { return readVolumeControls(card); });
  if (!controls) return std::nullopt;
  return hardwareVolume(*controls, info_.transport == kAudioDeviceTransportTypeUSB);
}

std::expected<std::vector<std::uint32_t>, OSStatus> AlsaDevice::channelPositions() const {
  const auto playing = playingSubstream();
  if (!playing) return std::unexpected(playing.error());
  if (!playing->hwParams) return std::unexpected(kAudioHardwareNotRunningError);
  const auto layout = calls_->run(
      [paths = system_.paths, info = info_, substream = playing->index, channels = playing->hwParams->channels] {
        return isMapStated(paths, info, channels) ? readChannelMap(info.card, info.device, substream, channels)
                                                  : std::nullopt;
      });
  if (!layout) return std::unexpected(layout.error());
  if (!*layout) return std::unexpected(kAudioDeviceUnsupportedFormatError);
  std::vector<std::uint32_t> positions;
  for (const ChannelPosition position : (*layout)->positions) positions.push_back(std::to_underlying(position));
  return positions;
}

// Ownership.

std::expected<pid_t, OSStatus> AlsaDevice::hogOwner() const { return claim_.owner(); }

std::string AlsaDevice::hogOwnerName() const {
  const pid_t owner = hogOwner().value_or(-1);
  return owner > 0 ? readProcessName(owner, system_.paths.processes) : std::string();
}

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
  const auto owner = hogOwner();
  if (owner && std::exchange(lastOwner_, *owner) != *owner) system_.notify(id_, kAudioDevicePropertyHogMode);
}

void AlsaDevice::yield() {
  claim_.release();
  if (const auto surrender = std::exchange(surrenderUnit_, nullptr)) surrender();
  checkOwner();
}

void AlsaDevice::markGone() { claim_.release(); }

// Output units.

std::expected<AlsaDevice::OpenPcm, OSStatus> AlsaDevice::openForUnit(const OutputUnitSettings& settings,
                                                                     std::function<void()> surrender) {
  const AudioStreamBasicDescription& client = settings.format();
  const auto layout = pcmLayout(client);
  if (!layout) return std::unexpected(kAudioUnitErr_FormatNotSupported);
  if (!unitPcm_.expired()) return std::unexpected(kAudioDevicePermissionsError);  // one unit at a time
  auto pcm = heldPcm();
  if (!pcm) {
    auto opened = openPcm();
    if (!opened) return std::unexpected(opened.error());
    pcm = *std::move(opened);
  }
  if (const OSStatus status = learnCapabilities(pcm); status != noErr) return std::unexpected(status);
  const auto setup = setUpForUnit(pcm, *layout, settings);
  if (!setup) return std::unexpected(setup.error());
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
  if (const auto pcm = unitPcm_.lock()) (void)calls_->run([pcm] { pcm->unconfigure(); });
  // The rate stays as it was set or found until it is written again.
  if (unitSetup_ && !chosenRate_) chosenRate_ = unitSetup_->rate;
  unitPcm_.reset();
  unitSetup_.reset();
  setAlterations({});
  surrenderUnit_ = nullptr;
}

}  // namespace tolvane
