#pragma once

#include <string_view>

namespace pellum {

// Whether `text` parses as a URL reference: non-empty, every character one
// that may appear in a URL (RFC 3986 unreserved, reserved or a "%" followed
// by two hex digits), and a scheme, when one is given, made of a letter
// followed by letters, digits, "+", "-" or ".". Values are never
// percent-encoded by us, so a blank or a non-ASCII byte in one makes the
// whole URL unusable, which is what this reports.
bool urlTextParses(std::string_view text);

// The value of one hexadecimal digit (either case), or -1 for any other
// character: what a "%XX" escape is made of.
int hexDigitValue(char c);

}  // namespace pellum
