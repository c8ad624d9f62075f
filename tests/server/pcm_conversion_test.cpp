#include "pcm_conversion.h"

#include <gtest/gtest.h>

#include <cmath>

#include "audio/wav.h"

namespace pellum::server {
namespace {

std::string bytesOf(const std::vector<std::int16_t>& samples) {
  std::string bytes;
  for (auto sample : samples) {
    const auto value = static_cast<std::uint16_t>(sample);
    bytes.push_back(static_cast<char>(value & 0xFF));
    bytes.push_back(static_cast<char>(value >> 8));
  }
  return bytes;
}

TEST(ServerPcmConversionTest, SamplesAreLittleEndian) {
  EXPECT_EQ(samplesFromBytes(std::string("\x01\x00\xff\xff\x00\x80\x7f", 7)),
            (std::vector<std::int16_t>{1, -1, -32768}));
}

TEST(ServerPcmConversionTest, StereoIsAveragedIntoMono) {
  WavInfo info;
  info.formatTag = 1;
  info.channels = 2;
  info.sampleRate = 8000;
  info.bitsPerSample = 16;
  const std::string data = bytesOf({100, 300, -32768, -32768, 32767, 32767, 10, -11});
  info.data = data;
  EXPECT_EQ(monoSamples(info), (std::vector<std::int16_t>{200, -32768, 32767, 0}));
}

TEST(ServerPcmConversionTest, SameRatePassesThrough) {
  Resampler resampler(16000, 16000);
  const std::vector<std::int16_t> input{1, 2, 3};
  EXPECT_EQ(resampler.push(input), input);
}

TEST(ServerPcmConversionTest, UpsamplingInterpolatesBetweenSamples) {
  Resampler resampler(8000, 16000);
  const std::vector<std::int16_t> input{0, 100, 200};
  EXPECT_EQ(resampler.push(input), (std::vector<std::int16_t>{0, 50, 100, 150, 200}));
}

TEST(ServerPcmConversionTest, DownsamplingByThreeKeepsEveryThirdSample) {
  Resampler resampler(48000, 16000);
  const std::vector<std::int16_t> input{0, 1, 2, 3, 4, 5, 6};
  EXPECT_EQ(resampler.push(input), (std::vector<std::int16_t>{0, 3, 6}));
}

TEST(ServerPcmConversionTest, BlocksGiveTheSameOutputAsOneStream) {
  std::vector<std::int16_t> input;
  for (int i = 0; i < 4410; ++i) input.push_back(static_cast<std::int16_t>(8000 * std::sin(i * 0.05)));
  Resampler whole(44100, 16000);
  const auto expected = whole.push(input);
  Resampler pieces(44100, 16000);
  std::vector<std::int16_t> actual;
  for (std::size_t at = 0; at < input.size(); at += 97) {
    const auto block = std::span(input).subspan(at, std::min<std::size_t>(97, input.size() - at));
    const auto out = pieces.push(block);
    actual.insert(actual.end(), out.begin(), out.end());
  }
  EXPECT_EQ(actual, expected);
  EXPECT_NEAR(static_cast<double>(expected.size()), 1600.0, 1.0);
}

TEST(ServerPcmConversionTest, AssemblerHoldsAnOddByteForTheNextBlock) {
  SampleAssembler assembler;
  EXPECT_EQ(assembler.push(std::string("\x01\x00\x02", 3)), (std::vector<std::int16_t>{1}));
  EXPECT_EQ(assembler.push(std::string("\x00\x03", 2)), (std::vector<std::int16_t>{2}));
  EXPECT_EQ(assembler.push(std::string("\x00", 1)), (std::vector<std::int16_t>{3}));
  EXPECT_TRUE(assembler.push("").empty());
}

}  // namespace
}  // namespace pellum::server
