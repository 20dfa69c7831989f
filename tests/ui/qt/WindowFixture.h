#pragma once
// The real window over simulated hardware and files, and a user: the vocabulary of the window's tests.
// Controls are found by their accessible names, so that what a test can reach a screen reader can reach, too.

#include <gmock/gmock.h>

#include <QAccessible>
#include <QPointF>
#include <QQuickItem>
#include <QQuickWindow>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/MemoryUserDefaults.h"
#include "platform/simulated/SimulatedAudioFileServices.h"
#include "platform/simulated/SimulatedAudioHardware.h"
#include "platform/simulated/SimulatedFileBookmarks.h"
#include "session/SessionHost.h"
#include "ui/qt/window/PlayerWindow.h"

namespace tolvane::test {

class WindowFixture : public testing::Test {
 protected:
  static constexpr double trackSeconds = 10;

  /// A player apart has a clock of its own, and turns in settle() and in advance() only.
  explicit WindowFixture(bool isPlayerApart = false);
  ~WindowFixture() override;

  AudioObjectID addDevice(const char* name);
  static FileURL track(int number) { return FileURL("/music/Track " + std::to_string(number) + ".wav"); }
  /// Files of ten seconds: tracks 1 … count.
  std::vector<FileURL> addTracks(int count);
  /// The same, loaded and playing the first.
  void load(int count);

  /// Opens the window once more, over the same session.
  void openWindow();

  /// Lets everything happen that is due; the clock stands still.
  void settle();
  /// After a dialog has closed. From Qt 6.8 on it is a window of its own: then a desktop activates the one behind it, and
  /// here the test does.
  void returnFromDialog();
  /// Moves the clocks of window and player on.
  void advance(RunLoop::Duration duration);
  void finishReading();
  void finishReadingTags();
  /// Lets events come until the condition holds; gives up, and says so, after a time that only a broken window needs.
  [[nodiscard]] bool waitFor(const std::function<bool()>& condition);

  // What the user sees and hears.

  [[nodiscard]] QAccessibleInterface* accessible(const QString& name) const;
  [[nodiscard]] bool isShown(const QString& name) const;
  [[nodiscard]] QQuickItem* item(const QString& name) const;
  [[nodiscard]] QList<QAccessibleInterface*> controls() const;
  [[nodiscard]] QQuickItem* row(int index) const;
  [[nodiscard]] std::vector<int> order() const;
  [[nodiscard]] bool isPlaying() const { return session.player().isPlaying().value(); }
  [[nodiscard]] std::int64_t currentIndex() const { return session.currentIndex().value(); }
  [[nodiscard]] double position() const { return session.playbackPosition().value(); }

  // What the user does.

  [[nodiscard]] QPoint placeIn(const QQuickItem& item, double x, double y) const;  ///< fractions of its size
  void click(const QString& name);
  void clickAt(QPoint place);
  /// To another window, which has the keyboard then; and back.
  void goToTheBackground();
  void comeToTheFront();
  void key(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
  /// Letters of ASCII.
  void type(std::string_view text);

  ManualRunLoop runLoop;  ///< the window's, and the player's where that is not apart
  std::optional<ManualRunLoop> apart;
  ManualRunLoop& playersLoop = apart ? *apart : runLoop;
  bool isHeldUp = false;  ///< a player apart waits in a driver, and does not turn
  MemoryLog log;
  SimulatedAudioHardware hardware{playersLoop};
  SimulatedAudioFileServices files;
  MemoryUserDefaults defaults;
  SimulatedFileBookmarks bookmarks;
  AudioObjectID dac = addDevice("Studio DAC");
  AudioObjectID headphones = addDevice("Headphones");
  bool readsLater = false;              ///< tracks are read when the test says so
  std::vector<BackgroundWork> reading;  ///< done by finishReading()
  std::map<FileURL, MusicTags> stated;  ///< by the files' tags
  std::map<FileURL, Cover> covers;
  bool tagsComeLater = false;              ///< tags and covers are read when the test says so
  std::vector<BackgroundWork> tagReading;  ///< done by finishReadingTags()
  SessionLink link;
  SessionHost host{{.hardware = hardware,
                    .files = files,
                    .defaults = defaults,
                    .bookmarks = bookmarks,
                    .runLoop = playersLoop,
                    .log = log,
                    .background =
                        [this](BackgroundWork work) {
                          if (!readsLater) return work();
                          reading.push_back(std::move(work));
                        }},
                   link};
  PlayerSession& session = host.session();     ///< of the player, whose side runs on the same run loop
  OutputDeviceList& devices = host.devices();  ///< likewise
  SessionProxy proxy{link, runLoop};
  ContentView content{proxy,
                      runLoop,
                      [this](const FileURL& url, const std::stop_token& stop) {
                        return makeWaveformData(files, url, maxWaveformSamples, stop);
                      },
                      [this](WaveformStore::Work work) { background.push_back(std::move(work)); },
                      {.tags =
                           [this](const FileURL& url, const std::stop_token&) {
                             const auto found = stated.find(url);
                             return found != stated.end() ? found->second : MusicTags();
                           },
                       .cover = [this](const FileURL& url, const std::stop_token&) -> std::optional<Cover> {
                         const auto found = covers.find(url);
                         return found != covers.end() ? std::optional(found->second) : std::nullopt;
                       },
                       .background =
                           [this](BackgroundWork work) {
                             if (!tagsComeLater) return background.push_back(std::move(work));
                             tagReading.push_back(std::move(work));
                           }}};
  SourceActions sources{runLoop, [this](auto urls, auto place) { content.openFiles(urls, place); },
                        [this](BackgroundWork work) { background.push_back(std::move(work)); }};
  std::vector<std::function<void()>> background;  ///< done by settle()
  std::optional<PlayerWindow> player;
  QQuickWindow* window = nullptr;
};

}  // namespace tolvane::test
