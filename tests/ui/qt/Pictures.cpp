// Pictures of the real window in every state that it knows, over simulated hardware and a clock that stands still: the
// same picture each time. In the language of the environment (LANGUAGE=de LC_ALL=C.UTF-8).
// Usage: window_pictures FOLDER [SCENE[@WIDTHxHEIGHT]…]
//        window_pictures --cut [SCENE…]: which texts have no room at the smallest size and have it in English; fails if
//        there are any

#include <QBuffer>
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QQuickWindow>
#include <cstdio>
#include <map>
#include <semaphore>
#include <span>
#include <thread>

#include "app/Translations.h"
#include "tests/ui/qt/ListScenes.h"

namespace tolvane::test {
namespace {

class Stage : public ListScenes {
 public:
  explicit Stage(bool isPlayerApart) : ListScenes(isPlayerApart) {}
  ~Stage() override { mayGoOn_.release(); }

  using Scene = void (Stage::*)();
  static const std::map<std::string, Scene>& scenes();

  /// Scenes whose player waits in a driver while the window goes on.
  static bool isPlayerApart(const std::string& scene) { return scene.starts_with("waiting"); }

  void resize(int width, int height) { window->resize(width, height); }
  /// The texts that do not show whole, by their places among the window's items.
  [[nodiscard]] std::map<std::string, std::string> cutTexts() {
    settle();
    std::map<std::string, std::string> found;
    collectCut(window->contentItem(), "", found);
    std::erase_if(found, [this](const auto& cut) { return namesADevice(cut.second); });
    return found;
  }
  bool shoot(const QString& file) {
    settle();
    return window->grabWindow().save(file);
  }

