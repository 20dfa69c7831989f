#pragma once
// Compares what was handed to the device with one track, frame for frame, and reduces it to the source's own integers
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
    bool isFloat = false;                               ///< the source
    bool isLossless = false;
    std::optional<SampleSignature> signature{};
    ChannelLayout channels{};  ///< empty: the usual ones
    FileURL url{};
  };

  explicit DeliveryCheck(Track track);

  [[nodiscard]] const AudioRenderContext* context() const { return track_.context.get(); }

  /// Playback begins, or goes on, at this frame of the track. At frame 0 a new pass begins.
  void runBegins(std::int64_t trackFrame);
  /// Frames that the device has played, from `trackFrame` on. What lies behind the track's end is not looked at.
  void add(std::int64_t trackFrame, const DeliveryRecord::Form& form, std::span<const std::byte> bytes);
  /// Why nothing can be said of this pass as a whole. The first reason stays, unless levels come: those alter samples.
  void interrupt(DeliveryReport::Reason reason);
  /// The pass is over.
  void end();

  /// The track's block, which is not read any more. Nothing but the destructor may be called afterwards.
  [[nodiscard]] std::shared_ptr<const AudioRenderContext> takeContext() { return std::move(track_.context); }

  [[nodiscard]] bool isComplete() const { return next_ >= track_.context->totalFrames(); }
  /// Some frame of the track was played, in this pass or an earlier one.
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

  // Constant after construction, but for the block that is taken at the end.
  Track track_;
  std::optional<SampleForm> source_;

  bool hasFrames_ = false;

  // Of the pass.
  std::int64_t next_ = 0;    ///< frame of the track that is expected
  std::int64_t frames_ = 0;  ///< without interruption from the beginning
  DeliveryReport::Reason reason_ = DeliveryReport::Reason::none;
  std::optional<std::int64_t> firstDifference_;
  std::uint32_t roundedToBits_ = 0;
  Digest digest_{Digest::Algorithm::md5};

  // Of the form in which the frames come.
  std::optional<DeliveryRecord::Form> form_;
  std::optional<SampleForm> delivered_;
  std::vector<std::uint32_t> places_;  ///< by channel of the track: the device's channel
  bool isInOrder_ = false;             ///< channel for channel
  std::vector<bool> isSilent_;         ///< by channel of the device: none of the track's

  // Scratch, of one piece.
  std::vector<std::int64_t> sourceValues_, deliveredValues_;
  std::vector<double> sourceNumbers_, deliveredNumbers_;
  std::vector<std::byte> reduced_;
};

/// By channel of the track, the channel of the device that plays it; nothing where that is not known. Stereo and mono
/// on as many channels of which nothing is known are in order. Where the device has only one of the rear and the side
/// pair, it stands for the other one.
[[nodiscard]] std::optional<std::vector<std::uint32_t>> placesOfChannels(const ChannelLayout& track,
                                                                         const ChannelLayout& device);

}  // namespace tolvane
