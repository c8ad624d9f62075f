#include "upload_form.h"

#include <gtest/gtest.h>

#include "audio/wav.h"
#include "transcription/multipart_body.h"

namespace pellum::server {
namespace {

std::string pcm(std::initializer_list<std::int16_t> samples) {
  std::string bytes;
  for (auto sample : samples) {
    bytes.push_back(static_cast<char>(static_cast<std::uint16_t>(sample) & 0xFF));
    bytes.push_back(static_cast<char>(static_cast<std::uint16_t>(sample) >> 8));
  }
  return bytes;
}

// A WAV header for any channel count and bit depth around `data`.
std::string wavFile(std::uint16_t format, std::uint16_t channels, std::uint32_t rate, std::uint16_t bits,
                    const std::string& data) {
  std::string header = wavData(data, rate);
  header[22] = static_cast<char>(channels);
  header[20] = static_cast<char>(format);
  header[34] = static_cast<char>(bits);
  return header;
}

std::variant<UploadAudio, UploadRejection> upload(const std::string& audio, const char* mode = "clean",
                                                  const char* language = "en") {
  const auto parsedMode = transcriptionModeFromRawValue(mode);
  std::string body =
      buildMultipartBody("bnd", parsedMode.value_or(TranscriptionMode::clean), language, "audio/wav", audio);
  if (!parsedMode) {
    const auto at = body.find("clean");
    body.replace(at, 5, mode);
  }
  return readUploadForm(multipartContentType("bnd"), body);
}

TEST(ServerUploadFormTest, ReadsMonoWavAtEngineRate) {
  auto parsed = upload(wavData(pcm({1, 2, 3, 4}), 16000), "raw", "fr, EN");
  ASSERT_TRUE(std::holds_alternative<UploadAudio>(parsed));
  const auto& audio = std::get<UploadAudio>(parsed);
  EXPECT_EQ(audio.mode, TranscriptionMode::raw);
  EXPECT_EQ(audio.languages, (std::vector<std::string>{"fr", "en"}));
  EXPECT_EQ(audio.samples, (std::vector<std::int16_t>{1, 2, 3, 4}));
  EXPECT_DOUBLE_EQ(audio.seconds, 4.0 / 16000);
}

TEST(ServerUploadFormTest, StereoAt32kIsMixedAndResampled) {
  auto parsed = upload(wavFile(1, 2, 32000, 16, pcm({10, 30, 40, 40, 50, 70, 80, 80})));
  ASSERT_TRUE(std::holds_alternative<UploadAudio>(parsed));
  EXPECT_EQ(std::get<UploadAudio>(parsed).samples, (std::vector<std::int16_t>{20, 60}));
}

struct Rejected {
  const char* name;
  std::string contentType;
  std::string body;
  int status;
};

TEST(ServerUploadFormTest, RejectsWhatItCannotRead) {
  const std::string goodWav = wavData(pcm({1, 2}), 16000);
  auto form = [](const std::string& audio) {
    return buildMultipartBody("bnd", TranscriptionMode::clean, "en", "audio/wav", audio);
  };
  const std::vector<Rejected> cases{
      {"not_multipart", "application/json", "{}", 400},
      {"malformed_form", multipartContentType("bnd"), "garbage", 400},
      {"no_audio_part", multipartContentType("bnd"),
       "--bnd\r\nContent-Disposition: form-data; name=\"mode\"\r\n\r\nclean\r\n--bnd--\r\n", 400},
      {"bad_mode", multipartContentType("bnd"),
       "--bnd\r\nContent-Disposition: form-data; name=\"mode\"\r\n\r\nfancy\r\n--bnd--\r\n", 400},
      {"not_wav", multipartContentType("bnd"), form("OggS not a wav at all"), 415},
      {"truncated_header", multipartContentType("bnd"), form(goodWav.substr(0, 30)), 415},
      {"float_wav", multipartContentType("bnd"), form(wavFile(3, 1, 16000, 32, pcm({0, 0}))), 415},
      {"eight_bit", multipartContentType("bnd"), form(wavFile(1, 1, 16000, 8, pcm({0}))), 415},
      {"absurd_rate", multipartContentType("bnd"), form(wavData(pcm({1}), 100)), 415},
  };
  for (const auto& [name, contentType, body, status] : cases) {
    auto parsed = readUploadForm(contentType, body);
    ASSERT_TRUE(std::holds_alternative<UploadRejection>(parsed)) << name;
    EXPECT_EQ(std::get<UploadRejection>(parsed).status, status) << name;
    EXPECT_FALSE(std::get<UploadRejection>(parsed).description.empty()) << name;
  }
}

TEST(ServerUploadFormTest, TruncatedDataIsTakenAsFarAsItGoes) {
  const std::string wav = wavData(pcm({5, 6, 7, 8}), 16000);
  auto parsed = upload(wav.substr(0, wav.size() - 3));
  ASSERT_TRUE(std::holds_alternative<UploadAudio>(parsed));
  EXPECT_EQ(std::get<UploadAudio>(parsed).samples, (std::vector<std::int16_t>{5, 6}));
}

}  // namespace
}  // namespace pellum::server