  void empty() {}
  void playing() { play(2, 0.38); }
  void exclusive() {
    proxy.setExclusiveAccessEnabled(true);
    play(2, 0.38);
  }
  /// Files with tags, and a cover beside what plays.
  void album() {
    state();
    exclusive();
  }
  void albumWithoutCover() {
    state();
    covers.clear();
    exclusive();
  }
  void albumLongTexts() {
    stated[url(2)] = {.title = "Variations on a Quiet Theme, for Strings, Two Pianos and a Room with Open Windows",
                      .artist = "Ilse Brandt, Tomas Okafor, and the Chamber Orchestra of the Northern Coast",
                      .album = "Slow Water: Collected Works for Small Rooms, Volume Two (Live)",
                      .trackNumber = 3};
    stated[url(3)] = {
        .title = "\u9577\u3044\u5348\u5F8C", .artist = "\u97F3\u697D", .album = "\u79CB\u306E\u97F3", .trackNumber = 4};
    covers[url(2)] = painted(Cover::Format::jpeg, {900, 600});
    exclusive();
  }
  void lost() {
    SimulatedDeviceConfig device;
    device.name = "Living Room DAC";
    device.foreignHogShutsOut = false;
    const auto id = pick(device);
    exclusive();
    hardware.device(id).setHogOwner(4711);
    runLoop.advance(std::chrono::milliseconds(1500));
  }
  void withheld() {
    SimulatedDeviceConfig device;
    device.name = "Built-in Output";
    device.transport = kAudioDeviceTransportTypeBuiltIn;
    device.hogIsSettable = false;
    pick(device);
    proxy.setExclusiveAccessEnabled(true);
    play(2, 0.38);
  }
  void converted() {
    SimulatedDeviceConfig device;
    device.name = "Conference Speaker";
    device.rates = {{48000, 48000}};
    device.nominalRate = 48000;
    device.streams[0].physicalFormats = {physicalInteger(16)};
    pick(device);
    play(2, 0.38);
  }
  /// On the path to the device, in several ways.
  void altered() {
    using enum SampleAlteration::Kind;
    playOver({{processed, bilingual("The sound server plays this device at {} volume, so samples are altered.", "40 %"),
               "Set its volume to 100 %."_cure},
              {unknown,
               bilingualPlural("The sound server has a setting for {} that the player does not know: {}.",
                               "The sound server has settings for {} that the player does not know: {}.", 1,
                               bilingual("this device"), "quantum.blender"),
               "Turn on Exclusive Access to play without the sound server."_cure},
              {processed, bilingual("Another program plays on this device, so the sound server mixes both."),
               "Stop the other program, or turn on Exclusive Access."_cure}});
  }
  void notKnown() {
    playOver({{SampleAlteration::Kind::unknown,
               bilingual("The sound server assumes which loudspeakers the device's {} channels are for.", 6),
               "Turn on Exclusive Access to use the order that the device's driver reports."_cure}});
  }
  /// By settings whose names another program has made as long as it could.
  void endless() {
    std::vector<SampleAlteration> alterations;
    for (int number = 0; number < 10; ++number)
      alterations.emplace_back(SampleAlteration::Kind::processed,
                               "The sound server filters the samples of this device (" + std::string(2000, 'x') + ").",
                               "Remove the filter from its settings."_cure);
    playOver(alterations);
  }
  void processed() {
    play(2, 0.38);
    session.setOutputVolume(0.62);
    session.setOutputBalance(-0.25);
  }
  void error() {
    play(2, 0.38);
    files.remove(url(3));
    content.playTrack(3, 0);
  }
  /// Two thirds have been read of a track that does not come next: that one would be in memory.
  void preparing() {
    play(2, 0.38);
    readsLater = true;
    constexpr std::size_t pieceBytes = 1 << 20;  // as tracks are read
    const auto stopAt = recording(programme[5]).data.size() / pieceBytes * 2 / 3;
    content.playTrack(5, 0);
    settle();  // with its waveform, which is read from the same files
    files.setReadGate([this, stopAt, pieces = std::size_t{0}](const FileURL&, std::string_view call) mutable {
      if (call != "readBytes" || ++pieces != stopAt) return;
      isFarEnough_.release();
      mayGoOn_.acquire();
    });
    reader_ = std::jthread([work = std::exchange(reading, {})] {
      for (const auto& each : work) each();
    });
    isFarEnough_.acquire();
    runLoop.advance(std::chrono::milliseconds(60));
    std::ignore = waitFor([&] { return item("Position")->property("isPreparing").toBool(); });
  }
  /// Another device was chosen, and its driver does not answer.
  void waiting() {
    play(2, 0.38);
    isHeldUp = true;
    proxy.selectOutputDevice(headphones);
    advance(std::chrono::milliseconds(1300));
  }
  /// The same, with a name that does not fit.
  void waitingForALongName() {
    SimulatedDeviceConfig device;
    device.name = "Universal Serial Bus High Definition Audio Interface (Rear Panel, Balanced Outputs 3/4)";
    pick(device);
    play(2, 0.38);
    isHeldUp = true;
    content.playTrack(4, 0);
    advance(std::chrono::milliseconds(1300));
  }
  void waitingWide() {
    window->resize(1600, 1000);
    waiting();
  }
  /// Another program has locked the database.
  void notSaved() {
    defaults.setLoaded(false);
    play(2, 0.38);
  }
  void notSavedWide() {
    window->resize(1600, 1000);
    notSaved();
  }
  /// Between two attempts to get a device back that has stopped.
  void checking() {
    exclusive();
    hardware.device(dac).stopByItself();
    hardware.unitFaults().failNext(UnitStage::initialize, kAudioHardwareNotRunningError);
    const auto& path = session.player().audioPathStatus();
    while (path.value().kind != AudioPathStatus::Kind::configuring) runLoop.advance(std::chrono::milliseconds(100));
  }
  void noDevice() {
    loadProgramme();
    hardware.removeDevice(dac);
    hardware.removeDevice(headphones);
    runLoop.advance(std::chrono::seconds(3));
  }
  void picking() {
    play(2, 0.38);
    click("Output device");
  }
  void keyboard() {
    play(2, 0.38);
    item("Tracks")->forceActiveFocus(Qt::TabFocusReason);
  }
  void keyboardSlider() {
    play(2, 0.38);
    item("Volume")->forceActiveFocus(Qt::TabFocusReason);
  }
  void wide() {
    window->resize(1600, 1000);
    play(2, 0.38);
  }
  void convertedWide() {
    window->resize(1600, 1000);
    converted();
  }
  void longChain() {
    SimulatedDeviceConfig device;
    device.name = "Universal Serial Bus High Definition Audio Interface (Rear Panel, Balanced Outputs 3/4)";
    device.streams[0].physicalFormats = {physicalInteger(32)};
    pick(device);
    proxy.setOutputVolume(0.5);
    proxy.setOutputBalance(-0.2);
    play(0, 0.2);
  }

