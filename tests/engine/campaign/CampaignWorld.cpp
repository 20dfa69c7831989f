#include "tests/engine/campaign/CampaignWorld.h"

#include <fmt/format.h>
#include <unistd.h>

#include <utility>

namespace tolvane {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t actionsToShow = 40;
constexpr unsigned closeUpsInAHundred = 50;

const std::vector<double> realRates{44100, 48000, 88200, 96000, 176400, 192000};
const std::vector<double> lowRates{500, 1000, 1200, 1500};

std::vector<AudioValueRange> drawRates(CampaignRandom& random, const std::vector<double>& all) {
  std::vector<AudioValueRange> rates;
  for (const double rate : all)
    if (random.percent(85)) rates.push_back({rate, rate});
  if (rates.empty()) rates.push_back({all.front(), all.front()});
  return rates;
}

}  // namespace

CampaignWorld::CampaignWorld(std::uint64_t worldSeed, CampaignTracks& allTracks)
    : seed(worldSeed),
      isCloseUp(CampaignRandom(worldSeed).percent(closeUpsInAHundred)),
      shelves(allTracks),
      tracks(isCloseUp ? allTracks.closeUp() : allTracks.longHours()),
      random(worldSeed),
      watched(hardware, runLoop, [this](const std::string& what) { fail(what); }) {
  replay = fmt::format("test_campaign --seed {} --hours 0 --gtest_filter='*/0'", seed);
  hardware.trace().record({});
  watched.setMayRender([this] { return isPlaying(); });
  watched.setMayWrite([this] { return isInOperation() || isActive() || isPreparing() || isEndingTrack; });
  hardware.setDeliversLateNotifications(random.percent(30));
  hardware.setRecordsDeliveries(isCloseUp || seed % 16 < 4);  // one long world in four, in each of the four parts
  goesOnToNextTrack = random.percent(90);
  lastTrouble = runLoop.now();
  addDevices();
  makePlayer();
}

void CampaignWorld::addDevices() {
  const int count = 1 + static_cast<int>(random.below(4));
  for (int number = 0; number < count; ++number) {
    const AudioObjectID id = hardware.addDevice(drawDevice(number));
    devices.push_back(id);
    ledgers[id].restRate = device(id).config().nominalRate;
  }
}

SimulatedDeviceConfig CampaignWorld::drawDevice(int number) {
  SimulatedDeviceConfig config;
  config.name = "Device " + std::to_string(number);
  config.transport = random.pick(std::array{kAudioDeviceTransportTypeUSB, kAudioDeviceTransportTypeUSB,
                                            kAudioDeviceTransportTypeBuiltIn, kAudioDeviceTransportTypeHDMI,
                                            kAudioDeviceTransportTypeBluetooth, kAudioDeviceTransportTypeBluetoothLE});
  config.rates = drawRates(random, isCloseUp ? realRates : lowRates);
  config.nominalRate = random.pick(config.rates).mMinimum;
  config.rateIsSettable = !random.percent(8);
  config.ignoresRateWrites = random.percent(5);
  config.rateSettleDelay = random.pick(std::array{0ms, 0ms, 3ms, 60ms, 180ms});
  config.actualRateLag = random.pick(std::array{0ms, 0ms, 5ms, 40ms});
  config.actualRate =
      random.pick(std::array{SimulatedActualRate::follows, SimulatedActualRate::follows, SimulatedActualRate::absent,
                             SimulatedActualRate::unreadable, SimulatedActualRate::readableWhileRunning});
  config.clockErrorPPM = random.pick(std::array{0.0, 0.0, 7.0, -15.0, 150.0});
  config.hogIsSettable = !random.percent(8);
  config.ignoresHogWrites = random.percent(5);
  config.foreignHogShutsOut = random.percent(70);
  if (random.percent(10)) config.properties.missing.insert(kAudioDevicePropertyHogMode);
  if (random.percent(60)) config.alterations = random.percent(5) ? drawAlterations() : std::vector<SampleAlteration>{};
  config.bufferFrameSize = isCloseUp ? random.pick(std::array{0U, 64U, 256U, 512U, 512U, 2048U, 4096U})
                                     : random.pick(std::array{256U, 512U, 1024U});
  config.captures = isCloseUp;
  if (isCloseUp && config.bufferFrameSize <= 512) config.ringPeriods = 20;  // as a sink of a sound server, 0.25 s at most
  config.streams = drawStreams();
  return config;
}

std::vector<SampleAlteration> CampaignWorld::drawAlterations() {
  using Kind = SampleAlteration::Kind;
  std::vector<SampleAlteration> alterations;
  for (std::uint64_t i = 0; i < 1 + random.below(2); ++i)
    alterations.push_back(
        {random.pick(std::array{Kind::processed, Kind::converted, Kind::unknown}), "Altered.", "Restore."_cure});
  return alterations;
}

