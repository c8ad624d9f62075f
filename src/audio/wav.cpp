#include "audio/wav.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace pellum {
namespace {

void putU32(std::string& out, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}
void putU16(std::string& out, std::uint16_t value) {
  out.push_back(static_cast<char>(value & 0xFF));
  out.push_back(static_cast<char>(value >> 8));
}
std::uint32_t getU32(std::string_view bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (int i = 3; i >= 0; --i) value = (value << 8) | static_cast<std::uint8_t>(bytes[at + i]);
  return value;
}
std::uint16_t getU16(std::string_view bytes, std::size_t at) {
  return static_cast<std::uint16_t>(static_cast<std::uint8_t>(bytes[at]) |
                                    (static_cast<std::uint8_t>(bytes[at + 1]) << 8));
}

[[noreturn]] void fatal(const char* what) {
  std::fprintf(stderr, "wavData: %s\n", what);
  std::abort();
}

constexpr std::uint16_t kFormatPcm = 1;
constexpr std::uint16_t kFormatFloat = 3;
constexpr std::uint16_t kFormatExtensible = 0xFFFE;

std::string formatName(std::uint16_t tag) {
  switch (tag) {
    case kFormatPcm:
      return "PCM";
    case kFormatFloat:
      return "float";
    case 6:
      return "A-law";
    case 7:
      return "mu-law";
    case 0x55:
      return "MP3";
    default:
      return "format " + std::to_string(tag);
  }
}

}  // namespace

std::string wavData(std::string_view pcm, double sampleRate) {
  constexpr auto kMax = std::numeric_limits<std::uint32_t>::max();
  if (!std::isfinite(sampleRate) || sampleRate < 0 || sampleRate > kMax) fatal("sample rate out of range");
  if (pcm.size() > kMax - 36) fatal("recording too long for a WAV header");
  const auto rate = static_cast<std::uint32_t>(sampleRate);
  const auto length = static_cast<std::uint32_t>(pcm.size());

  std::string out;
  out.reserve(pcm.size() + 44);
  out.append("RIFF");
  putU32(out, 36 + length);
  out.append("WAVE");
  out.append("fmt ");
  putU32(out, 16);
  putU16(out, 1);  // integer PCM
  putU16(out, 1);  // mono
  putU32(out, rate);
  putU32(out, rate * 2);
  putU16(out, 2);   // block align
  putU16(out, 16);  // bits per sample
  out.append("data");
  putU32(out, length);
  out.append(pcm);
  return out;
}

std::string WavInfo::describe() const {
  std::string text = std::to_string(sampleRate) + " Hz, " + std::to_string(channels) +
                     (channels == 1 ? " channel, " : " channels, ") + std::to_string(bitsPerSample) + "-bit ";
  return text + formatName(formatTag);
}

std::variant<WavInfo, WavError> parseWav(std::string_view bytes) {
  if (bytes.size() < 12 || bytes.substr(0, 4) != "RIFF" || bytes.substr(8, 4) != "WAVE") {
    return WavError{"not a RIFF/WAVE file"};
  }
  WavInfo info;
  bool haveFormat = false;
  std::size_t at = 12;
  while (at + 8 <= bytes.size()) {
    const std::string_view id = bytes.substr(at, 4);
    const std::uint32_t size = getU32(bytes, at + 4);
    const std::size_t body = at + 8;
    const std::size_t available = bytes.size() - body;
    if (id == "fmt ") {
      if (size < 16 || available < 16) return WavError{"WAV format chunk is truncated"};
      info.formatTag = getU16(bytes, body);
      info.channels = getU16(bytes, body + 2);
      info.sampleRate = getU32(bytes, body + 4);
      info.bitsPerSample = getU16(bytes, body + 14);
      if (info.formatTag == kFormatExtensible && size >= 40 && available >= 40) {
        info.formatTag = getU16(bytes, body + 24);  // first two bytes of the sub-format GUID
      }
      haveFormat = true;
    } else if (id == "data") {
      if (!haveFormat) return WavError{"WAV data chunk comes before its format chunk"};
      info.data = bytes.substr(body, std::min<std::size_t>(size, available));
      return info;
    }
    if (size > available) break;
    at = body + size + (size & 1);
  }
  return WavError{haveFormat ? "WAV file has no data chunk" : "WAV file has no format chunk"};
}

}  // namespace pellum
