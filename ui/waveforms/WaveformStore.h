#pragma once
// The window's waveforms, by file: which are known, which are being read. Window's thread; files are read in the
// background. A result that is no longer wanted is dropped. Results are kept as long as the window.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stop_token>
#include <vector>

#include "engine/Observers.h"
#include "engine/waveform/Waveform.h"
#include "platform/FileURL.h"
#include "platform/Mailbox.h"
#include "platform/RunLoop.h"

namespace tolvane {

class WaveformStore {
 public:
  using Samples = std::shared_ptr<const std::vector<double>>;
  using Work = std::function<void()>;
  /// Runs the work once, at low priority, on another thread or at another time; or never, once the window has gone.
  using Background = std::function<void(Work)>;
  /// Computes a file's waveform. Called in the background; owns what it uses.
  using Extract = std::function<std::optional<Result<Waveform>>(const FileURL&, const std::stop_token&)>;
  using Observer = std::function<void(const FileURL&)>;

  /// The run loop outlives the store, but not the work that it has handed to the background.
  WaveformStore(RunLoop& runLoop, Extract extract, Background background);
  ~WaveformStore();
  WaveformStore(const WaveformStore&) = delete;
  WaveformStore& operator=(const WaveformStore&) = delete;

  /// Starts a load unless one is cached or running.
  void loadWaveform(const FileURL& url);
  /// The waveforms stay as they are; a file that was being read can be requested again once its reader has stopped.
  void cancelWaveformLoading();
  /// Cancels, and forgets everything.
  void clear();

  /// Null while unknown.
  [[nodiscard]] Samples samples(const FileURL& url) const;
  /// Seconds.
  [[nodiscard]] std::optional<double> duration(const FileURL& url) const;
  /// Of all files that are known.
  [[nodiscard]] std::map<FileURL, double> durations() const;
  [[nodiscard]] bool isLoading(const FileURL& url) const;

  /// Called after a file's waveform has arrived, and after a load of it began or ended without one.
  Subscription onChange(Observer observer) const;

 private:
  using TaskID = std::uint64_t;
  struct Load {
    TaskID task;
    std::stop_source stop;  ///< a stop was requested: its result is not wanted
  };
  /// A file that is known or being read.
  struct Record {
    Samples samples;      ///< null while unknown
    double duration = 0;  ///< seconds
    std::optional<Load> load;
  };
  static void execute(const FileURL& url, TaskID task, const std::stop_token& stop, const Extract& extract,
                      const Mailbox<WaveformStore>::Address& address);
  void finish(const FileURL& url, TaskID task, std::optional<Waveform> waveform);
  void announce(const FileURL& url);

  const Extract extract_;
  const Background background_;
  Mailbox<WaveformStore> mailbox_;
  TaskID lastTask_ = 0;

  std::map<FileURL, Record> records_;
  mutable Observers<FileURL> observers_;
};

}  // namespace tolvane
