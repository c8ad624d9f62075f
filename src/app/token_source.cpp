#include "app/token_source.h"

#include <QString>

namespace pellum {

std::optional<std::string> signedInToken() {
  const QString token = qEnvironmentVariable("PELLUM_TOKEN");
  if (token.isEmpty()) return std::nullopt;
  return token.toStdString();
}

}  // namespace pellum
