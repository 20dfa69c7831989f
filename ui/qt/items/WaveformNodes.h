#pragma once
// The scene graph's nodes for a waveform's bars. Called while the window's thread waits for the renderer.

#include <QColor>
#include <QSGNode>
#include <span>

#include "ui/waveforms/WaveformBars.h"

class QQuickWindow;

namespace tolvane {

struct WaveformPaint {
  std::span<const WaveformBar> bars;
  double height = 0;
  double pixel = 1;  ///< the size of a screen pixel, over which an edge is softened
  QColor activeLower;
  QColor activeUpper;
  QColor inactive;
};

/// The node of before, brought up to date, or a new one; null without bars.
[[nodiscard]] QSGNode* waveformNode(QSGNode* previous, const WaveformPaint& paint, QQuickWindow& window);

}  // namespace tolvane
