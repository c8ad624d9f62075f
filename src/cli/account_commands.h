#pragma once

#include <QString>
#include <QStringList>

namespace pellum {

// The account's command-line face. Each returns the process's exit status:
// 0 on success, 1 when the sign-in or the keychain failed (the alert's text
// on stderr), 2 for a bad option or input.

// pellum sign-in [--no-browser | --with-token]
int runSignInCommand(const QStringList& arguments);
// pellum sign-out
int runSignOutCommand(const QStringList& arguments);
// pellum status: "Signed in" or "Not signed in", then the server addresses.
int runStatusCommand(const QStringList& arguments);

// Whether `argument` is a link of the sign-in callback scheme, as the
// desktop's scheme handler passes it (`pellum pellum://paired?...`).
bool isCallbackArgument(const QString& argument);
// Hands the arguments to the running Pellum and returns at once; with none
// running, becomes the instance and handles the callback itself.
int runCallbackCommand(const QStringList& arguments);

}  // namespace pellum
