#pragma once
// A waveform as bars in the scene graph. Window's thread; its nodes are built while that thread waits for the renderer.
// Rebuilt only when another bar has been played, or another waveform or size has come.

#include <QColor>
#include <QQuickItem>

#include "ui/waveforms/WaveformBars.h"
#include "ui/qt/items/WaveformSamples.h"

namespace tolvane {

class WaveformView : public QQuickItem {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(tolvane::WaveformSamples samples READ samples WRITE setSamples NOTIFY samplesChanged FINAL)
  Q_PROPERTY(double progress READ progress WRITE setProgress NOTIFY progressChanged FINAL)
  Q_PROPERTY(double barWidth READ barWidth WRITE setBarWidth NOTIFY lookChanged FINAL)
  Q_PROPERTY(double spacing READ spacing WRITE setSpacing NOTIFY lookChanged FINAL)
  /// The played part, from its lower edge to its upper.
  Q_PROPERTY(QColor activeLower MEMBER activeLower_ NOTIFY lookChanged FINAL)
  Q_PROPERTY(QColor activeUpper MEMBER activeUpper_ NOTIFY lookChanged FINAL)
  Q_PROPERTY(QColor inactiveColor MEMBER inactiveColor_ NOTIFY lookChanged FINAL)

 public:
  explicit WaveformView(QQuickItem* parent = nullptr);

  [[nodiscard]] WaveformSamples samples() const { return samples_; }
  void setSamples(const WaveformSamples& samples);
  [[nodiscard]] double progress() const { return layout_.progress; }
  void setProgress(double progress);
  [[nodiscard]] double barWidth() const { return layout_.barWidth; }
  void setBarWidth(double width);
  [[nodiscard]] double spacing() const { return layout_.spacing; }
  void setSpacing(double spacing);

  /// The values that it draws now.
  [[nodiscard]] std::vector<WaveformBar> bars() const;

 signals:
  void samplesChanged();
  void progressChanged();
  void lookChanged();

 protected:
  QSGNode* updatePaintNode(QSGNode* node, UpdatePaintNodeData* data) override;
  void itemChange(ItemChange change, const ItemChangeData& data) override;
  void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;

 private:
  WaveformSamples samples_;
  WaveformLayout layout_;  // its size is the item's
  QColor activeLower_ = Qt::white;
  QColor activeUpper_ = Qt::white;
  QColor inactiveColor_ = Qt::gray;
};

}  // namespace tolvane
