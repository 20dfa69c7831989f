#include "app/shell/WindowResizer.h"

#include <cmath>
#include <utility>

namespace tolvane {

namespace {

constexpr double tolerance = 1.0;  // points

}  // namespace

WindowResizer::WindowResizer(RunLoop& runLoop, UserDefaults& defaults, Frame frame,
                             std::function<void()> onWindowAvailable)
    : runLoop_(runLoop),
      defaults_(defaults),
      frame_(std::move(frame)),
      onWindowAvailable_(std::move(onWindowAvailable)),
      size_(loadSavedWindowSize(defaults)),
      self_(this) {}

void WindowResizer::make() { runLoop_.post(self_.bind(&WindowResizer::adoptFrame)); }

void WindowResizer::update() { runLoop_.post(self_.bind(&WindowResizer::followFrame)); }

void WindowResizer::adoptFrame() {
  if (!frame_()) return;
  onWindowAvailable_();
  if (const auto frame = frame_()) size_ = *frame;  // read again: a window that was just set up has another size
}

void WindowResizer::followFrame() {
  if (!frame_()) return;
  onWindowAvailable_();
  const auto frame = frame_();
  if (!frame) return;
  const bool isSame =
      std::abs(frame->width - size_.width) <= tolerance && std::abs(frame->height - size_.height) <= tolerance;
  if (isSame) return;
  size_ = *frame;
  save(size_, defaults_);
}

}  // namespace tolvane