std::vector<SimulatedStreamConfig> CampaignWorld::drawStreams() {
  const std::uint32_t channels = isCloseUp || random.percent(20) ? 2 : 1;
  std::vector<SimulatedStreamConfig> streams;
  const std::size_t count = random.percent(80) ? 1 : 2;
  for (std::size_t i = 0; i < count; ++i) {
    SimulatedStreamConfig stream;
    stream.physicalFormats = {physicalInteger(16, channels), physicalInteger(24, channels)};
    if (random.percent(60)) stream.physicalFormats.push_back(physicalInteger(32, channels));
    if (random.percent(50)) stream.physicalFormats.push_back(physicalFloat32(channels));
    if (random.percent(15)) stream.physicalFormats = {physicalInteger(16, channels)};
    stream.isActive = random.percent(75);
    streams.push_back(std::move(stream));
  }
  return streams;
}

double CampaignWorld::drawRate() { return random.pick(isCloseUp ? realRates : lowRates); }

void CampaignWorld::makePlayer() {
  forgetPlayer();
  player = std::make_unique<BitPerfectAudioPlayer>(watched, shelves.files(), runLoop, log);
  watchedPlayer = player.get();
}

void CampaignWorld::forgetPlayer() {
  watchedPlayer = nullptr;
  player.reset();
  lastPlayed = nullptr;
  upcoming = nullptr;
  isHeardBeyondEnd = false;
  exclusiveAccess = false;
  levelsAreNeutral = true;
  watched.setReadsMarks(true);
  watched.expectTrack(nullptr);
  isChanged = true;
}

void CampaignWorld::operate(const std::function<void()>& operation) {
  beforeOperation();
  ++operationDepth_;
  operation();
  --operationDepth_;
  isChanged = true;
}

void CampaignWorld::fail(const std::string& what) {
  if (!failure_) failure_ = what;
}

void CampaignWorld::note(std::string action) {
  actions_.push_back(fmt::format("{:8}  {:14.6f} s  {}", step, hoursPassed() * 3600, action));
  if (actions_.size() > actionsToShow) actions_.pop_front();
}

std::string CampaignWorld::report() const {
  std::string text = fmt::format("{}\nseed {}, step {}, simulated time {:.6f} s\n", failure_.value_or("no failure"),
                                 seed, step, hoursPassed() * 3600);
  if (watchedPlayer != nullptr) {
    const AudioPathStatus& path = watchedPlayer->audioPathStatus().value();
    text += fmt::format("state: {}, path {} \"{}\", exclusive access {}\n",
                        isPlaying()     ? "playing"
                        : isPaused()    ? "paused"
                        : isPreparing() ? "preparing"
                                        : "stopped",
                        path.label, path.detail, kindName(watchedPlayer->exclusiveAccessStatus().value().kind));
  }
  text += "the last actions:\n";
  for (const auto& action : actions_) text += action + "\n";
  return text + fmt::format("replay: {}\n", replay);
}

void CampaignWorld::later(RunLoop::Duration delay, std::function<void()> event) {
  runLoop.scheduleHardwareAfter(delay, [there = std::weak_ptr(isThere_), event = std::move(event)] {
    if (!there.expired()) event();
  });
}

double CampaignWorld::hoursPassed() const { return secondsFromDuration(runLoop.now() - start_) / 3600; }

bool CampaignWorld::ownsDevice(AudioObjectID id) { return device(id).config().hogOwner == ::getpid(); }

void CampaignWorld::excuseRates() {
  for (auto& [id, ledger] : ledgers) ledger.anyRateIsAcceptable = true;
}

void expectFromBeginning(CampaignWorld& world, const CampaignTrack& track) {
  ++world.playsStarted;
  world.lastPlayed = &track;
  world.heardNext = 0;
  world.isHeardBeyondEnd = false;
  world.watched.expectTrack(&track);
}

void expectContinuation(CampaignWorld& world, const CampaignTrack& track) {
  world.lastPlayed = &track;
  if (!world.isHeardBeyondEnd) world.heardNext = 0;
  world.isHeardBeyondEnd = false;
  world.watched.continueWith(track);
}

namespace {

void setUpcoming(CampaignWorld& world, const CampaignTrack* next) {
  world.isUpcomingChanging = world.upcoming != next;
  world.upcoming = next;
  world.operate([&] { world.player->setUpcomingTrack(next != nullptr ? std::optional(next->url) : std::nullopt); });
  world.isUpcomingChanging = false;
}

}  // namespace

void announceUpcoming(CampaignWorld& world) {
  // Mostly one of the same format, so that there are crossings.
  const CampaignTrack* next = nullptr;
  if (world.lastPlayed != nullptr && world.levelsAreNeutral && world.random.percent(85)) {
    next = &world.random.pick(world.tracks);
    for (int draw = 0; draw < 20 && next->format != world.lastPlayed->format; ++draw)
      next = &world.random.pick(world.tracks);
  }
  setUpcoming(world, next);
}

void announceNothing(CampaignWorld& world) { setUpcoming(world, nullptr); }

void playTrack(CampaignWorld& world, const CampaignTrack& track) {
  world.operate([&] {
    expectFromBeginning(world, track);
    world.upcoming = nullptr;
    world.player->play(track.url);
  });
  if (world.isPlaying()) announceUpcoming(world);
}

}  // namespace tolvane
