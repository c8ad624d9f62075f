// On Linux there is no microphone permission to ask for: what stands
// between Pellum and the microphone is the sound server, so "access" means
// a PulseAudio (or PipeWire pulse) server that answers.

#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>

#include "app/launch_checks.h"
#include "audio/input_device_catalogue.h"
#include "base/log_line.h"

namespace pellum {
namespace {

// The sound settings the desktop has, first found wins.
void openSoundSettings() {
  const QList<QStringList> candidates{{QStringLiteral("pavucontrol")},
                                      {QStringLiteral("gnome-control-center"), QStringLiteral("sound")},
                                      {QStringLiteral("systemsettings"), QStringLiteral("kcm_pulseaudio")}};
  for (const QStringList& command : candidates) {
    if (QStandardPaths::findExecutable(command.first()).isEmpty()) continue;
    QProcess::startDetached(command.first(), command.mid(1));
    return;
  }
}

}  // namespace

std::optional<std::string> missingDesktopReason() {
  if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
    return "no desktop session to run in (neither DISPLAY nor WAYLAND_DISPLAY is set)";
  return std::nullopt;
}

// A tray program has no other presence to give up here.
void becomeAccessoryApplication() {}

void requestMicrophoneAccess(std::function<void(bool granted)> onAnswer) {
  onAnswer(InputDeviceCatalogue::soundSystemReachable());
}

void showMicrophoneAccessAlert() {
  QMessageBox alert;
  alert.setWindowTitle(QStringLiteral("Pellum"));
  alert.setIcon(QMessageBox::Warning);
  alert.setText(QStringLiteral("Microphone Access Required"));
  alert.setInformativeText(QStringLiteral(
      "Pellum needs a sound server to use the microphone. Start PulseAudio or PipeWire (with its PulseAudio "
      "service), check your microphone in the sound settings, and open Pellum again."));
  QPushButton* settings = alert.addButton(QStringLiteral("Open Settings"), QMessageBox::AcceptRole);
  alert.addButton(QStringLiteral("Quit"), QMessageBox::RejectRole);
  alert.setDefaultButton(settings);
  logLine("Pellum: no sound server is reachable; quitting");
  alert.exec();
  if (alert.clickedButton() == settings) openSoundSettings();
}

}  // namespace pellum
