#pragma once

namespace pellum {

// `pellum doctor`: looks at every piece dictation needs (the desktop
// session and the backends chosen for it, the dictation key, the paste, the
// sound server and the microphone, the keyring, the sign-in, the server and
// its speech engines, the desktop entry and the sign-in links) and prints
// one line each, with a hint for what is missing. Makes its own
// application object: a GUI one when a desktop is there, so the paste is
// checked exactly as the desktop program sets it up. Exit status 0 when
// nothing needed is missing, 1 otherwise, 2 for a usage error.
int runDoctorCommand(int argc, char* argv[]);

}  // namespace pellum
