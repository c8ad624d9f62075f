// "Start at Login" on macOS: the app itself registered as a login item with
// ServiceManagement (macOS 13 and later).
//
// What the calls rely on, as Apple documents them:
// - +[SMAppService mainAppService] stands for the main application as a login
//   item; registering it makes the system launch the app at later logins.
//   The system keeps the registration, and the user sees and can switch it
//   in System Settings > General > Login Items, so `status` is read every
//   time rather than remembered: menu and settings never disagree.
// - `status` is SMAppServiceStatusEnabled only when registered and allowed
//   to run; SMAppServiceStatusRequiresApproval (registered, but the user must
//   allow it in System Settings) does not start the app and so counts as off.
// - -registerAndReturnError: may leave the service in RequiresApproval; that
//   is reported, since the app will not start at login until the user allows
//   it.
// - -unregisterAndReturnError: fails with kSMErrorJobNotFound when nothing is
//   registered; that is the state asked for, so it is no error here.
//
// `executable` is not used: the login item is the app bundle as a whole,
// which launchd finds by its identity wherever the bundle sits, not a path
// written down at the moment of registering.

#import <Foundation/Foundation.h>
#import <ServiceManagement/ServiceManagement.h>

#include <string>

#include "app/login_item.h"

namespace pellum {
namespace {

std::string describe(NSError* error) {
  if (!error) return "the system gave no reason";
  const char* text = error.localizedDescription.UTF8String;
  return text ? std::string(text) : std::string("the system gave no reason");
}

}  // namespace

std::string LoginItem::entryPath() {
  const char* bundle = [NSBundle mainBundle].bundlePath.UTF8String;
  return std::string(bundle ? bundle : "Pellum") + " (Login Items)";
}

bool LoginItem::isEnabled() { return SMAppService.mainAppService.status == SMAppServiceStatusEnabled; }

std::string LoginItem::setEnabled(bool enabled, const std::string& /*executable*/) {
  SMAppService* app = SMAppService.mainAppService;
  NSError* error = nil;
  if (enabled) {
    const BOOL registered = [app registerAndReturnError:&error];
    // Registered (now or before) but held back by the user's settings: not
    // done, and only the user can finish it.
    if (app.status == SMAppServiceStatusRequiresApproval)
      return "allow Pellum in System Settings > General > Login Items";
    if (registered) return {};
    return "could not add Pellum to the login items: " + describe(error);
  }
  if (app.status == SMAppServiceStatusNotRegistered) return {};
  if ([app unregisterAndReturnError:&error]) return {};
  if (error.code == kSMErrorJobNotFound) return {};
  return "could not remove Pellum from the login items: " + describe(error);
}

}  // namespace pellum
