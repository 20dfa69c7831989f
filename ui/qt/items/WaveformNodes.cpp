#include "ui/qt/items/WaveformNodes.h"

#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QQuickWindow>
#include <QSGGeometryNode>
#include <QSGImageNode>
#include <QSGRendererInterface>
#include <QSGVertexColorMaterial>
#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace tolvane {

namespace {

using Point = QSGGeometry::ColoredPoint2D;

/// Points of a rounded bar's outline: an arc above, an arc below.
constexpr int arcPoints = 5;
constexpr int outlinePoints = 2 * arcPoints;
/// The outline twice (solid, and transparent a pixel further out).
constexpr int pointsABar = 2 * outlinePoints;
/// A fan over the solid outline, and a ring of two triangles a point between the two.
constexpr int indicesABar = 3 * (outlinePoints - 2) + 6 * outlinePoints;

struct Unit {
  double x;
  double y;
};

/// Directions of the outline's points as seen from their arc's centre, clockwise from the left.
std::array<Unit, outlinePoints> outlineDirections() {
  std::array<Unit, outlinePoints> directions{};
  for (std::size_t i = 0; i < directions.size(); ++i) {
    const bool isLower = i >= arcPoints;
    const double step = static_cast<double>(i % arcPoints) / (arcPoints - 1);
    const double angle = std::numbers::pi * (isLower ? step : 1 + step);
    directions[i] = {std::cos(angle), std::sin(angle)};
  }
  return directions;
}

QColor mixed(const QColor& lower, const QColor& upper, double y, double height) {
  const auto share = static_cast<float>(height > 0 ? std::clamp(1 - y / height, 0.0, 1.0) : 0);
  const auto mix = [share](float a, float b) { return a + (b - a) * share; };
  return QColor::fromRgbF(mix(lower.redF(), upper.redF()), mix(lower.greenF(), upper.greenF()),
                          mix(lower.blueF(), upper.blueF()), mix(lower.alphaF(), upper.alphaF()));
}

/// Colours are premultiplied, as the material blends them.
void setPoint(Point& point, double x, double y, const QColor& color, double coverage) {
  const double alpha = color.alphaF() * coverage;
  const auto byte = [alpha](double component) { return static_cast<uchar>(std::lround(component * alpha * 255)); };
  point.set(static_cast<float>(x), static_cast<float>(y), byte(color.redF()), byte(color.greenF()), byte(color.blueF()),
            static_cast<uchar>(std::lround(alpha * 255)));
}

class BarsNode final : public QSGGeometryNode {
 public:
  BarsNode() : geometry_(QSGGeometry::defaultAttributes_ColoredPoint2D(), 0, 0, QSGGeometry::UnsignedIntType) {
    geometry_.setDrawingMode(QSGGeometry::DrawTriangles);
    setGeometry(&geometry_);
    setMaterial(&material_);
  }

  void paint(const WaveformPaint& paint) {
    const auto count = static_cast<int>(paint.bars.size());
    if (geometry_.vertexCount() != count * pointsABar) {
      geometry_.allocate(count * pointsABar, count * indicesABar);
      writeIndices(count);
    }
    Point* points = geometry_.vertexDataAsColoredPoint2D();
    for (const WaveformBar& bar : paint.bars) {
      writePoints(points, bar, paint);
      points += pointsABar;
    }
    markDirty(DirtyGeometry);
  }

 private:
  void writeIndices(int bars) {
    auto* index = geometry_.indexDataAsUInt();
    for (int bar = 0; bar < bars; ++bar) {
      const auto inner = static_cast<quint32>(bar * pointsABar);
      const quint32 outer = inner + outlinePoints;
      for (quint32 i = 1; i + 1 < outlinePoints; ++i)
        for (const quint32 corner : {inner, inner + i, inner + i + 1}) *index++ = corner;
      for (quint32 i = 0; i < outlinePoints; ++i) {
        const quint32 next = (i + 1) % outlinePoints;
        for (const quint32 corner : {inner + i, inner + next, outer + i, outer + i, inner + next, outer + next})
          *index++ = corner;
      }
    }
  }

  static void writePoints(Point* points, const WaveformBar& bar, const WaveformPaint& paint) {
    static const auto directions = outlineDirections();
    const double soft = paint.pixel / 2;
    const double centreX = bar.x + bar.width / 2;
    for (std::size_t i = 0; i < directions.size(); ++i) {
      const auto& direction = directions[i];
      const double centreY = i < arcPoints ? bar.y + bar.radius : bar.y + bar.height - bar.radius;
      const auto place = [&](double distance, double coverage, Point& point) {
        const double x = centreX + direction.x * std::max(bar.width / 2 + distance, 0.0);
        const double y = centreY + direction.y * std::max(bar.radius + distance, 0.0);
        const QColor color =
            bar.isActive ? mixed(paint.activeLower, paint.activeUpper, y, paint.height) : paint.inactive;
        setPoint(point, x, y, color, coverage);
      };
      place(-soft, 1, points[i]);
      place(soft, 0, points[i + outlinePoints]);
    }
  }

  QSGGeometry geometry_;
  QSGVertexColorMaterial material_;
};

QImage imageOfBars(const WaveformPaint& paint) {
  const WaveformBar& last = paint.bars.back();
  const QSizeF size(last.x + last.width, paint.height);
  QImage image((size / paint.pixel).toSize().expandedTo(QSize(1, 1)), QImage::Format_ARGB32_Premultiplied);
  image.setDevicePixelRatio(1 / paint.pixel);
  image.fill(Qt::transparent);
  QLinearGradient active(0, paint.height, 0, 0);
  active.setColorAt(0, paint.activeLower);
  active.setColorAt(1, paint.activeUpper);
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  for (const WaveformBar& bar : paint.bars) {
    painter.setBrush(bar.isActive ? QBrush(active) : QBrush(paint.inactive));
    painter.drawRoundedRect(QRectF(bar.x, bar.y, bar.width, bar.height), bar.width / 2, bar.radius);
  }
  return image;
}

/// For the software renderer, which knows no triangles; and of a hundred nodes a row it would compare each with each.
QSGNode* imageNode(QSGNode* previous, const WaveformPaint& paint, QQuickWindow& window) {
  auto* node = previous != nullptr ? static_cast<QSGImageNode*>(previous) : window.createImageNode();
  node->setOwnsTexture(true);
  const QImage image = imageOfBars(paint);
  node->setTexture(window.createTextureFromImage(image));
  node->setRect(QRectF(QPointF(), image.deviceIndependentSize()));
  node->setSourceRect(QRectF(QPointF(), image.size()));
  return node;
}

}  // namespace

QSGNode* waveformNode(QSGNode* previous, const WaveformPaint& paint, QQuickWindow& window) {
  if (paint.bars.empty()) {
    delete previous;
    return nullptr;
  }
  if (window.rendererInterface()->graphicsApi() == QSGRendererInterface::Software)
    return imageNode(previous, paint, window);
  auto* node = previous != nullptr ? static_cast<BarsNode*>(previous) : new BarsNode;
  node->paint(paint);
  return node;
}

}  // namespace tolvane
