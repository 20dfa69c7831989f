#include "tests/ui/qt/ListScenes.h"

#include <QtTest/QTest>
#include <string>
#include <vector>

#include "ui/qt/models/TrackDragModel.h"

namespace tolvane::test {

void ListScenes::unplayable() {
  loadProgramme();
  files.remove(url(1));
  SimulatedPCMFile damaged = recording(programme[4]);
  damaged.formatStatus = kAudioFileInvalidFileError;
  files.add(url(4), damaged);
  content.playTrack(1, 0);
  settle();
  content.playTrack(4, 0);
  settle();
  content.playTrack(2, 0.38);
  advance(std::chrono::milliseconds(1200));
  settle();
}

void ListScenes::unplayableKeyboard() {
  unplayable();
  item("Tracks")->forceActiveFocus(Qt::TabFocusReason);
  for (int press = 0; press < 2; ++press) key(Qt::Key_Down);
  waitForTip();
}

void ListScenes::unplayablePointer() {
  unplayable();
  QTest::mouseMove(window, placeIn(*row(1), 0, 0.5) + QPoint(30, 0));
  waitForTip();
}

void ListScenes::unplayableWide() {
  window->resize(1600, 1000);
  unplayablePointer();
}

void ListScenes::names() {
  const std::string longest =
      "Concerto for Two Prepared Pianos, Contrabass Clarinet and Tape in Seven Continuous Movements (1974 Revision)";
  std::vector<FileURL> urls;
  for (const std::string& name :
       {longest, std::string("日本語の曲名とても長いタイトルの例、最後まで読めるか"),
        std::string("Ünïcödé – naïve façade"), std::string("x"), std::string("broken \xff\xfe name")})
    urls.push_back(add(FileURL("/music/" + name + ".wav"), programme[urls.size()]));
  SimulatedDeviceConfig device;
  device.name = "Universal Serial Bus High Definition Audio Interface (Rear Panel, Balanced Outputs 3/4)";
  pick(device);
  content.loadPlaylist(urls);
  settle();
}

void ListScenes::thousands() {
  std::vector<FileURL> urls;
  for (int number = 1; number <= 100'000; ++number)
    urls.emplace_back("/music/Recording " + std::to_string(number) + ".wav");
  for (int number = 54'320; number < 54'330; ++number)
    add(urls[static_cast<std::size_t>(number)], programme[number % 12]);
  content.loadPlaylist(urls);
  settle();
  content.playTrack(54'321, 0.6);
  settle();
}

void ListScenes::dragging() {
  play(2, 0.38);
  auto& drag = *window->property("trackDrag").value<TrackDragModel*>();
  data_.reset(drag.begin(1));
  const QPoint place = placeIn(*row(2), 0.5, 0.8);
  QDragEnterEvent event(place, Qt::MoveAction, data_.get(), Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(window, &event);
}

void ListScenes::selecting() {
  play(2, 0.38);
  auto* tracks = window->property("tracks").value<QObject*>();
  for (const int row : {3, 1}) QMetaObject::invokeMethod(tracks, "toggleSelected", Q_ARG(int, row));
  session.moveTrack(7, 8);
}

void ListScenes::selectingWide() {
  window->resize(1600, 1000);
  selecting();
}

void ListScenes::removed() {
  play(2, 0.38);
  session.removeTracks(std::vector{proxy.state().tracks[3].id, proxy.state().tracks[4].id});
}

void ListScenes::removedWide() {
  window->resize(1600, 1000);
  removed();
}

void ListScenes::saved() {
  play(2, 0.38);
  sources.savePlaylist(FileURL("/missing/Evening.m3u8"), content.listToSave(), Replacing::allowed);
}

void ListScenes::finding() {
  play(2, 0.38);
  type("er");
}

void ListScenes::findingWide() {
  window->resize(1600, 1000);
  finding();
}

void ListScenes::inserting() {
  play(2, 0.38);
  hover(placeIn(*row(3), 0.5, 0.05));
}

void ListScenes::insertingWide() {
  window->resize(1600, 1000);
  inserting();
}

void ListScenes::dropping() {
  play(2, 0.38);
  hover();
}

void ListScenes::droppingEmpty() { hover(); }

void ListScenes::hover(QPoint place) {
  data_ = std::make_unique<QMimeData>();
  data_->setUrls({QUrl("file:///music/New")});
  QDragEnterEvent event(place, Qt::CopyAction, data_.get(), Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(window, &event);
}

}  // namespace tolvane::test
