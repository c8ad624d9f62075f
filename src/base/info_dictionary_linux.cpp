// Linux programs have no Info dictionary: the keys hold what the build was
// configured with (PELLUM_INFO_TRANSCRIBE_URL, PELLUM_INFO_WEB_URL,
// PELLUM_FEED_URL in CMake).

#include "base/info_dictionary.h"
#include "pellum/build_config.h"

namespace pellum {

std::string infoString(std::string_view key) {
  if (key == "PellumTranscribeURL") return std::string(build_config::transcribeURL);
  if (key == "PellumWebURL") return std::string(build_config::webURL);
  if (key == "SUFeedURL") return std::string(build_config::feedURL);
  return {};
}

}  // namespace pellum
