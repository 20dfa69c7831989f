#pragma once
// Sessions that follow one another over the same defaults and files: the vocabulary of what survives a restart.

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "session/Base64.h"
#include "tests/session/SessionFixture.h"

namespace tolvane {

class RecordsFixture : public SessionFixture {
 protected:
  static constexpr auto playlistKey = "TolvanePlayer.SavedPlaylist";
  static constexpr auto stateKey = "TolvanePlayer.SavedPlaybackState";

  /// A later run of the program, over what is stored then.
  struct Run {
    Run(RecordsFixture& world, MemoryUserDefaults::Values stored)
        : defaults(std::move(stored)),
          session(world.hardware, world.files, defaults, world.bookmarks, world.runLoop, world.log) {}

    [[nodiscard]] std::vector<int> order() const {
      std::vector<int> numbers;
      for (const auto& url : session.fileURLs()) numbers.push_back(std::stoi(std::string(url.stem())));
      return numbers;
    }
    [[nodiscard]] std::int64_t index() const { return session.currentIndex().value(); }
    [[nodiscard]] double position() const { return session.playbackPosition().value(); }
    [[nodiscard]] double duration() const { return session.playbackDuration().value(); }

    MemoryUserDefaults defaults;
    PlayerSession session;
  };

  [[nodiscard]] std::unique_ptr<Run> nextRun() { return nextRun(defaults.stored()); }
  [[nodiscard]] std::unique_ptr<Run> nextRun(MemoryUserDefaults::Values stored) {
    return std::make_unique<Run>(*this, std::move(stored));
  }

  /// Defaults that hold the tracks 1 … count and this state record.
  [[nodiscard]] MemoryUserDefaults::Values storedTracks(int count, const std::string& state) {
    nlohmann::json list = nlohmann::json::array();
    for (int number = 1; number <= count; ++number) {
      addTrack(number);
      std::string text;
      appendBase64(text, bookmarks.make(track(number)).value());
      list.push_back(text);
    }
    MemoryUserDefaults::Values values;
    values[playlistKey] = nlohmann::json{{"version", 1}, {"bookmarks", list}}.dump();
    if (!state.empty()) values[stateKey] = state;
    return values;
  }

  /// A state record as another program might have written it.
  [[nodiscard]] static std::string state(int index, double position, double duration) {
    return nlohmann::json{{"duration", duration}, {"position", position}, {"currentIndex", index}, {"version", 1}}
        .dump();
  }

  [[nodiscard]] static nlohmann::json record(const MemoryUserDefaults::Values& values, const char* key) {
    const auto found = values.find(key);
    return found != values.end() ? nlohmann::json::parse(std::get<UserDefaults::Data>(found->second))
                                 : nlohmann::json();
  }
  [[nodiscard]] nlohmann::json savedState() const { return record(defaults.stored(), stateKey); }

  /// The files of the saved playlist, by number.
  [[nodiscard]] std::vector<int> savedOrder(const MemoryUserDefaults::Values& values) {
    std::vector<FileBookmark> list;
    const nlohmann::json saved = record(values, playlistKey);
    for (const auto& text : saved.at("bookmarks")) list.push_back(decodedBase64(text.get<std::string>()).value());
    std::vector<int> numbers;
    for (const auto& entry : bookmarks.resolve(list))
      numbers.push_back(std::stoi(std::string(entry.value().url.stem())));
    return numbers;
  }
  [[nodiscard]] std::vector<int> savedOrder() { return savedOrder(defaults.stored()); }
};

}  // namespace tolvane
