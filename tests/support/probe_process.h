#pragma once

#include <QProcess>
#include <QStringList>

namespace pellum::test {

// The text-field probe (text_field_probe) running as a separate X client,
// with its report lines collected as they arrive.
class ProbeProcess {
 public:
  explicit ProbeProcess(const QString& windowClass = QStringLiteral("probe"));
  ~ProbeProcess();

  // Waits until the probe's field is shown and focused.
  bool waitUntilReady();
  // Waits until a report line equal to `line` arrives.
  bool waitForLine(const QString& line, int timeoutMs = 5000);
  // The probe's field content, as last reported ("" before any change).
  QString text();
  const QStringList& lines();

 private:
  void collect();

  QProcess process_;
  QByteArray pending_;
  QStringList lines_;
};

}  // namespace pellum::test
