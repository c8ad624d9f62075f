// Feedback sounds on macOS are the system's own "Morse" and "Purr", played
// through AppKit.
//
// - +[NSSound soundNamed:] finds named system sounds (/System/Library/Sounds)
//   and keeps the instance it returns, so both are looked up once; nil when
//   a sound cannot be found, which then plays as silence.
// - -[NSSound play] starts playback asynchronously and returns at once, but
//   refuses (returns NO) while the same instance is still playing; a quick
//   second press would then be silent, so a playing sound is stopped first.
// - -[NSSound stop] ends playback of that instance only.
// Both are called on the main thread, as FeedbackSounds requires.

#import <AppKit/AppKit.h>

#include <memory>

#include "audio/feedback_sounds.h"

namespace pellum {
namespace {

NSSound* systemSound(FeedbackSounds::Sound sound) {
  return [NSSound soundNamed:[NSString stringWithUTF8String:soundName(sound).c_str()]];
}

class MacFeedbackSounds : public FeedbackSounds {
 public:
  MacFeedbackSounds() : morse_(systemSound(Sound::morse)), purr_(systemSound(Sound::purr)) {}

  void play(Sound sound) override {
    NSSound* chosen = sound == Sound::morse ? morse_ : purr_;
    if (!chosen) return;
    if (chosen.playing) [chosen stop];
    [chosen play];
  }

 private:
  NSSound* morse_;
  NSSound* purr_;
};

}  // namespace

std::unique_ptr<FeedbackSounds> FeedbackSounds::create() { return std::make_unique<MacFeedbackSounds>(); }

}  // namespace pellum
