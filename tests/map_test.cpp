// The map pattern and its numbers, beneath all operations. Where there are GPUs this is compiled as
// CUDA: plain C++ can't launch kernels.

#include "engine/map.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "engine/mix.h"
#include "engine/numbers/conversions.h"
#include "runtime/host/cache_limit.h"
#include "support.h"

namespace mirl::test {
namespace {

using engine::Pixel;
using engine::View;
using Byte = std::uint8_t;
using Word = std::uint16_t;

class MapPattern : public DeviceTest {
 protected:
  runtime::Queue queue() const { return {runtime::device(GetParam()), nullptr}; }
};

template <class T>
struct ElementOf {
  using type = T;
};
template <class T, int N>
struct ElementOf<Pixel<T, N>> {
  using type = T;
};

/// Rows of items at any address and distance: bytes on the host, and their copy on a device.
template <class T>
class Plane {
  using Element = typename ElementOf<T>::type;

 public:
  Plane(const runtime::Queue& queue, int width, int height, int offset = 0, int padding = 0)
      : device_(queue.device), width_(width), height_(height), offset_(offset) {
    constexpr int kItemBytes = static_cast<int>(sizeof(T));
    pitch_ = width * kItemBytes + padding;
    bytes_.assign(static_cast<std::size_t>(offset) + size(pitch_) * size(height) + 32, 0xA5);
    // Small numbers, so that float results are exact in any order.
    unsigned next = static_cast<unsigned>(width + offset);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        Element elements[sizeof(T) / sizeof(Element)];
        for (auto& element : elements) element = static_cast<Byte>((next = next * 5 + 1) >> 8);
        set(x, y, std::bit_cast<T>(elements));
      }
    }
    EXPECT_TRUE(device_->allocate(bytes_.size(), data_));
  }
  Plane(const runtime::Queue& queue, const std::vector<T>& row)
      : Plane(queue, static_cast<int>(row.size()), 1) {
    for (int x = 0; x < width_; ++x) set(x, 0, row[size(x)]);
  }
  ~Plane() { device_->free(data_); }
  Plane(const Plane&) = delete;
  Plane& operator=(const Plane&) = delete;

  template <class V>
  View<V> view() const {
    return {reinterpret_cast<V*>(static_cast<char*>(data_) + offset_), pitch_, width_, height_};
  }
  int width() const { return width_; }
  int height() const { return height_; }

  T get(int x, int y) const {
    T item;
    std::memcpy(&item, &bytes_[at(x, y)], sizeof item);
    return item;
  }
  void set(int x, int y, const T& item) { std::memcpy(&bytes_[at(x, y)], &item, sizeof item); }

  void upload() const { move(data_, bytes_.data(), runtime::Direction::hostToDevice); }

  /// Whether the device has the bytes of the host, also those that belong to no item.
  testing::AssertionResult agrees() const {
    std::vector<unsigned char> actual(bytes_.size());
    move(actual.data(), data_, runtime::Direction::deviceToHost);
    const auto [got, want] = std::mismatch(actual.begin(), actual.end(), bytes_.begin());
    if (got == actual.end()) return testing::AssertionSuccess();
    const auto byte = got - actual.begin() - offset_;
    return testing::AssertionFailure()
           << "first difference in row " << byte / pitch_ << ", byte " << byte % pitch_ << ": "
           << +*got << ", expected " << +*want << " (" << width_ << "x" << height_ << " items of "
           << sizeof(T) << " bytes, pitch " << pitch_ << ", offset " << offset_ << ")";
  }

 private:
  static std::size_t size(int value) { return static_cast<std::size_t>(value); }
  std::size_t at(int x, int y) const {
    return size(offset_) + size(y) * size(pitch_) + size(x) * sizeof(T);
  }
  void move(void* dst, const void* src, runtime::Direction direction) const {
    const std::size_t all = bytes_.size();
    EXPECT_TRUE(device_->copy({dst, all, src, all, all, 1, direction}));
  }

  runtime::Device* device_;
  int width_, height_, offset_, pitch_ = 0;
  std::vector<unsigned char> bytes_;
  void* data_ = nullptr;
};

/// Runs something on the device, does the same on the host with `reference`, and compares all
/// bytes. An input may be the output.
template <class Run, class Reference, class Out, class... In>
void checkRun(const Run& run, const Reference& reference, Plane<Out>& out, const Plane<In>&... in) {
  out.upload();
  (in.upload(), ...);
  run();
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      out.set(x, y, static_cast<Out>(reference(in.get(x, y)...)));
    }
  }
  EXPECT_TRUE(out.agrees());
  EXPECT_TRUE((in.agrees() && ...));
}

