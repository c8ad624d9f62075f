#pragma once

#include <QString>
#include <QTemporaryDir>

namespace pellum::test {

// A private PulseAudio daemon for one test program, with a virtual
// microphone: a null sink "vsink" (16 kHz mono) whose monitor is remapped
// into the source "testmic", the default input. Whatever is played into
// vsink is what testmic records. PULSE_SERVER points at it while it lives.
class PulseServer {
 public:
  PulseServer();
  ~PulseServer();
  PulseServer(const PulseServer&) = delete;
  PulseServer& operator=(const PulseServer&) = delete;

  bool isRunning() const { return running_; }
  QString serverAddress() const;

  // Plays a WAV file into the virtual microphone in real time; returns when
  // it has been played.
  bool play(const QString& wavPath) const;

  // Runs a pactl command against this server; its exit status.
  int pactl(const QStringList& arguments) const;

  // How many clients are recording now.
  int recordStreams() const;

 private:
  QTemporaryDir runtime_;
  bool running_ = false;
};

}  // namespace pellum::test
