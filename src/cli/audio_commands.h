#pragma once

#include <QStringList>

namespace pellum {

// `pellum devices`: the microphones Pellum can record from, with their
// flags, the one the automatic rule picks and the stored choice. Returns the
// exit status.
int runDevicesCommand(const QStringList& arguments);

// `pellum record SECONDS OUT.wav`: records the chosen microphone exactly as
// a dictation does and writes the WAV, so users can hear what Pellum hears.
// Needs the application's event loop. Returns the exit status.
int runRecordCommand(const QStringList& arguments);

}  // namespace pellum