template <class F, class Reference, class Out, class... In>
void check(const runtime::Queue& queue, const F& f, const Reference& reference, Plane<Out>& out,
           const Plane<In>&... in) {
  const auto run = [&] {
    engine::map(queue, f, out.template view<Out>(), in.template view<const In>()...);
    EXPECT_TRUE(queue.device->synchronize(nullptr));
  };
  checkRun(run, reference, out, in...);
}

/// Calls visit(offset, padding) on and off the boundaries of every word size.
template <class Visit>
void forEachAlignment(const Visit& visit) {
  for (const int offset : {0, 1, 2, 4, 8, 16}) {
    for (const int padding : {0, 1, 2, 7, 16}) visit(offset, padding);
  }
}

/// An item of N channels, and one of them.
template <class T, int N>
using Item = std::conditional_t<N == 1, T, Pixel<T, N>>;

template <class T>
MIRL_HD T& channel(T& element, int) {
  return element;
}
template <class T, int N>
MIRL_HD T& channel(Pixel<T, N>& pixel, int c) {
  return pixel.v[c];
}

/// Every channel of the result from another one of the input.
template <class Out, int N, class In, int M>
struct kernel_turn {
  MIRL_HD Item<Out, N> operator()(Item<In, M> in) const {
    Item<Out, N> out{};
    for (int c = 0; c < N; ++c) {
      channel(out, c) = static_cast<Out>(channel(in, (c + 1) % M) / In{2} + static_cast<In>(c));
    }
    return out;
  }
};

template <class Out, int N, class In, int M>
void checkTurn(const runtime::Queue& queue) {
  constexpr kernel_turn<Out, N, In, M> kTurn;
  forEachAlignment([&](int offset, int padding) {
    for (const int width : {1, 2, 3, 15, 16, 17, 31, 64, 97, 4099}) {
      if (width > 1000 && offset + padding > 3) continue;
      const Plane<Item<In, M>> in(queue, width, 3, offset, padding), aligned(queue, width, 3);
      Plane<Item<Out, N>> out(queue, width, 3, offset, padding), alignedOut(queue, width, 3);
      check(queue, kTurn, kTurn, out, in);
      check(queue, kTurn, kTurn, out, aligned);
      check(queue, kTurn, kTurn, alignedOut, in);
    }
  });
}

TEST_P(MapPattern, PixelsOfAnyChannelsAndAlignment) {
  checkTurn<Byte, 3, Byte, 3>(queue());
  checkTurn<Byte, 1, Byte, 3>(queue());
  checkTurn<Byte, 4, Byte, 1>(queue());
  checkTurn<Byte, 2, Word, 4>(queue());
  checkTurn<Byte, 3, float, 2>(queue());
  checkTurn<Word, 3, Word, 3>(queue());
  checkTurn<Word, 2, Byte, 2>(queue());
  checkTurn<float, 3, Byte, 3>(queue());
  checkTurn<float, 1, Word, 3>(queue());
  checkTurn<float, 4, float, 4>(queue());
}

struct kernel_pixelAndElement {
  MIRL_HD Pixel<Word, 3> operator()(const Pixel<Byte, 3>& a, Byte b) const {
    return {{static_cast<Word>(a.v[2] * b), static_cast<Word>(a.v[1] + b), b}};
  }
};

TEST_P(MapPattern, ElementsBesidePixels) {
  forEachAlignment([&](int offset, int padding) {
    for (const int width : {1, 17, 97}) {
      const Plane<Byte> bytes(queue(), width, 3, offset, 3);
      const Plane<Pixel<Byte, 3>> pixels(queue(), width, 3, 1, padding);
      Plane<Pixel<Word, 3>> mixed(queue(), width, 3, offset, padding);
      check(queue(), kernel_pixelAndElement{}, kernel_pixelAndElement{}, mixed, pixels, bytes);
    }
  });
}

// Not its own inverse, so that an item that is left out or done twice shows. The large ones are
// shared out over threads, and are wider or higher than a grid of blocks.
TEST_P(MapPattern, InPlaceSmallAndLarge) {
  const auto run = [&]<class T, class Step>(T, const Step& step, int width, int height, int offset,
                                            int padding) {
    Plane<T> plane(queue(), width, height, offset, padding);
    check(queue(), step, step, plane, plane);
  };
  forEachAlignment([&](int offset, int padding) {
    run(Pixel<Byte, 3>{}, kernel_turn<Byte, 3, Byte, 3>{}, 113, 5, offset, padding);
    run(float{}, kernel_turn<float, 1, float, 1>{}, 113, 5, offset, padding);
  });
  run(Byte{}, kernel_turn<Byte, 1, Byte, 1>{}, 4099, 2053, 0, 1);
  run(Pixel<Word, 3>{}, kernel_turn<Word, 3, Word, 3>{}, 1301, 1031, 2, 0);
  run(Pixel<float, 4>{}, kernel_turn<float, 4, float, 4>{}, 1301, 307, 1, 3);
  run(Pixel<Byte, 4>{}, kernel_turn<Byte, 4, Byte, 4>{}, 3000017, 1, 4, 0);
  run(Pixel<Byte, 3>{}, kernel_turn<Byte, 3, Byte, 3>{}, 1, 600011, 0, 0);
}

