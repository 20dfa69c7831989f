#pragma once
// Compares what was handed to the device with one track, frame by frame, and reconstructs the source's integers from it
// for the encoder's signature. Player's thread. Reads the track's block; changes nothing.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "engine/delivery/DeliveryReport.h"
#include "engine/delivery/SampleReading.h"
#include "engine/render/AudioRenderContext.h"
#include "platform/ChannelLayout.h"
#include "platform/DeliveryRecord.h"
#include "platform/Digest.h"

namespace tolvane {

class DeliveryCheck {
 public:
  struct Track {
    std::shared_ptr<const AudioRenderContext> context;  ///< not null
    std::uint32_t bitDepth = 0;                         ///< of the source
    bool isFloat = false;                               ///< of the source
    bool isLossless = false;
    std::optional<SampleSignature> signature{};
    ChannelLayout channels{};  ///< empty: the usual ones
    FileURL url{};
  };

  explicit DeliveryCheck(Track track);

  [[nodiscard]] const AudioRenderContext* context() const { return track_.context.get(); }

  /// Playback begins or continues at this frame of the track. Frame 0 begins a new pass.
  void runBegins(std::int64_t trackFrame);
  /// Frames that the device has played, from `trackFrame` on. Frames after the track's end are ignored.
  void add(std::int64_t trackFrame, const DeliveryRecord::Form& form, std::span<const std::byte> bytes);
  /// Why this pass as a whole cannot be judged. The first reason is kept, unless `levels` follows: levels alter
  /// samples.
  void interrupt(DeliveryReport::Reason reason);
  /// Ends the pass.
  void end();

  /// Hands over the track's block, which is no longer read. After this only the destructor may be called.
  [[nodiscard]] std::shared_ptr<const AudioRenderContext> takeContext() { return std::move(track_.context); }

  [[nodiscard]] bool isComplete() const { return next_ >= track_.context->totalFrames(); }
  /// A frame of the track was played, in this pass or an earlier one.
  [[nodiscard]] bool hasFrames() const { return hasFrames_; }
  [[nodiscard]] DeliveryReport report() const;

 private:
  void beginPass();
  [[nodiscard]] bool setForm(const DeliveryRecord::Form& form);
  [[nodiscard]] bool isExact() const;
  std::size_t compareExactly(std::span<const std::byte> source, std::span<const std::byte> delivered,
                             std::size_t frames);
  std::size_t compareNumbers(std::span<const std::byte> source, std::span<const std::byte> delivered,
                             std::size_t frames);
  void addToDigest(std::size_t frames);

  // Constant after construction, except for the block, which is handed over at the end.
  Track track_;
  std::optional<SampleForm> source_;

  bool hasFrames_ = false;

  // The current pass.
  std::int64_t next_ = 0;    ///< the next frame of the track that is expected
  std::int64_t frames_ = 0;  ///< frames compared without interruption from the beginning
  DeliveryReport::Reason reason_ = DeliveryReport::Reason::none;
  std::optional<std::int64_t> firstDifference_;
  std::uint32_t roundedToBits_ = 0;
  Digest digest_{Digest::Algorithm::md5};

  // The form in which frames arrive.
  std::optional<DeliveryRecord::Form> form_;
  std::optional<SampleForm> delivered_;
  std::vector<std::uint32_t> places_;  ///< for each channel of the track: the device's channel
  bool isInOrder_ = false;             ///< the channels of track and device correspond in order
  std::vector<bool> isSilent_;         ///< for each channel of the device: no channel of the track plays there

  // Scratch, for one piece of frames.
  std::vector<std::int64_t> sourceValues_, deliveredValues_;
  std::vector<double> sourceNumbers_, deliveredNumbers_;
  std::vector<std::byte> reduced_;
};

/// For each channel of the track, the channel of the device that plays it; nothing if unknown. Stereo and mono are in
/// order on a device with as many channels and no reported layout. If the device has only one of the rear and side
/// pairs, that pair stands for the other one.
[[nodiscard]] std::optional<std::vector<std::uint32_t>> placesOfChannels(const ChannelLayout& track,
                                                                         const ChannelLayout& device);

}  // namespace tolvane
