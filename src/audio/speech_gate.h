#pragma once

#include <functional>
#include <string>
#include <vector>

namespace pellum {

// Holds audio back until speech is certain: nothing passes until two voiced
// chunks in a row have been seen; then both are released in order and every
// later chunk passes unchecked, silent or not. Silence before the first word
// is never streamed.
//
// Not thread-safe: the recorder runs it on its capture thread only.
class SpeechGate {
 public:
  // Whether a chunk is voiced. Without one every chunk counts as voiced.
  using Classifier = std::function<bool(const std::string& chunk)>;
  using Emit = std::function<void(const std::string& chunk)>;

  static constexpr int kConfirmThreshold = 2;

  explicit SpeechGate(Classifier classifier = {}) : classifier_(std::move(classifier)) {}

  // Passes one chunk through the gate; `emit` receives what it lets out.
  void feed(const std::string& chunk, const Emit& emit);

  // Back to waiting, with nothing held.
  void reset();

  bool speechDetected() const { return speechDetected_; }
  int consecutiveVoiceCount() const { return consecutiveVoiceCount_; }
  std::size_t heldChunks() const { return confirmBuffer_.size(); }

 private:
  bool isVoiced(const std::string& chunk) const;

  Classifier classifier_;
  bool speechDetected_ = false;
  int consecutiveVoiceCount_ = 0;
  std::vector<std::string> confirmBuffer_;
};

}  // namespace pellum
