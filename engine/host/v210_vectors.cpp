#include "engine/host/v210_vectors.h"

#include <cstdint>
#include <cstring>

#if MIRL_WITH_HIGHWAY
#include <hwy/highway.h>
#endif

namespace mirl::engine {

#if MIRL_WITH_HIGHWAY && HWY_TARGET != HWY_SCALAR

namespace {

namespace hn = hwy::HWY_NAMESPACE;

const hn::FixedTag<std::uint8_t, 16> kBytes;
const hn::FixedTag<std::uint16_t, 8> kHalves;
const hn::FixedTag<std::uint32_t, 4> kWords;

constexpr int kV210Bytes = 16;
constexpr int k422Bytes = 24;
constexpr int k444Bytes = 36;

/// The sample, of the twelve of a group, that is a 4:4:4 group's element, and back for the samples
/// that are taken from there.
constexpr int sampleOf444(int element) {
  const int pixel = element / 3, pair = pixel / 2 * 4;
  return element % 3 == 0 ? pair + 1 + pixel % 2 * 2 : element % 3 == 1 ? pair + 2 : pair;
}
constexpr int elementOf444(int sample) {
  const int pixel = sample / 4 * 2;
  constexpr int kFirst[] = {2, 0, 1, 3};
  return pixel * 3 + kFirst[sample % 4];
}
constexpr int elementOf422(int sample) {
  return sample;
}

/// For eight elements the two bytes with the ten bits of each, and the factor that takes these up
/// to the top.
struct Unpacking {
  alignas(16) std::uint8_t bytes[16];
  alignas(16) std::uint16_t factor[8];
};

constexpr Unpacking unpacking(int firstElement) {
  Unpacking made{};
  for (int i = 0; i < 8; ++i) {
    const int element = firstElement + i;
    const int sample = element < 18 ? sampleOf444(element) : 0;
    const int first = sample / 3 * 4 + sample % 3;
    made.bytes[2 * i] = static_cast<std::uint8_t>(first);
    made.bytes[2 * i + 1] = static_cast<std::uint8_t>(first + 1);
    made.factor[i] = static_cast<std::uint16_t>(64 >> sample % 3 * 2);
  }
  return made;
}

/// For the first, second or third sample of each of the four words the bytes in the first eight
/// elements and in eight from another one on.
struct Gathering {
  alignas(16) std::uint8_t low[16];
  alignas(16) std::uint8_t high[16];
};

constexpr Gathering gathering(int (*elementOf)(int), int place, int firstHigh) {
  constexpr int kZero = 0x80;
  Gathering made{};
  for (int i = 0; i < 16; ++i) {
    const int element = elementOf(i / 4 * 3 + place);
    const bool low = element < 8, used = i % 4 < 2;
    const int byte = (low ? element : element - firstHigh) * 2 + i % 4;
    made.low[i] = static_cast<std::uint8_t>(used && low ? byte : kZero);
    made.high[i] = static_cast<std::uint8_t>(used && !low ? byte : kZero);
  }
  return made;
}

const std::uint8_t* bytesAt(const char* at) {
  return reinterpret_cast<const std::uint8_t*>(at);
}

template <int (*elementOf)(int), int groupBytes, int firstHigh>
std::ptrdiff_t pack(std::ptrdiff_t count, char* out, const char* in) {
  static constexpr Gathering kFirst = gathering(elementOf, 0, firstHigh),
                             kSecond = gathering(elementOf, 1, firstHigh),
                             kThird = gathering(elementOf, 2, firstHigh);
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    const auto low = hn::LoadU(kBytes, bytesAt(in + i * groupBytes));
    const auto high = hn::LoadU(kBytes, bytesAt(in + i * groupBytes + firstHigh * 2));
    const auto gather = [&](const Gathering& from) {
      return hn::BitCast(kWords,
                         hn::Or(hn::TableLookupBytesOr0(low, hn::Load(kBytes, from.low)),
                                hn::TableLookupBytesOr0(high, hn::Load(kBytes, from.high))));
    };
    const auto sum = hn::Add(gather(kFirst), hn::ShiftLeft<10>(gather(kSecond)));
    const auto words = hn::Add(sum, hn::ShiftLeft<20>(gather(kThird)));
    hn::StoreU(hn::BitCast(kBytes, words), kBytes,
               reinterpret_cast<std::uint8_t*>(out + i * kV210Bytes));
  }
  return count;
}

}  // namespace

std::ptrdiff_t v210To444(std::ptrdiff_t count, char* out, const char* in) {
  static constexpr Unpacking kFirst = unpacking(0), kSecond = unpacking(8), kLast = unpacking(16);
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    const auto words = hn::LoadU(kBytes, bytesAt(in + i * kV210Bytes));
    const auto unpack = [&](const Unpacking& how) {
      const auto pairs = hn::TableLookupBytes(words, hn::Load(kBytes, how.bytes));
      const auto raised = hn::Mul(hn::BitCast(kHalves, pairs), hn::Load(kHalves, how.factor));
      return hn::BitCast(kBytes, hn::ShiftRight<6>(raised));
    };
    auto* const to = reinterpret_cast<std::uint8_t*>(out + i * k444Bytes);
    hn::StoreU(unpack(kFirst), kBytes, to);
    hn::StoreU(unpack(kSecond), kBytes, to + 16);
    const std::uint32_t last = hn::GetLane(hn::BitCast(kWords, unpack(kLast)));
    std::memcpy(to + 32, &last, sizeof last);
  }
  return count;
}

std::ptrdiff_t v210From444(std::ptrdiff_t count, char* out, const char* in) {
  return pack<elementOf444, k444Bytes, 8>(count, out, in);
}

std::ptrdiff_t v210From422(std::ptrdiff_t count, char* out, const char* in) {
  return pack<elementOf422, k422Bytes, 4>(count, out, in);
}

#else

std::ptrdiff_t v210To444(std::ptrdiff_t, char*, const char*) {
  return 0;
}
std::ptrdiff_t v210From444(std::ptrdiff_t, char*, const char*) {
  return 0;
}
std::ptrdiff_t v210From422(std::ptrdiff_t, char*, const char*) {
  return 0;
}

#endif

}  // namespace mirl::engine
