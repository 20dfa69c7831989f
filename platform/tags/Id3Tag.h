#pragma once
// An ID3v2 tag of version 2.2 to 2.4, or the 128 bytes of version 1. Reads the headers of its frames and the frames
// that are requested, whatever the sizes claim: a compressed or encrypted one is skipped, because it could expand to
// gigabytes. One thread each.

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/MusicTags.h"
#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane {

class Id3Tag {
 public:
  /// Nothing where no tag begins at `offset`. `source` outlives the tag.
  [[nodiscard]] static std::optional<Id3Tag> at(const ByteSource& source, std::uint64_t offset);

  [[nodiscard]] MusicTags tags() const;
  [[nodiscard]] std::optional<Cover> cover() const;

 private:
  struct Frame {
    std::string_view id;   ///< as in version 2.4
    std::uint64_t offset;  ///< of its content
    std::uint64_t size;    ///< bytes of content
    bool isUnsynchronised;
  };

  void findFrames(std::uint64_t offset, std::uint64_t end);
  void addFrame(std::string_view id, std::uint64_t offset, std::uint64_t size, unsigned flags);
  [[nodiscard]] std::vector<std::byte> content(const Frame& frame, std::size_t most) const;

  std::shared_ptr<const ByteSource> decoded_;  ///< of a tag that is stored in another form
  const ByteSource* source_ = nullptr;
  int version_ = 0;  ///< 2 … 4
  bool isUnsynchronised_ = false;
  std::vector<Frame> frames_;  ///< those that can be requested
};

/// Of the last 128 bytes of a file; all empty where they are no tag.
[[nodiscard]] MusicTags id3Version1Tags(const ByteSource& source);

}  // namespace tolvane
