#pragma once

#include <QProcess>
#include <QString>

namespace pellum::test {

// A private X server (Xvfb) for one test program: started on a free display
// number, exported as DISPLAY while it lives, stopped on destruction.
class XvfbDisplay {
 public:
  XvfbDisplay();
  ~XvfbDisplay();
  XvfbDisplay(const XvfbDisplay&) = delete;
  XvfbDisplay& operator=(const XvfbDisplay&) = delete;

  bool isRunning() const { return !name_.isEmpty(); }
  const QString& name() const { return name_; }  // ":42"

  // Runs a program against this display and returns its exit status.
  int run(const QString& program, const QStringList& arguments) const;

 private:
  QProcess server_;
  QString name_;
  QByteArray previousDisplay_;
};

}  // namespace pellum::test
