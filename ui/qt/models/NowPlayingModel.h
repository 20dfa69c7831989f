#pragma once
// The current track and the transport for QML. Window's thread.

#include <QtQmlIntegration>

#include "platform/BackgroundRequest.h"
#include "ui/ContentView.h"
#include "ui/qt/items/CoverImage.h"
#include "ui/qt/SessionAdapter.h"
#include "ui/qt/items/WaveformSamples.h"

namespace tolvane {

class NowPlayingModel final : public SessionAdapter {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("made by the window")
  Q_PROPERTY(QString title READ title NOTIFY changed FINAL)
  /// Artist and album by the tags; empty where they state none.
  Q_PROPERTY(QString credits READ credits NOTIFY changed FINAL)
  /// The line below the title.
  Q_PROPERTY(QString detail READ detail NOTIFY changed FINAL)
  Q_PROPERTY(tolvane::CoverImage cover READ cover NOTIFY coverChanged FINAL)
  Q_PROPERTY(QString trackPosition READ trackPosition NOTIFY changed FINAL)
  Q_PROPERTY(QString elapsed READ elapsed NOTIFY changed FINAL)
  Q_PROPERTY(QString duration READ duration NOTIFY changed FINAL)
  Q_PROPERTY(tolvane::WaveformSamples samples READ samples NOTIFY waveformChanged FINAL)
  Q_PROPERTY(double progress READ progress NOTIFY changed FINAL)
  Q_PROPERTY(QString sampleRate READ sampleRate NOTIFY changed FINAL)
  Q_PROPERTY(int currentIndex READ currentIndex NOTIFY changed FINAL)
  Q_PROPERTY(bool playing READ isPlaying NOTIFY changed FINAL)
  /// The track is being read; a clock runs, and a verdict stands, only once it plays.
  Q_PROPERTY(bool preparing READ isPreparing NOTIFY changed FINAL)
  Q_PROPERTY(double preparationProgress READ preparationProgress NOTIFY changed FINAL)
  Q_PROPERTY(bool hasTrack READ hasTrack NOTIFY changed FINAL)
  Q_PROPERTY(bool canSeek READ canSeek NOTIFY changed FINAL)
  Q_PROPERTY(bool canPlayNext READ canPlayNext NOTIFY changed FINAL)
  Q_PROPERTY(bool canStop READ canStop NOTIFY changed FINAL)

 public:
  explicit NowPlayingModel(ContentView& content);

  [[nodiscard]] QString title() const;
  [[nodiscard]] QString credits() const;
  [[nodiscard]] QString detail() const;
  [[nodiscard]] const CoverImage& cover() const { return cover_; }
  [[nodiscard]] QString trackPosition() const;
  [[nodiscard]] QString elapsed() const;
  [[nodiscard]] QString duration() const;
  [[nodiscard]] WaveformSamples samples() const { return samples_; }
  [[nodiscard]] double progress() const { return state().progress(); }
  [[nodiscard]] QString sampleRate() const;
  [[nodiscard]] int currentIndex() const;  ///< −1 without a track
  [[nodiscard]] bool isPlaying() const { return state().isGoingToPlay(); }
  [[nodiscard]] bool isPreparing() const { return state().isPreparing; }
  [[nodiscard]] double preparationProgress() const { return state().preparationProgress; }
  [[nodiscard]] bool hasTrack() const { return state().currentTrack() != nullptr; }
  [[nodiscard]] bool canSeek() const { return content_.currentTrackDuration() > 0; }
  [[nodiscard]] bool canPlayNext() const { return state().canPlayNext(); }
  [[nodiscard]] bool canStop() const;

  /// The time at a fraction of the track.
  [[nodiscard]] Q_INVOKABLE QString timeAt(double fraction) const;
  Q_INVOKABLE void togglePause() { session().togglePausePlayback(); }
  Q_INVOKABLE void previous() { session().previous(); }
  Q_INVOKABLE void next() { session().next(); }
  Q_INVOKABLE void stop() { session().stopPlayback(); }
  /// Forwards or, below 0, backwards, to the track's ends at most. As playFrom().
  Q_INVOKABLE void seekBy(double seconds);
  /// 0 … 1 of the current track; starts it when it does not play.
  Q_INVOKABLE void playFrom(double fraction) { content_.playTrack(state().currentIndex, fraction); }

 signals:
  void waveformChanged();
  void coverChanged();

 private:
  void adoptTrack();
  void adoptSamples();
  void decodeCover();
  void adoptCover(QImage image);
  [[nodiscard]] const MusicTags* tags() const;

  ContentView& content_;
  std::optional<FileURL> track_;  // whose waveform was requested
  WaveformSamples samples_;
  CoverImage cover_;
  BackgroundRequest<QImage> decoding_;
  Subscription subscriptions_;
};

}  // namespace tolvane
