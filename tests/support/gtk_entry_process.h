#pragma once

#include <QProcess>
#include <QString>

struct xcb_connection_t;

namespace pellum::test {

// A GTK 3 application with one text entry (zenity --entry) running as a
// separate X client: the kind of window a user dictates into, and one whose
// toolkit behaves differently from our own Qt probe. Its entry's text is
// what zenity prints when the dialog is confirmed with Return.
class GtkEntryProcess {
 public:
  GtkEntryProcess();
  ~GtkEntryProcess();
  GtkEntryProcess(const GtkEntryProcess&) = delete;
  GtkEntryProcess& operator=(const GtkEntryProcess&) = delete;

  // Waits until the dialog's window is mapped, then gives it the keyboard
  // focus at once, as a window manager does when a new window appears.
  bool waitUntilFocused(int timeoutMs = 10000);

  // Confirms the dialog (Return) and returns the entry's text; empty when
  // the dialog does not answer within the time-out.
  QString confirm(int timeoutMs = 5000);

 private:
  unsigned findWindow();

  QProcess process_;
  xcb_connection_t* connection_ = nullptr;
};

}  // namespace pellum::test
