#include "transcription/server_url.h"

#include <QString>

#include "base/info_dictionary.h"
#include "transcription/configured_address.h"

namespace pellum {

std::string resolveServerURL() {
  std::optional<std::string> fromEnvironment;
  if (qEnvironmentVariableIsSet("PELLUM_TRANSCRIBE_URL")) {
    fromEnvironment = qEnvironmentVariable("PELLUM_TRANSCRIBE_URL").toStdString();
  }
  return pickConfiguredAddress({fromEnvironment, infoString("PellumTranscribeURL")}, kDefaultTranscribeURL);
}

}  // namespace pellum