 private:
  void state() {
    constexpr std::size_t piecesOfFirstAlbum = 6;
    for (std::size_t i = 0; i < std::size(programme); ++i) {
      const bool isFirst = i < piecesOfFirstAlbum;
      stated[url(i)] = {.title = programme[i].name,
                        .artist = isFirst ? "Ilse Brandt" : "Tomas Okafor Trio",
                        .album = isFirst ? "Copper Light" : "Letters from the Coast",
                        .trackNumber = static_cast<std::int32_t>(i + 1)};
      covers[url(i)] = painted(Cover::Format::png, {1200, 1200});
    }
  }
  /// A low sun over water.
  static Cover painted(Cover::Format format, QSize size) {
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const double edge = size.height();
    QLinearGradient sky(0, 0, 0, edge);
    sky.setStops(
        {{0, QColor(28, 40, 66)}, {0.55, QColor(196, 110, 72)}, {0.62, QColor(44, 38, 58)}, {1, QColor(12, 14, 26)}});
    painter.fillRect(image.rect(), sky);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(250, 208, 140));
    painter.drawEllipse(QPointF(size.width() * 0.62, edge * 0.46), edge * 0.13, edge * 0.13);
    painter.setBrush(QColor(250, 208, 140, 90));
    for (int wave = 0; wave < 7; ++wave) {
      const double width = edge * (0.36 - 0.04 * wave);
      painter.drawRoundedRect(
          QRectF(size.width() * 0.62 - width / 2, edge * (0.64 + 0.045 * wave), width, edge * 0.012), 6, 6);
    }
    painter.end();
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format == Cover::Format::png ? "png" : "jpeg");
    const auto bytes = std::as_bytes(std::span(buffer.data().constData(), static_cast<std::size_t>(buffer.size())));
    return {format, {bytes.begin(), bytes.end()}, std::nullopt};
  }

  [[nodiscard]] bool namesADevice(const std::string& text) const {
    return std::ranges::any_of(proxy.state().devices,
                               [&](const AudioDevice& device) { return text.contains(device.name); });
  }
  void collectCut(const QQuickItem* item, const std::string& path, std::map<std::string, std::string>& found) const {
    if (!item->isVisible() || item->opacity() == 0) return;
    const QString text = item->property("text").toString();
    if (item->inherits("QQuickText") && !text.isEmpty()) {
      constexpr double rounding = 1;
      const QRectF place = item->mapRectToScene(QRectF(0, 0, item->width(), item->height()));
      const bool isOutside = place.left() < -rounding || place.right() > window->width() + rounding;
      const bool isTooWide = item->property("contentWidth").toDouble() > item->width() + rounding;
      if (item->property("truncated").toBool() || isTooWide || isOutside) found[path] = text.toStdString();
    }
    const auto children = item->childItems();
    for (qsizetype index = 0; index < children.size(); ++index)
      collectCut(children[index], path + '/' + std::to_string(index), found);
  }

  std::binary_semaphore isFarEnough_{0};
  std::binary_semaphore mayGoOn_{0};
  std::jthread reader_;
};

const std::map<std::string, Stage::Scene>& Stage::scenes() {
  static const std::map<std::string, Scene> all{{"empty", &Stage::empty},
                                                {"album", &Stage::album},
                                                {"album-without-cover", &Stage::albumWithoutCover},
                                                {"album-long-texts", &Stage::albumLongTexts},
                                                {"playing", &Stage::playing},
                                                {"exclusive", &Stage::exclusive},
                                                {"lost", &Stage::lost},
                                                {"withheld", &Stage::withheld},
                                                {"converted", &Stage::converted},
                                                {"processed", &Stage::processed},
                                                {"altered", &Stage::altered},
                                                {"endless", &Stage::endless},
                                                {"not-known", &Stage::notKnown},
                                                {"checking", &Stage::checking},
                                                {"preparing", &Stage::preparing},
                                                {"sheet-cut-off", &Stage::sheetCutOff},
                                                {"unplayable", &Stage::unplayable},
                                                {"unplayable-keyboard", &Stage::unplayableKeyboard},
                                                {"unplayable-pointer", &Stage::unplayablePointer},
                                                {"unplayable-wide", &Stage::unplayableWide},
                                                {"error", &Stage::error},
                                                {"no-device", &Stage::noDevice},
                                                {"names", &Stage::names},
                                                {"thousands", &Stage::thousands},
                                                {"dragging", &Stage::dragging},
                                                {"selecting", &Stage::selecting},
                                                {"selecting-wide", &Stage::selectingWide},
                                                {"removed", &Stage::removed},
                                                {"removed-wide", &Stage::removedWide},
                                                {"saved", &Stage::saved},
                                                {"finding", &Stage::finding},
                                                {"finding-wide", &Stage::findingWide},
                                                {"inserting", &Stage::inserting},
                                                {"inserting-wide", &Stage::insertingWide},
                                                {"dropping", &Stage::dropping},
                                                {"dropping-empty", &Stage::droppingEmpty},
                                                {"picking", &Stage::picking},
                                                {"keyboard", &Stage::keyboard},
                                                {"keyboard-slider", &Stage::keyboardSlider},
                                                {"waiting", &Stage::waiting},
                                                {"waiting-long-name", &Stage::waitingForALongName},
                                                {"waiting-wide", &Stage::waitingWide},
                                                {"not-saved", &Stage::notSaved},
                                                {"not-saved-wide", &Stage::notSavedWide},
                                                {"wide", &Stage::wide},
                                                {"converted-wide", &Stage::convertedWide},
                                                {"long-chain", &Stage::longChain},
                                                {"sheet", &Stage::sheet},
                                                {"sheet-altered", &Stage::sheetAltered},
                                                {"sheet-altered-wide", &Stage::sheetAlteredWide},
                                                {"sheet-empty", &Stage::sheetEmpty},
                                                {"sheet-seeked", &Stage::sheetSeeked},
                                                {"sheet-exclusive", &Stage::sheetExclusive},
                                                {"sheet-recovered", &Stage::sheetRecovered},
                                                {"sheet-lost", &Stage::sheetLost},
                                                {"sheet-error", &Stage::sheetError},
                                                {"sheet-damaged", &Stage::sheetDamaged},
                                                {"sheet-converted", &Stage::sheetConverted},
                                                {"sheet-differs", &Stage::sheetDiffers},
                                                {"sheet-history", &Stage::sheetHistory},
                                                {"sheet-keyboard", &Stage::sheetKeyboard},
                                                {"sheet-wide", &Stage::sheetWide}};
  return all;
}

