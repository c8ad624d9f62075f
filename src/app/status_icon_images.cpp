#include "app/status_icon_images.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

#include "ui/point_size.h"

namespace pellum {
namespace {

constexpr int kIconPoints = 18;

QImage blankImage(qreal ratio) {
  const int pixels = qRound(kIconPoints * ratio);
  QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
  image.setDevicePixelRatio(ratio);
  image.fill(Qt::transparent);
  return image;
}

QFont idleFont() {
  QFont font;
  if (QFontDatabase::families().contains(QStringLiteral("Georgia"))) {
    font = QFont(QStringLiteral("Georgia"));
    font.setItalic(true);
  }
  font.setBold(true);
  font.setPointSizeF(qtPointSize(17.1));
  return font;
}

void drawMicrophone(QPainter& painter, const QColor& color, bool slashed) {
  painter.setPen(QPen(color, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
  painter.setBrush(slashed ? Qt::NoBrush : QBrush(color));
  painter.drawRoundedRect(QRectF(6.5, 2, 5, 9), 2.5, 2.5);
  painter.setBrush(Qt::NoBrush);
  QPainterPath cup;
  cup.moveTo(4, 8.5);
  cup.cubicTo(4, 12.5, 14, 12.5, 14, 8.5);
  painter.drawPath(cup);
  painter.drawLine(QPointF(9, 12.2), QPointF(9, 15.5));
  painter.drawLine(QPointF(6.5, 15.5), QPointF(11.5, 15.5));
  if (slashed) painter.drawLine(QPointF(3, 2.5), QPointF(15, 15.5));
}

void drawWaveform(QPainter& painter, const QColor& color) {
  painter.setPen(QPen(color, 1.8, Qt::SolidLine, Qt::RoundCap));
  const qreal heights[] = {4, 8, 12, 7, 10, 5};
  for (int i = 0; i < 6; ++i) {
    const qreal x = 3.5 + i * 2.2;
    painter.drawLine(QPointF(x, 9 - heights[i] / 2), QPointF(x, 9 + heights[i] / 2));
  }
}

}  // namespace

QImage idleIconImage(const QColor& color, qreal devicePixelRatio) {
  QImage image = blankImage(devicePixelRatio);
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setRenderHint(QPainter::TextAntialiasing);
  painter.setPen(color);
  painter.setFont(idleFont());
  // Centred on the letter's own box, then one point lower, which reads as
  // centred in a menu bar.
  const QSizeF size = QFontMetricsF(painter.font()).size(0, QStringLiteral("P"));
  painter.drawText(QRectF((kIconPoints - size.width()) * 0.5, (kIconPoints - size.height()) * 0.5 + 1.0,
                          size.width(), size.height()),
                   Qt::AlignCenter, QStringLiteral("P"));
  return image;
}

QImage symbolImage(StatusIcon::Symbol symbol, const QColor& tint, qreal devicePixelRatio) {
  QImage image = blankImage(devicePixelRatio);
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  switch (symbol) {
    case StatusIcon::Symbol::micSlash:
      drawMicrophone(painter, tint, /*slashed=*/true);
      break;
    case StatusIcon::Symbol::micFill:
      drawMicrophone(painter, tint, /*slashed=*/false);
      break;
    case StatusIcon::Symbol::waveform:
      drawWaveform(painter, tint);
      break;
  }
  return image;
}

QColor tintColor(StatusIcon::Tint tint) {
  return tint == StatusIcon::Tint::red ? QColor(255, 59, 48) : QColor(255, 149, 0);
}

}  // namespace pellum
