#include "account/token_source.h"

#include <QString>

#include "account/auth_service.h"

namespace pellum {

std::optional<std::string> signedInToken() {
  const QString token = qEnvironmentVariable("PELLUM_TOKEN");
  if (!token.isEmpty()) return token.toStdString();
  return AuthService::shared().cachedToken();
}

}  // namespace pellum
