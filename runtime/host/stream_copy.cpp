#include "runtime/host/stream_copy.h"

#include "runtime/host/cache_limit.h"

#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <fstream>

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace mirl::runtime {
namespace {

#if defined(__AVX512F__)
constexpr std::size_t kVector = 64;
void streamVector(char* dst, const char* src) {
  _mm512_stream_si512(reinterpret_cast<__m512i*>(dst), _mm512_loadu_si512(src));
}
#elif defined(__AVX__)
constexpr std::size_t kVector = 32;
void streamVector(char* dst, const char* src) {
  _mm256_stream_si256(reinterpret_cast<__m256i*>(dst),
                      _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src)));
}
#elif defined(__SSE2__)
constexpr std::size_t kVector = 16;
void streamVector(char* dst, const char* src) {
  _mm_stream_si128(reinterpret_cast<__m128i*>(dst),
                   _mm_loadu_si128(reinterpret_cast<const __m128i*>(src)));
}
#endif

void copyRow(char* to, const char* from, std::size_t bytes) {
#if defined(__SSE2__)
  const std::size_t off = reinterpret_cast<std::uintptr_t>(to) % kVector;
  std::size_t head = off == 0 ? 0 : kVector - off;
  if (head > bytes) head = bytes;
  std::memcpy(to, from, head);
  std::size_t at = head;
  for (; at + kVector <= bytes; at += kVector) streamVector(to + at, from + at);
  std::memcpy(to + at, from + at, bytes - at);
#else
  std::memcpy(to, from, bytes);
#endif
}

/// The cache that the kernel reports for a core: on processors of several dies sysconf gives that
/// of all of them together, of which one core has just its die's.
std::size_t lastLevelCache() {
  std::ifstream file("/sys/devices/system/cpu/cpu0/cache/index3/size");
  std::size_t kibibytes = 0;
  if (file >> kibibytes && kibibytes > 0) return kibibytes << 10;
  const long bytes = sysconf(_SC_LEVEL3_CACHE_SIZE);
  return bytes > 0 ? static_cast<std::size_t>(bytes) : std::size_t{32} << 20;
}

std::atomic<std::size_t> assumedCache{0};

}  // namespace

void setCacheLimit(std::size_t bytes) {
  assumedCache = bytes;
}

bool bypassesCaches(std::size_t bytes) {
  static const std::size_t cache = lastLevelCache();
  const std::size_t assumed = assumedCache.load(std::memory_order_relaxed);
  return bytes > (assumed == 0 ? cache : assumed);
}

void streamCopy(void* dst, const void* src, std::size_t bytes) {
  copyRow(static_cast<char*>(dst), static_cast<const char*>(src), bytes);
}

void streamCopy(void* dst, std::ptrdiff_t dstPitch, const void* src, std::ptrdiff_t srcPitch,
                std::size_t bytes, int rows) {
  auto* to = static_cast<char*>(dst);
  const auto* from = static_cast<const char*>(src);
  for (; rows > 0; --rows, to += dstPitch, from += srcPitch) copyRow(to, from, bytes);
}

void finishStreamCopies() {
#if defined(__SSE2__)
  _mm_sfence();
#endif
}

}  // namespace mirl::runtime
