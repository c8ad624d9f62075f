#pragma once

#include <chrono>
#include <cstddef>

namespace pellum::server {

// The bounds every session is held to. The defaults are the contract's; the
// operator (and the tests) may shorten the time-based ones.
struct Limits {
  // One WebSocket message, audio or text.
  std::size_t maxMessageBytes = 64 * 1024;
  // Audio a live session may send, counted in seconds at its own rate.
  std::chrono::seconds maxSessionAudio{10 * 60};
  // A live session that sends nothing for this long is ended.
  std::chrono::seconds idleTimeout{30};
  // An upload body: ten minutes of 48 kHz stereo 16-bit PCM plus the form.
  std::size_t maxUploadBytes = 10 * 60 * 48000 * 2 * 2 + 64 * 1024;
  // A web request body (the exchange JSON and the approve form).
  std::size_t maxWebBodyBytes = 16 * 1024;
  // Request headers on either port.
  std::size_t maxHeaderBytes = 16 * 1024;
  // How long a client may take to send its request (headers and body).
  std::chrono::seconds requestTimeout{60};
  // A live session (or an upload) that finds no speech decoder idle waits
  // this long for one before it is answered "server busy". Long enough for
  // the pool to grow by a burst of sessions on two cores (a decoder takes
  // ~0.4 s to build), well within the desktop client's 10 s handshake.
  std::chrono::milliseconds decoderWait{5000};
  // After a live client's stop, its final result must be ready this soon.
  std::chrono::milliseconds resultTimeout{30000};
  // An upload's decoding (and translation) must end this soon; ten minutes
  // of audio decode in about two.
  std::chrono::milliseconds decodeTimeout{300000};
  // Messages a live session may have waiting for a client that does not
  // read; past either bound the client is too slow and the session is closed.
  std::size_t maxQueuedMessages = 256;
  std::size_t maxQueuedBytes = 1024 * 1024;
  // The kernel's send buffer of a live connection; 0 leaves it to the
  // system (which grows it to megabytes). Smaller finds a slow client sooner.
  std::size_t liveSendBuffer = 0;
  // How long a closing live session waits for its last frames to go out
  // before the connection is cut.
  std::chrono::milliseconds closeGrace{5000};
  // On SIGTERM, how long open live sessions and uploads may go on to their
  // end before they are cut (a rolling restart); zero ends them at once.
  std::chrono::seconds drain{0};
  // Fault injection for testing clients: every live session fails this long
  // after it was accepted, as a failing provider would. Zero: never.
  std::chrono::milliseconds failLiveAfter{0};
};

// Live audio rates a session may ask for.
inline constexpr int kMinSampleRate = 8000;
inline constexpr int kMaxSampleRate = 192000;

// The rate the speech engine decodes at.
inline constexpr int kEngineSampleRate = 16000;

}  // namespace pellum::server
