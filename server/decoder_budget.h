#pragma once

#include <cstdint>

namespace pellum::server {

// What one PocketSphinx decoder with the US English model holds once built
// (measured: ~90 MB each, nothing shared), with some room.
inline constexpr std::uint64_t kDecoderBytes = 100ull * 1024 * 1024;

// Live streams one core decodes in real time with room to spare: a stream
// costs ~0.13 s of a core per second of audio (bench/server_wer_bench.cpp),
// and sixteen on two cores still end within 500 ms of their stop
// (bench/server_capacity_bench.cpp).
inline constexpr int kLiveStreamsPerCore = 8;

// The most decoders a server holds when the operator does not say
// (`--decoders`): as many streams as its cores keep up with, and no more
// than half the memory available at start allows. `availableBytes` 0 means
// unknown, which keeps to eight. Always 1 to 256.
int defaultDecoderCount(std::uint64_t availableBytes, int cores);

}  // namespace pellum::server
