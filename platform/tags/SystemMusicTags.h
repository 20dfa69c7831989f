#pragma once
// Tags and covers of the files on this machine. Opens regular files only, waits for no pipe and no device, and keeps
// one file open during a call: a file that replaces it meanwhile does not affect the result.

#include "platform/MusicTags.h"

namespace tolvane {

class SystemMusicTags final : public MusicTagReader {
 public:
  [[nodiscard]] MusicTags tags(const FileURL& url, const std::stop_token& stop) const override;
  [[nodiscard]] std::optional<Cover> cover(const FileURL& url, const std::stop_token& stop) const override;
};

}  // namespace tolvane
