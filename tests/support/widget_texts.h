#pragma once

#include <QLabel>
#include <QStringList>
#include <QWidget>

namespace pellum::test {

// The texts of every label in `widget`, in creation order.
inline QStringList labelTexts(QWidget* widget) {
  QStringList out;
  for (auto* label : widget->findChildren<QLabel*>()) out << label->text();
  return out;
}

}  // namespace pellum::test
