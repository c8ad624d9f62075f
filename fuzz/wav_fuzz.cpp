// WAV files as `pellum transcribe` reads them: parseWav on the whole file,
// then the checks the command makes on what it found.

#include <string>
#include <variant>

#include "audio/wav.h"
#include "fuzz_support.h"

using pellum::fuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = pellum::fuzz::asText(data, size);
  const auto parsed = pellum::parseWav(bytes);
  if (const auto* error = std::get_if<pellum::WavError>(&parsed)) {
    require(!error->description.empty(), "a WAV error has no description");
    return 0;
  }
  const auto& info = std::get<pellum::WavInfo>(parsed);
  require(info.data.empty() || (info.data.data() >= bytes.data() &&
                                info.data.data() + info.data.size() <= bytes.data() + bytes.size()),
          "the data chunk points outside the file");
  require(!info.describe().empty(), "a WAV format has no description");

  // What we write reads back unchanged.
  const std::string written = pellum::wavData(info.data, info.sampleRate);
  const auto reread = pellum::parseWav(written);
  require(std::holds_alternative<pellum::WavInfo>(reread), "a WAV we wrote does not parse");
  const auto& again = std::get<pellum::WavInfo>(reread);
  require(again.isPcm16() && again.channels == 1 && again.sampleRate == info.sampleRate &&
              again.data == info.data,
          "a WAV we wrote reads back as something else");
  return 0;
}
