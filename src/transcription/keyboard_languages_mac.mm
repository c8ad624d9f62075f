// The keyboard languages on macOS, from Text Input Sources: the selected
// keyboard input source for the current language, the enabled keyboard
// input sources for the list. Each source names the language it is for
// first in its language list; the string rules live in language_value.h.
//
// What the Apple calls below are documented to do, and what we rely on:
// - kTISPropertyInputSourceLanguages is a CFArray of BCP 47 CFStrings whose
//   first entry is the language the source is for, or an empty string when
//   it is for none (Unicode Hex Input).
// - TISGetInputSourceProperty follows the Get rule (not released here) and
//   may give NULL; TISCopyCurrentKeyboardInputSource and
//   TISCreateInputSourceList follow the Copy/Create rule (released here).
// - TISCreateInputSourceList with includeAllInstalled false lists only the
//   enabled sources; kTISPropertyInputSourceCategory may filter it.

#include <string>
#include <vector>

#import <Carbon/Carbon.h>
#import <Foundation/Foundation.h>

#include "base/threads.h"
#include "transcription/keyboard_languages.h"
#include "transcription/language_value.h"

namespace pellum {
namespace {

// The first entry of `source`'s language list; empty when there is none.
std::string intendedLanguage(TISInputSourceRef source) {
  const auto languages =
      static_cast<CFArrayRef>(TISGetInputSourceProperty(source, kTISPropertyInputSourceLanguages));
  if (!languages || CFGetTypeID(languages) != CFArrayGetTypeID() || CFArrayGetCount(languages) == 0)
    return {};
  const auto tag = static_cast<CFStringRef>(CFArrayGetValueAtIndex(languages, 0));
  if (!tag || CFGetTypeID(tag) != CFStringGetTypeID()) return {};
  const char* utf8 = [(__bridge NSString*)tag UTF8String];
  return utf8 ? std::string(utf8) : std::string();
}

}  // namespace

std::string currentKeyboardLanguage() {
  Q_ASSERT(isMainThread());
  TISInputSourceRef source = TISCopyCurrentKeyboardInputSource();
  if (!source) return "en";
  const std::string tag = intendedLanguage(source);
  CFRelease(source);
  return primarySubtagOrEnglish(tag);
}

std::vector<std::string> keyboardInputLanguages() {
  Q_ASSERT(isMainThread());
  NSDictionary* keyboards = @{
    (__bridge NSString*)kTISPropertyInputSourceCategory : (__bridge NSString*)kTISCategoryKeyboardInputSource
  };
  CFArrayRef sources = TISCreateInputSourceList((__bridge CFDictionaryRef)keyboards, false);
  if (!sources) return {"en"};
  std::vector<std::string> tags;
  for (CFIndex i = 0; i < CFArrayGetCount(sources); ++i) {
    const auto source = static_cast<TISInputSourceRef>(const_cast<void*>(CFArrayGetValueAtIndex(sources, i)));
    std::string tag = intendedLanguage(source);
    if (!tag.empty()) tags.push_back(std::move(tag));
  }
  CFRelease(sources);
  return distinctPrimarySubtags(tags);
}

}  // namespace pellum
