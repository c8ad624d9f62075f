#include "transcription/multipart_body.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

TEST(MultipartBody, ByteForByte) {
  const std::string audio("RIFF\0\x01\xFF", 7);
  const std::string expected =
      "--B\r\n"
      "Content-Disposition: form-data; name=\"mode\"\r\n\r\n"
      "raw"
      "\r\n--B\r\n"
      "Content-Disposition: form-data; name=\"language\"\r\n\r\n"
      "en,fr"
      "\r\n--B\r\n"
      "Content-Disposition: form-data; name=\"audio\"; filename=\"recording.webm\"\r\n"
      "Content-Type: audio/wav\r\n\r\n" +
      audio + "\r\n--B--\r\n";
  EXPECT_EQ(buildMultipartBody("B", TranscriptionMode::raw, "en,fr", "audio/wav", audio), expected);
}

TEST(MultipartBody, PartsComeInOrderModeLanguageAudio) {
  const auto body = buildMultipartBody("X", TranscriptionMode::clean, "de", "audio/wav", "pcm");
  const auto mode = body.find("name=\"mode\"");
  const auto language = body.find("name=\"language\"");
  const auto audio = body.find("name=\"audio\"");
  EXPECT_LT(mode, language);
  EXPECT_LT(language, audio);
  EXPECT_NE(body.find("\r\n\r\nclean\r\n"), std::string::npos);
}

TEST(MultipartBody, ExtensionRule) {
  EXPECT_EQ(uploadFileExtension("audio/mp4"), "m4a");
  EXPECT_EQ(uploadFileExtension("audio/x-m4a"), "m4a");
  EXPECT_EQ(uploadFileExtension("audio/wav"), "webm");
  EXPECT_EQ(uploadFileExtension("audio/webm"), "webm");
  EXPECT_EQ(uploadFileExtension(""), "webm");
}

TEST(MultipartBody, ContentTypeHeader) {
  EXPECT_EQ(multipartContentType("ABC-123"), "multipart/form-data; boundary=ABC-123");
}

}  // namespace
}  // namespace pellum
