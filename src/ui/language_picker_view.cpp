#include "ui/language_picker_view.h"

#include <QApplication>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>

#include "ui/point_size.h"

namespace pellum {
namespace {

QWidget* rowWidget(const GladiaLanguages::Entry& entry, bool ticked) {
  auto* row = new QWidget;
  auto* layout = new QHBoxLayout(row);
  layout->setContentsMargins(2, 0, 6, 0);
  layout->setSpacing(6);
  auto* checkbox = new QCheckBox;
  checkbox->setChecked(ticked);
  checkbox->setEnabled(false);  // clicks go to the row
  auto* name = new QLabel(QString::fromUtf8(entry.name.data(), static_cast<qsizetype>(entry.name.size())));
  QFont nameFont = name->font();
  nameFont.setPointSizeF(qtPointSize(13));
  name->setFont(nameFont);
  auto* code = new QLabel(QString::fromUtf8(entry.code.data(), static_cast<qsizetype>(entry.code.size())));
  QFont codeFont = code->font();
  codeFont.setPointSizeF(qtPointSize(11));
  code->setFont(codeFont);
  code->setForegroundRole(QPalette::PlaceholderText);
  layout->addWidget(checkbox);
  layout->addWidget(name, 1);
  layout->addWidget(code);
  return row;
}

}  // namespace

// A tool window, not a popup: a popup's keyboard grab would swallow the
// dictation key for as long as the list is open.
LanguagePickerView::LanguagePickerView(LanguagePickerModel model, OnSave onSave, OnPick onPick)
    : QWidget(nullptr,
              Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::NoDropShadowWindowHint),
      model_(std::move(model)),
      onSave_(std::move(onSave)),
      onPick_(std::move(onPick)),
      search_(new QLineEdit(this)),
      list_(new QListWidget(this)) {
  setAttribute(Qt::WA_DeleteOnClose);
  setFixedSize(280, 360);
  search_->setGeometry(12, 12, 256, 24);
  search_->setPlaceholderText(QStringLiteral("Search languages"));
  search_->setClearButtonEnabled(true);
  list_->setGeometry(12, 48, 256, 300);
  list_->setFrameShape(QFrame::NoFrame);
  list_->setSpacing(1);
  list_->setSelectionMode(QAbstractItemView::NoSelection);
  list_->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
  list_->setFocusPolicy(Qt::NoFocus);
  QObject::connect(search_, &QLineEdit::textChanged, this, [this](const QString& text) {
    model_.applyFilter(text.toStdString());
    reload();
  });
  QObject::connect(list_, &QListWidget::itemClicked, this,
                   [this](QListWidgetItem* item) { clickRow(list_->row(item)); });
  reload();
}

void LanguagePickerView::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  search_->setFocus();
}

void LanguagePickerView::reload() {
  list_->clear();
  for (const auto& entry : model_.filtered()) {
    auto* item = new QListWidgetItem(list_);
    item->setSizeHint(QSize(252, 22));
    list_->setItemWidget(item, rowWidget(entry, model_.isSelected(entry.code)));
  }
}

void LanguagePickerView::clickRow(int row) {
  const auto choice = model_.clickRow(row);
  if (!choice) return;
  if (choice->beep) {
    QApplication::beep();
    return;
  }
  if (choice->saveList) {
    reload();
    if (onSave_) onSave_(*choice->saveList);
    return;
  }
  if (choice->picked && onPick_) onPick_(*choice->picked);
}

}  // namespace pellum
