#pragma once

#include <QByteArray>
#include <optional>
#include <string>

#include "update/update_check_result.h"

namespace pellum {

struct AppcastReading {
  std::optional<AppcastRelease> newest;  // the highest version the feed lists
  std::string error;                     // why there is none, in words
};

// Reads an appcast (RSS 2.0 with Sparkle's namespace). Items without a
// comparable version are skipped; a document that is not XML, not RSS, or
// lists no usable release gives an error instead.
AppcastReading readAppcast(const QByteArray& feed);

inline constexpr char kSparkleNamespace[] = "http://www.andymatuschak.org/xml-namespaces/sparkle";

}  // namespace pellum
