#include "cli/audio_commands.h"

#include <QCoreApplication>
#include <QFile>
#include <QTimer>
#include <cstdio>
#include <string>

#include "audio/audio_recorder.h"
#include "audio/input_device_catalogue.h"
#include "base/log_line.h"
#include "settings/preferences.h"

namespace pellum {
namespace {

std::string describe(const AudioInputDevice& device) {
  std::string line = device.name + "  (" + device.uid + ")";
  if (device.isBuiltIn) line += "  built-in";
  if (device.isBluetooth) line += "  bluetooth";
  if (device.isVirtual) line += "  virtual";
  return line;
}

}  // namespace

int runDevicesCommand(const QStringList& arguments) {
  if (!arguments.isEmpty()) {
    printLine(stderr, "pellum devices: takes no arguments, got \"" + arguments.first().toStdString() + "\"");
    return 2;
  }
  if (!InputDeviceCatalogue::soundSystemReachable()) {
    printLine(stderr, "pellum devices: no sound server is reachable (PulseAudio or PipeWire)");
    return 1;
  }
  const auto devices = InputDeviceCatalogue::listInputDevices();
  const auto stored = Preferences::selectedInputDeviceUID();
  const auto automatic = chooseInputDevice(devices, std::nullopt).device;
  const auto chosen = InputDeviceCatalogue::resolveInputDevice(Preferences::selectedInputDeviceUID());

  if (devices.empty()) {
    printLine(stdout, "No microphones found; recordings use the sound server's default input.");
  }
  for (const auto& device : devices) {
    std::string line = (chosen && chosen->uid == device.uid ? "* " : "  ") + describe(device);
    if (automatic && automatic->uid == device.uid) line += "  [automatic choice]";
    if (stored && *stored == device.uid) line += "  [stored choice]";
    printLine(stdout, line);
  }
  if (stored && !chosen) {
    printLine(stdout, "Stored choice " + *stored + " is not connected; the default input is used.");
  } else if (stored && chosen && chosen->uid != *stored) {
    printLine(stdout, "Stored choice " + *stored + " is not connected; the automatic choice is used.");
  }
  return 0;
}

int runRecordCommand(const QStringList& arguments) {
  bool validSeconds = false;
  const double seconds = arguments.value(0).toDouble(&validSeconds);
  if (arguments.size() != 2 || !validSeconds || seconds <= 0 || seconds > 600) {
    printLine(stderr, "usage: pellum record SECONDS OUT.wav  (SECONDS between 0 and 600)");
    return 2;
  }
  const QString out = arguments.value(1);
  QFile file(out);
  if (!file.open(QIODevice::WriteOnly)) {
    printLine(stderr,
              "pellum record: cannot write " + out.toStdString() + ": " + file.errorString().toStdString());
    return 2;
  }

  const auto device = InputDeviceCatalogue::resolveInputDevice(Preferences::selectedInputDeviceUID());
  AudioRecorder recorder(makeSystemCaptureSource(), [device] { return device; });
  std::size_t streamed = 0;
  if (!recorder.start([&streamed](const std::string& chunk) { streamed += chunk.size(); }, {})) return 1;
  QTimer::singleShot(static_cast<int>(seconds * 1000), QCoreApplication::instance(),
                     [] { QCoreApplication::quit(); });
  QCoreApplication::exec();
  const std::string wav = recorder.stop();
  file.write(wav.data(), static_cast<qint64>(wav.size()));
  file.close();

  char summary[256];
  std::snprintf(summary, sizeof summary, "Recorded %.2f s from %s to %s; %s",
                static_cast<double>(wav.size() - 44) / 32000.0,
                device ? device->name.c_str() : "the default input", out.toLocal8Bit().constData(),
                recorder.speechDetected() ? "speech detected" : "no speech detected");
  printLine(stdout, summary);
  return 0;
}

}  // namespace pellum
