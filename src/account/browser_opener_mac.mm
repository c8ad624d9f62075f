// The sign-in page on macOS: a web-authentication session, which opens the
// page in the user's browser and catches the callback to the build's URL
// scheme itself, so no URL handler has to reach a running Pellum.
//
// What the calls rely on, as Apple documents them:
// - -[ASWebAuthenticationSession initWithURL:callbackURLScheme:
//   completionHandler:] takes an http(s) page and the custom scheme the
//   callback must use; the handler gets the callback URL, or an error with
//   ASWebAuthenticationSessionErrorCodeCanceledLogin when the user closes
//   the sheet. No thread is promised for it, so it hops to the main queue.
//   (initWithURL:callback: replaces it only from macOS 14.4.)
// - prefersEphemeralWebBrowserSession is NO (the default, set anyway): the
//   browser's existing login cookies are reused.
// - presentationContextProvider must be set before -start, else the session
//   fails with ASWebAuthenticationSessionErrorCodePresentationContextNotProvided.
//   The page does not promise that the session retains it (the SDK's
//   providers are weak), so the opener owns it. The protocol is main-actor:
//   -presentationAnchorForWebAuthenticationSession: runs on the main thread
//   and returns the NSWindow (ASPresentationAnchor on macOS) to present
//   from. A menu-bar program may have none, so an empty one is made.
// - -start returns NO when the session cannot begin; that is the only
//   failure open() can report. On macOS a started session keeps itself alive
//   until its handler has run; it is held here as well, as the one in
//   progress.

#import <AppKit/AppKit.h>
#import <AuthenticationServices/AuthenticationServices.h>

#include <memory>
#include <string>

#include "account/browser_opener.h"
#include "account/web_base.h"
#include "base/log_line.h"
#include "pellum/build_config.h"

@interface PellumSignInPresenter : NSObject <ASWebAuthenticationPresentationContextProviding>
@end

@implementation PellumSignInPresenter {
  NSWindow* _emptyWindow;
}

- (ASPresentationAnchor)presentationAnchorForWebAuthenticationSession:(ASWebAuthenticationSession*)session {
  if (NSWindow* first = NSApp.windows.firstObject) return first;
  if (!_emptyWindow) {
    _emptyWindow = [[NSWindow alloc] initWithContentRect:NSZeroRect
                                               styleMask:NSWindowStyleMaskBorderless
                                                 backing:NSBackingStoreBuffered
                                                   defer:YES];
    _emptyWindow.releasedWhenClosed = NO;  // ARC owns it
  }
  return _emptyWindow;
}

@end

namespace pellum {
namespace {

std::string text(NSString* string) {
  const char* utf8 = string.UTF8String;
  return utf8 ? std::string(utf8) : std::string();
}

class WebAuthenticationOpener final : public BrowserOpener {
 public:
  WebAuthenticationOpener()
      : scheme_(resolveUrlScheme(build_config::urlScheme)),
        presenter_([[PellumSignInPresenter alloc] init]) {}

  std::optional<BrowserError> open(const std::string& url) override {
    NSString* address = [NSString stringWithUTF8String:url.c_str()];
    NSURL* page = address ? [NSURL URLWithString:address] : nil;
    if (!page) return BrowserError{"The sign-in page's address is not a URL: " + url};
    NSString* scheme = [NSString stringWithUTF8String:scheme_.c_str()];

    // The handler may outlive this opener; `alive` says whether it still may
    // be touched. Both are only ever looked at on the main thread.
    const std::weak_ptr<int> alive = alive_;
    const unsigned attempt = ++attempts_;
    WebAuthenticationOpener* opener = this;
    ASWebAuthenticationSession* session =
        [[ASWebAuthenticationSession alloc] initWithURL:page
                                      callbackURLScheme:scheme
                                      completionHandler:^(NSURL* callbackURL, NSError* error) {
                                        dispatch_async(dispatch_get_main_queue(), ^{
                                          if (!alive.expired()) opener->finish(attempt, callbackURL, error);
                                        });
                                      }];
    session.prefersEphemeralWebBrowserSession = NO;
    session.presentationContextProvider = presenter_;
    // A session still running is not cancelled: a later sign-in simply
    // takes its place, as its pending state does in AuthService.
    session_ = session;
    if ([session start]) return std::nullopt;
    session_ = nil;
    return BrowserError{
        "The sign-in sheet could not be opened (the web authentication session did not start)."};
  }

 private:
  void finish(unsigned attempt, NSURL* callbackURL, NSError* error) {
    if (attempt == attempts_) session_ = nil;
    if (error) {
      // The user closing the sheet is their answer, not a failure.
      if ([error.domain isEqualToString:ASWebAuthenticationSessionErrorDomain] &&
          error.code == ASWebAuthenticationSessionErrorCodeCanceledLogin)
        return;
      const BrowserError failure{text(error.localizedDescription)};
      if (onFailure) return onFailure(failure);
      logLine("AuthService: sign-in failed: " + failure.description);
      return;
    }
    if (!callbackURL || !onCallback) return;
    onCallback(text(callbackURL.absoluteString));
  }

  const std::string scheme_;
  PellumSignInPresenter* presenter_;           // strong: the session need not keep it
  ASWebAuthenticationSession* session_ = nil;  // the sign-in in progress
  unsigned attempts_ = 0;
  const std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

}  // namespace

std::unique_ptr<BrowserOpener> makeSystemBrowserOpener() {
  return std::make_unique<WebAuthenticationOpener>();
}

}  // namespace pellum