// On the host in pieces that then go past the caches, as images do that no cache holds.
TEST_P(MapPattern, PastTheCaches) {
  runtime::setCacheLimit(1);
  for (const int width : {1, 17, 63, 64, 65, 1024, 4095, 4096, 4097, 9001}) {
    for (const int offset : {0, 1, 2, 3, 31, 63}) {
      const auto run = [&]<class Out, int N, class In, int M>() {
        constexpr kernel_turn<Out, N, In, M> kTurn;
        const Plane<Item<In, M>> in(queue(), width, 1, offset / 2);
        Plane<Item<Out, N>> out(queue(), width, 1, offset);
        check(queue(), kTurn, kTurn, out, in);
      };
      run.template operator()<Byte, 1, Byte, 1>();
      run.template operator()<float, 1, Word, 3>();
      run.template operator()<Word, 3, Byte, 3>();
      run.template operator()<Byte, 4, float, 2>();
    }
  }
  runtime::setCacheLimit(0);
}

/// Reverses the channels.
template <class T>
struct kernel_reverse {
  MIRL_HD Pixel<T, 3> operator()(const Pixel<T, 3>& in) const {
    return {in.v[2], in.v[1], in.v[0]};
  }
};

/// From pixels to planes and from these to pixels.
template <class T, class F>
void checkPlanes(const runtime::Queue& queue, const F& f, int width, int height, int offset,
                 int padding) {
  Plane<Pixel<T, 3>> pixels(queue, width, height, offset, padding);
  Plane<T> a(queue, width, height, 1, padding), b(queue, width, height, offset),
      c(queue, width, height);
  const auto planes = [&]<class V>(std::type_identity<V>) {
    return engine::planarOf(a.template view<V>(), b.template view<V>(), c.template view<V>());
  };
  for (const Plane<T>* const plane : {&a, &b, &c}) plane->upload();
  pixels.upload();
  engine::map(queue, f, planes(std::type_identity<T>{}), pixels.template view<const Pixel<T, 3>>());
  Plane<T>* const channels[] = {&a, &b, &c};
  const auto forEach = [&](const auto& visit) {
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) visit(x, y);
    }
  };
  forEach([&](int x, int y) {
    const Pixel<T, 3> pixel = f(pixels.get(x, y));
    for (int k = 0; k < 3; ++k) channels[k]->set(x, y, pixel.v[k]);
  });
  EXPECT_TRUE(queue.device->synchronize(nullptr));
  EXPECT_TRUE(a.agrees() && b.agrees() && c.agrees() && pixels.agrees());
  engine::map(queue, f, pixels.template view<Pixel<T, 3>>(), planes(std::type_identity<const T>{}));
  forEach([&](int x, int y) {
    pixels.set(x, y, f(Pixel<T, 3>{{a.get(x, y), b.get(x, y), c.get(x, y)}}));
  });
  EXPECT_TRUE(queue.device->synchronize(nullptr));
  EXPECT_TRUE(pixels.agrees());
}

TEST_P(MapPattern, Planes) {
  for (const std::size_t limit : {0, 1}) {
    runtime::setCacheLimit(limit);
    forEachAlignment([&](int offset, int padding) {
      for (const int width : {1, 17, 64, 1301}) {
        checkPlanes<Byte>(queue(), engine::Same{}, width, 3, offset, padding);
        checkPlanes<Word>(queue(), kernel_reverse<Word>{}, width, 3, offset, padding);
        if (padding == 0) checkPlanes<float>(queue(), engine::Same{}, width, 3, offset, padding);
      }
    });
    checkPlanes<Byte>(queue(), kernel_reverse<Byte>{}, 3, 20011, 0, 0);
  }
  runtime::setCacheLimit(0);
}

/// Without inputs: where it is, and what its table and its channel have for that.
struct kernel_everything {
  static constexpr engine::Asks asks{.place = true, .table = true, .channels = true};
  engine::Lookup<int, 8> table;
  engine::PerChannel<Pixel<int, 2>, 3> channels;
  MIRL_HD int operator()(engine::Place at, const engine::Lookup<int, 8>& entries,
                         const Pixel<int, 2>& factors) const {
    return at.x * factors.v[0] + at.y * factors.v[1] + entries.entry[(at.x + at.y) % 8];
  }
};

