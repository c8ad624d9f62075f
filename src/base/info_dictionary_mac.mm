// The Info dictionary on macOS: the main bundle's Info.plist, read when asked.
//
// -[NSBundle objectForInfoDictionaryKey:] prefers a localized value
// (InfoPlist.strings) over the plain one and returns whatever type the plist
// holds, or nil; only an NSString counts here. Apple's thread-safety summary
// lists NSBundle among the classes to use from one thread at a time, so the
// reads take a lock: infoString is called from any thread.

#import <Foundation/Foundation.h>

#include <mutex>
#include <string>
#include <string_view>

#include "base/info_dictionary.h"

namespace pellum {

std::string infoString(std::string_view key) {
  static std::mutex bundleLock;
  @autoreleasepool {
    NSString* name = [[NSString alloc] initWithBytes:key.data()
                                              length:key.size()
                                            encoding:NSUTF8StringEncoding];
    if (!name) return {};
    id value = nil;
    {
      std::lock_guard lock(bundleLock);
      value = [[NSBundle mainBundle] objectForInfoDictionaryKey:name];
    }
    if (![value isKindOfClass:[NSString class]]) return {};
    NSString* string = value;
    const char* text = string.UTF8String;
    return text ? std::string(text) : std::string();
  }
}

}  // namespace pellum
