#include "multipart_form.h"

#include <gtest/gtest.h>

#include "transcription/multipart_body.h"

namespace pellum::server {
namespace {

using Parts = std::map<std::string, FormPart, std::less<>>;

TEST(ServerMultipartFormTest, BoundaryFromContentType) {
  EXPECT_EQ(multipartBoundary("multipart/form-data; boundary=abc-123"), "abc-123");
  EXPECT_EQ(multipartBoundary("Multipart/Form-Data; boundary=\"quoted b\""), "quoted b");
  EXPECT_EQ(multipartBoundary("multipart/form-data; charset=utf-8; boundary=x"), "x");
  EXPECT_EQ(multipartBoundary("multipart/form-data"), std::nullopt);
  EXPECT_EQ(multipartBoundary("multipart/form-data; boundary="), std::nullopt);
  EXPECT_EQ(multipartBoundary("application/json; boundary=x"), std::nullopt);
}

TEST(ServerMultipartFormTest, ReadsTheClientsUploadForm) {
  const std::string audio("RIFF\0\r\n--not-the-boundary\x01\xff", 26);
  const std::string body = buildMultipartBody("B0UND", TranscriptionMode::raw, "en,fr", "audio/wav", audio);
  auto parsed = parseMultipartForm(body, "B0UND");
  ASSERT_TRUE(std::holds_alternative<Parts>(parsed));
  const auto& parts = std::get<Parts>(parsed);
  ASSERT_EQ(parts.size(), 3u);
  EXPECT_EQ(parts.at("mode").data, "raw");
  EXPECT_EQ(parts.at("language").data, "en,fr");
  EXPECT_EQ(parts.at("audio").data, audio);
  EXPECT_EQ(parts.at("audio").fileName, "recording.webm");
  EXPECT_EQ(parts.at("audio").contentType, "audio/wav");
}

TEST(ServerMultipartFormTest, EmptyPartIsKept) {
  const std::string body = "--b\r\nContent-Disposition: form-data; name=\"language\"\r\n\r\n\r\n--b--\r\n";
  auto parsed = parseMultipartForm(body, "b");
  ASSERT_TRUE(std::holds_alternative<Parts>(parsed));
  EXPECT_EQ(std::get<Parts>(parsed).at("language").data, "");
}

TEST(ServerMultipartFormTest, FirstPartOfANameWins) {
  const std::string body =
      "--b\r\nContent-Disposition: form-data; name=\"mode\"\r\n\r\nraw\r\n"
      "--b\r\nContent-Disposition: form-data; name=\"mode\"\r\n\r\nclean\r\n--b--";
  auto parsed = parseMultipartForm(body, "b");
  ASSERT_TRUE(std::holds_alternative<Parts>(parsed));
  EXPECT_EQ(std::get<Parts>(parsed).at("mode").data, "raw");
}

struct BadCase {
  const char* name;
  const char* body;
};

class ServerMalformedFormTest : public ::testing::TestWithParam<BadCase> {};

TEST_P(ServerMalformedFormTest, IsRejectedWithAReason) {
  auto parsed = parseMultipartForm(GetParam().body, "b");
  ASSERT_TRUE(std::holds_alternative<MultipartError>(parsed));
  EXPECT_FALSE(std::get<MultipartError>(parsed).description.empty());
}

INSTANTIATE_TEST_SUITE_P(
    ServerBodies, ServerMalformedFormTest,
    ::testing::Values(
        BadCase{"empty", ""}, BadCase{"no_boundary", "hello world"},
        BadCase{"boundary_glued_to_text", "x--b\r\n"},
        BadCase{"no_closing_boundary", "--b\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\nvalue"},
        BadCase{"no_header_block", "--b\r\nContent-Disposition: form-data; name=\"a\"\r\n--b--"},
        BadCase{"part_without_name", "--b\r\nContent-Type: text/plain\r\n\r\nx\r\n--b--"},
        BadCase{"truncated_boundary_line", "--b"},
        // No header lines at all: the name must not be read out of the data.
        BadCase{"part_without_headers_names_nothing",
                "--b\r\n\r\nContent-Disposition: form-data; name=\"audio\"\r\n\r\nx\r\n--b--"},
        BadCase{"part_without_headers_before_a_named_part",
                "--b\r\n\r\nstray\r\n"
                "--b\r\nContent-Disposition: form-data; name=\"mode\"\r\n\r\nraw\r\n--b--"},
        BadCase{"one_byte_before_boundary", "x--b\r\n\r\n"}),
    [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace pellum::server
