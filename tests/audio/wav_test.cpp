#include "audio/wav.h"

#include <gtest/gtest.h>

#include <cstring>

#include "audio/pcm_chunker.h"

namespace pellum {
namespace {

std::uint32_t u32At(const std::string& bytes, std::size_t at) {
  std::uint32_t value;
  std::memcpy(&value, bytes.data() + at, 4);
  return value;
}
std::uint16_t u16At(const std::string& bytes, std::size_t at) {
  std::uint16_t value;
  std::memcpy(&value, bytes.data() + at, 2);
  return value;
}

TEST(WavData, EmptyRecordingIsABareHeader) {
  const auto wav = wavData("", 16000.0);
  ASSERT_EQ(wav.size(), 44u);
  EXPECT_EQ(wav.substr(0, 4), "RIFF");
  EXPECT_EQ(u32At(wav, 4), 36u);
  EXPECT_EQ(wav.substr(8, 4), "WAVE");
  EXPECT_EQ(wav.substr(12, 4), "fmt ");
  EXPECT_EQ(u32At(wav, 16), 16u);
  EXPECT_EQ(u16At(wav, 20), 1u);
  EXPECT_EQ(u16At(wav, 22), 1u);
  EXPECT_EQ(u32At(wav, 24), 16000u);
  EXPECT_EQ(u32At(wav, 28), 32000u);
  EXPECT_EQ(u16At(wav, 32), 2u);
  EXPECT_EQ(u16At(wav, 34), 16u);
  EXPECT_EQ(wav.substr(36, 4), "data");
  EXPECT_EQ(u32At(wav, 40), 0u);
}

TEST(WavData, OneSecondRecording) {
  const std::string pcm(32000, '\x01');
  const auto wav = wavData(pcm, 16000.0);
  EXPECT_EQ(wav.size(), 32044u);
  EXPECT_EQ(u32At(wav, 4), 32036u);
  EXPECT_EQ(u32At(wav, 40), 32000u);
  EXPECT_EQ(wav.substr(44), pcm);
}

TEST(WavData, RoundTripsThroughTheReader) {
  const std::string pcm("\x10\x00\x20\x00", 4);
  const auto wav = wavData(pcm, 16000.0);
  const auto parsed = parseWav(wav);
  ASSERT_TRUE(std::holds_alternative<WavInfo>(parsed));
  const auto& info = std::get<WavInfo>(parsed);
  EXPECT_TRUE(info.isPcm16());
  EXPECT_EQ(info.channels, 1);
  EXPECT_EQ(info.sampleRate, 16000u);
  EXPECT_EQ(info.data, pcm);
  EXPECT_EQ(info.describe(), "16000 Hz, 1 channel, 16-bit PCM");
}

std::string header(std::uint16_t format, std::uint16_t channels, std::uint32_t rate, std::uint16_t bits) {
  auto wav = wavData("", rate);
  std::memcpy(wav.data() + 20, &format, 2);
  std::memcpy(wav.data() + 22, &channels, 2);
  std::memcpy(wav.data() + 34, &bits, 2);
  return wav;
}

TEST(ParseWav, DescribesOtherFormats) {
  const auto parsed = parseWav(header(3, 2, 44100, 32));
  ASSERT_TRUE(std::holds_alternative<WavInfo>(parsed));
  EXPECT_FALSE(std::get<WavInfo>(parsed).isPcm16());
  EXPECT_EQ(std::get<WavInfo>(parsed).describe(), "44100 Hz, 2 channels, 32-bit float");
}

TEST(ParseWav, RejectsWhatIsNotWave) {
  EXPECT_EQ(std::get<WavError>(parseWav("")).description, "not a RIFF/WAVE file");
  EXPECT_EQ(std::get<WavError>(parseWav("ID3\x03 an mp3 file, really")).description, "not a RIFF/WAVE file");
  EXPECT_EQ(std::get<WavError>(parseWav(std::string("RIFF\0\0\0\0WAVE", 12))).description,
            "WAV file has no format chunk");
}

TEST(ParseWav, TruncatedFormatChunk) {
  std::string wav = wavData("", 16000).substr(0, 30);
  EXPECT_EQ(std::get<WavError>(parseWav(wav)).description, "WAV format chunk is truncated");
}

TEST(ParseWav, SkipsOtherChunksWithTheirPadByte) {
  auto wav = wavData("\x01\x02", 16000);
  const std::string list(
      "LIST\x03\x00\x00\x00"
      "abc\x00",
      12);
  wav.insert(36, list);
  const auto parsed = parseWav(wav);
  ASSERT_TRUE(std::holds_alternative<WavInfo>(parsed));
  EXPECT_EQ(std::get<WavInfo>(parsed).data, "\x01\x02");
}

TEST(ParseWav, DataSizePastTheEndTakesWhatIsThere) {
  auto wav = wavData("\x01\x02\x03\x04", 16000);
  const std::uint32_t streaming = 0xFFFFFFFF;
  std::memcpy(wav.data() + 40, &streaming, 4);
  EXPECT_EQ(std::get<WavInfo>(parseWav(wav)).data, "\x01\x02\x03\x04");
}

TEST(PcmChunker, ThousandBytesGiveOneChunkAndKeepForty) {
  PcmChunker chunker;
  EXPECT_EQ(chunker.append(std::string(1000, 'a')).size(), 1u);
  EXPECT_EQ(chunker.pending(), 40u);
  const auto next = chunker.append(std::string(1000, 'b'));
  ASSERT_EQ(next.size(), 1u);
  EXPECT_EQ(next[0], std::string(40, 'a') + std::string(920, 'b'));
  EXPECT_EQ(chunker.pending(), 80u);
}

TEST(PcmChunker, TwoThousandBytesGiveTwoChunksInOrder) {
  PcmChunker chunker;
  std::string bytes(960, 'x');
  bytes += std::string(960, 'y');
  bytes += std::string(80, 'z');
  const auto chunks = chunker.append(bytes);
  ASSERT_EQ(chunks.size(), 2u);
  EXPECT_EQ(chunks[0], std::string(960, 'x'));
  EXPECT_EQ(chunks[1], std::string(960, 'y'));
  EXPECT_EQ(chunker.takeRemainder(), std::string(80, 'z'));
  EXPECT_EQ(chunker.pending(), 0u);
}

}  // namespace
}  // namespace pellum