/// A scene's name, with the window's size where it is not the smallest: "lost@900x1000".
bool shoot(const QString& title, const QString& file) {
  const auto name = title.section('@', 0, 0).toStdString();
  const QStringList size = title.section('@', 1).split('x');
  const auto scene = Stage::scenes().find(name);
  if (scene == Stage::scenes().end()) return false;
  Stage stage(Stage::isPlayerApart(name));
  if (size.size() == 2) stage.resize(size[0].toInt(), size[1].toInt());
  (stage.*scene->second)();
  return stage.shoot(file);
}

std::map<std::string, std::string> cutTextsOf(const std::string& name, Stage::Scene scene) {
  Stage stage(Stage::isPlayerApart(name));
  (stage.*scene)();
  return stage.cutTexts();
}

/// Counts the texts that show whole in English and not in the language, and names them. What is cut in both is a name
/// from outside, or has a tip with the whole text.
int countCut(const std::string& name, Stage::Scene scene, CatalogueTranslator& translator) {
  const auto cut = cutTextsOf(name, scene);
  QCoreApplication::removeTranslator(&translator);
  setCatalogue(nullptr);
  const auto cutInEnglish = cutTextsOf(name, scene);
  useTranslations(translationsFolder());
  QCoreApplication::installTranslator(&translator);
  int found = 0;
  for (const auto& [place, text] : cut) {
    if (cutInEnglish.contains(place)) continue;
    std::fprintf(stderr, "%s: %s\n", name.c_str(), text.c_str());
    ++found;
  }
  return found;
}

int shootAll(const QDir& folder, const QStringList& wanted) {
  QStringList titles = wanted;
  if (titles.isEmpty())
    for (const auto& [name, scene] : Stage::scenes()) titles.push_back(QString::fromStdString(name));
  int failures = 0;
  for (const QString& title : titles) {
    const QString file = folder.filePath(title + ".png");
    if (shoot(title, file)) continue;
    std::fprintf(stderr, "window_pictures: %s could not be saved.\n", qPrintable(file));
    ++failures;
  }
  return failures == 0 ? 0 : 1;
}

int findCut(const QStringList& wanted, CatalogueTranslator& translator) {
  int found = 0;
  int scenes = 0;
  for (const auto& [name, scene] : Stage::scenes()) {
    if (!wanted.isEmpty() && !wanted.contains(QString::fromStdString(name))) continue;
    found += countCut(name, scene, translator);
    ++scenes;
  }
  std::printf("%d scenes, %d texts are cut.\n", scenes, found);
  return found == 0 && scenes > 0 ? 0 : 1;
}

}  // namespace
}  // namespace tolvane::test

int main(int argc, char* argv[]) {
  if (qgetenv("QT_QPA_PLATFORM") == "offscreen") QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
  const QGuiApplication application(argc, argv);
  tolvane::useTranslations(tolvane::translationsFolder());
  tolvane::CatalogueTranslator translator;
  QCoreApplication::installTranslator(&translator);
  QStringList arguments = QCoreApplication::arguments().mid(1);
  if (arguments.isEmpty()) {
    std::fputs("Usage: window_pictures FOLDER [SCENE[@WIDTHxHEIGHT]...]\n", stderr);
    return 2;
  }
  const QDir folder(arguments.takeFirst());
  try {
    if (folder.dirName() == QLatin1String("--cut")) return tolvane::test::findCut(arguments, translator);
    return tolvane::test::shootAll(folder, arguments);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "window_pictures: %s\n", failure.what());
    return 1;
  }
}
