#include "ui/qt/items/WaveformView.h"

#include <QQuickWindow>

#include "ui/qt/items/WaveformNodes.h"

namespace tolvane {

WaveformView::WaveformView(QQuickItem* parent) : QQuickItem(parent) {
  setFlag(ItemHasContents);
  connect(this, &WaveformView::lookChanged, this, [this] { update(); });
}

void WaveformView::setSamples(const WaveformSamples& samples) {
  if (samples == samples_) return;
  samples_ = samples;
  update();
  emit samplesChanged();
}

void WaveformView::setProgress(double progress) {
  if (progress == layout_.progress) return;
  const auto before = layout_.activeBarCount();
  layout_.progress = progress;
  if (layout_.activeBarCount() != before) update();
  emit progressChanged();
}

void WaveformView::setBarWidth(double width) {
  if (width == layout_.barWidth) return;
  layout_.barWidth = width;
  emit lookChanged();
}

void WaveformView::setSpacing(double spacing) {
  if (spacing == layout_.spacing) return;
  layout_.spacing = spacing;
  emit lookChanged();
}

std::vector<WaveformBar> WaveformView::bars() const {
  return layout_.bars(samples_.values ? std::span<const double>(*samples_.values) : std::span<const double>());
}

void WaveformView::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) {
  QQuickItem::geometryChange(newGeometry, oldGeometry);
  if (newGeometry.size() == oldGeometry.size()) return;
  layout_.width = newGeometry.width();
  layout_.height = newGeometry.height();
  update();
}

void WaveformView::itemChange(ItemChange change, const ItemChangeData& data) {
  if (change == ItemDevicePixelRatioHasChanged) update();
  QQuickItem::itemChange(change, data);
}

QSGNode* WaveformView::updatePaintNode(QSGNode* node, UpdatePaintNodeData*) {
  const auto bars = this->bars();
  const WaveformPaint paint{bars,         height(),     1 / window()->effectiveDevicePixelRatio(),
                            activeLower_, activeUpper_, inactiveColor_};
  return waveformNode(node, paint, *window());
}

}  // namespace tolvane