TEST_P(MapPattern, WhatFunctorsAskFor) {
  const kernel_everything f{{{5, 3, 8, 1, 9, 2, 7, 4}}, {{{{10, 1}}, {{200, 3}}, {{4000, 7}}}}};
  for (const int width : {3, 12, 96, 3003}) {
    for (const int offset : {0, 1, 4}) {
      Plane<int> out(queue(), width, 37, offset);
      out.upload();
      engine::map(queue(), f, out.view<int>());
      for (int y = 0; y < 37; ++y) {
        for (int x = 0; x < width; ++x) {
          out.set(x, y, f({x, y}, f.table, f.channels.of[x % 3]));
        }
      }
      EXPECT_TRUE(queue().device->synchronize(nullptr));
      EXPECT_TRUE(out.agrees());
    }
  }
}

/// Tells which way an item was made.
struct kernel_vectors {
  static constexpr engine::Asks asks{.vectors = true};
  MIRL_HD Byte operator()(Byte) const { return 1; }
  std::ptrdiff_t vectors(std::ptrdiff_t count, char* out, const char*) const {
    std::memset(out, 2, static_cast<std::size_t>(count / 64 * 64));
    return count / 64 * 64;
  }
};

// A fast way that nobody takes is a slow one.
TEST_P(MapPattern, FastWaysAreTaken) {
  const bool isHost = queue().device->isHost();
  Plane<Byte> out(queue(), 1000, 3, 0, 1);
  const Plane<Byte> in(queue(), 1000, 3);
  out.upload();
  engine::map(queue(), kernel_vectors{}, out.view<Byte>(), in.view<const Byte>());
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 1000; ++x) out.set(x, y, isHost && x < 960 ? 2 : 1);
  }
  EXPECT_TRUE(queue().device->synchronize(nullptr));
  EXPECT_TRUE(out.agrees());

#if MIRL_WITH_HIGHWAY && defined(__AVX2__)
  const std::vector<Byte> pixels(300 * 4);
  std::vector<Byte> mixed(300 * 3);
  const engine::MixRow row{{0.3f, 0.3f, 0.3f}, 0};
  const engine::kernel_mix<Byte, 3, 3> three{{{row, row, row}}};
  const engine::kernel_mix<Byte, 4, 1> one{{{row}}};
  const auto* const from = reinterpret_cast<const char*>(pixels.data());
  auto* const to = reinterpret_cast<char*>(mixed.data());
  EXPECT_GE(three.vectors(300, to, from), 280);
  EXPECT_GE(one.vectors(300, to, from), 280);
  static_assert(engine::asksOf<engine::kernel_mix<Byte, 3, 1>>().vectors);
#endif
}

struct kernel_truncateTo {
  float limit;
  MIRL_HD unsigned operator()(float value) const { return engine::truncateTo(value, limit); }
};

template <class T>
struct kernel_fromFloat {
  MIRL_HD T operator()(float value) const { return engine::fromFloat<T>(value); }
};

/// The integer part, from the bits of the number.
unsigned truncated(float value, unsigned limit) {
  const auto bits = std::bit_cast<std::uint32_t>(value);
  const std::uint32_t exponent = bits >> 23 & 0xFF, mantissa = bits & 0x7FFFFF;
  const bool isNan = exponent == 0xFF && mantissa != 0;
  if (bits >> 31 != 0 || isNan || exponent < 127) return 0;
  if (exponent >= 127 + 23) return limit;
  return std::min((mantissa | 0x800000) >> (127 + 23 - exponent), limit);
}

TEST_P(MapPattern, FloatsBecomeIntegers) {
  std::vector<float> values;
  for (std::uint32_t high = 0; high < 0x10000; ++high) {  // every sign and exponent, infinity, NaN
    for (const std::uint32_t low : {0x0000u, 0x0001u, 0x8000u, 0xFFFFu}) {
      values.push_back(std::bit_cast<float>(high << 16 | low));
    }
  }
  for (int i = 0; i <= 0x10000; ++i) {
    const auto whole = static_cast<float>(i);
    values.insert(values.end(),
                  {std::nextafter(whole, -1.0f), whole, whole + 0.5f, std::nextafter(whole, 1e6f)});
  }
  const Plane<float> in(queue(), values);
  Plane<Byte> bytes(queue(), in.width(), 1);
  Plane<Word> words(queue(), in.width(), 1);
  Plane<unsigned> limited(queue(), in.width(), 1);
  const auto to = [](unsigned limit) {
    return [limit](float value) { return truncated(value, limit); };
  };
  check(queue(), kernel_fromFloat<Byte>{}, to(255), bytes, in);
  check(queue(), kernel_fromFloat<Word>{}, to(65535), words, in);
  for (const unsigned limit : {0u, 1u, 1023u, 4095u, 65535u, 8388607u}) {
    check(queue(), kernel_truncateTo{static_cast<float>(limit)}, to(limit), limited, in);
  }
}

MIRL_TEST_ON_ALL_DEVICES(MapPattern);

}  // namespace
}  // namespace mirl::test
