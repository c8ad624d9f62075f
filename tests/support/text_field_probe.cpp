// A separate X client with one focused text field, for tests that type or
// paste into "another application". It reports on stdout, one line each:
//   ready                 once the field is shown and focused
//   text:<content>        whenever the field's text changes
//   key:<mods>+<key>      every key press it receives (mods: ctrl, shift, alt)
// `--class NAME` sets its WM_CLASS, to pass as a terminal or anything else.

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QTimer>
#include <cstdio>

namespace {

class KeyReporter : public QObject {
 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::KeyPress) {
      auto* key = static_cast<QKeyEvent*>(event);
      QStringList mods;
      if (key->modifiers() & Qt::ControlModifier) mods << QStringLiteral("ctrl");
      if (key->modifiers() & Qt::ShiftModifier) mods << QStringLiteral("shift");
      if (key->modifiers() & Qt::AltModifier) mods << QStringLiteral("alt");
      const QString name = QKeySequence(key->key()).toString().toLower();
      std::printf("key:%s+%s\n", qPrintable(mods.join(QLatin1Char(','))), qPrintable(name));
      std::fflush(stdout);
    }
    return QObject::eventFilter(watched, event);
  }
};

}  // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  const QStringList arguments = QApplication::arguments();
  const auto classAt = arguments.indexOf(QStringLiteral("--class"));
  if (classAt > 0 && classAt + 1 < arguments.size()) {
    QApplication::setApplicationName(arguments[classAt + 1]);
  }
  QLineEdit field;
  field.setWindowTitle(QStringLiteral("probe"));
  field.resize(600, 60);
  field.move(0, 0);
  KeyReporter reporter;
  field.installEventFilter(&reporter);
  QObject::connect(&field, &QLineEdit::textChanged, [](const QString& text) {
    std::printf("text:%s\n", text.toUtf8().constData());
    std::fflush(stdout);
  });
  field.show();
  field.activateWindow();
  field.setFocus();
  QTimer::singleShot(200, [&field] {
    field.activateWindow();
    std::printf("ready\n");
    std::fflush(stdout);
  });
  return QApplication::exec();
}
