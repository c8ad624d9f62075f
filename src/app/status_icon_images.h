#pragma once

#include <QColor>
#include <QImage>

#include "app/status_icon.h"

namespace pellum {

// The idle icon: the letter "P" in Georgia Bold Italic at 17.1 pt, centred in
// an 18x18 image (the bold system font when Georgia is missing), in one
// colour so the desktop's theme decides how it reads.
QImage idleIconImage(const QColor& color, qreal devicePixelRatio = 1.0);

// A dictation state's symbol, 16 points, in its tint.
QImage symbolImage(StatusIcon::Symbol symbol, const QColor& tint, qreal devicePixelRatio = 1.0);

// The system red and orange.
QColor tintColor(StatusIcon::Tint tint);

}  // namespace pellum
