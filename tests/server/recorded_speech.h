#pragma once

#include <string>
#include <vector>

namespace pellum::server::test {

// One utterance of Debian's pocketsphinx-testdata: a 16 kHz mono WAV and
// its reference transcript.
struct Utterance {
  std::string id;
  std::string wavPath;
  std::string reference;  // lower case words
};

// The five recordings, read from the reference transcription file.
std::vector<Utterance> recordedSpeech();

std::string readFile(const std::string& path);

// The share of reference words that the hypothesis contains (each
// hypothesis word counts once), case and punctuation ignored.
double wordRecall(const std::string& hypothesis, const std::string& reference);

}  // namespace pellum::server::test
