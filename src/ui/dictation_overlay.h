#pragma once

namespace pellum {

// The overlay at the top of the screen that shows a dictation: live bars
// while recording, a loader while the text is coming. Main thread.
class DictationOverlay {
 public:
  virtual ~DictationOverlay() = default;

  // Shows the recording look (level 0, not processing) on the screen the
  // overlay picks; false when it finds none.
  virtual bool showRecording() = 0;
  // The level the bars move toward, 0...1; taken only while recording.
  virtual void setTargetLevel(float level) = 0;
  virtual void showProcessing() = 0;
  virtual void hide() = 0;
};

// An overlay that shows nothing, for platforms and runs without one.
class NoOverlay : public DictationOverlay {
 public:
  bool showRecording() override { return false; }
  void setTargetLevel(float) override {}
  void showProcessing() override {}
  void hide() override {}
};

}  // namespace pellum
