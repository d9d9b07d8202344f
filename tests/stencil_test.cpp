// The stencil and cascade patterns beneath the operations: borders, halos and places. Where there
// are GPUs this is compiled as CUDA, as map_test.cpp is.

#include "engine/stencil.h"

#include <cstdint>

#include "engine/cascade.h"
#include "support.h"

namespace mirl::test {
namespace {

MIRL_DEVICE_TESTS(StencilPattern);

/// Elements that tell which neighbour they are: none is taken for another.
template <int Across, int Down>
struct kernel_around {
  static constexpr engine::Asks asks{.place = true};
  static constexpr engine::Halo halo{.across = Across, .down = Down};
  using Element = float;

  template <class Neighbours>
  MIRL_HD float operator()(engine::Place at, const Neighbours& n) const {
    float sum = static_cast<float>(at.x + 3 * at.y);
    float weight = 1;
    for (int j = -Down; j <= Down; ++j) {
      for (int i = -Across; i <= Across; ++i) sum += (weight += 2) * static_cast<float>(n(i, j));
    }
    return sum;
  }
};

/// A last stage: the same around what a first one made, with a corner of what that was made of.
template <int Across, int Down>
struct kernel_behind {
  static constexpr engine::Asks asks{.place = true};
  static constexpr engine::Halo halo{.across = Across, .down = Down};

  template <class In, class First>
  MIRL_HD float operator()(engine::Place at, const In& in, const First& first) const {
    return kernel_around<Across, Down>{}(at, first) - static_cast<float>(in(Across, -Down));
  }
};

template <int Step, class Border, int Across, int Down, class T>
void check(const MirlSize& size, int offset) {
  const Pixels<T> in = randomPixels<T>(size.width, size.height, 1, 7);
  const int pitch = in.rowBytes() + offset;
  const MirlImage source = toImage(in, pitch);
  MirlImage out;
  ASSERT_EQ(out.create(size.width, size.height, 4 * size.width + offset, 32, 1), MIRL_SUCCESS);
  const runtime::Queue queue{runtime::device(device::getCurentDevice()), nullptr};
  engine::stencil<Step, Border>(queue, kernel_around<Across, Down>{},
                                engine::elementsOf<float>(out),
                                engine::elementsOf<const T>(source));

  Pixels<float> expected(size.width, size.height, 1);
  const auto at = [&](int x, int y) -> float {
    const bool outside = x < 0 || y < 0 || x >= size.width || y >= size.height;
    if (std::is_same_v<Border, engine::ZeroOutside> && outside) return 0;
    const int row = std::clamp(y, 0, size.height - 1);
    if (std::is_same_v<Border, engine::NearestPixel>) {
      const int channel = (x % Step + Step) % Step, pixel = (x - channel) / Step;
      return in.at(std::clamp(pixel, 0, size.width / Step - 1) * Step + channel, row);
    }
    return in.at(std::clamp(x, 0, size.width - 1), row);
  };
  const auto around = [](int x, int y, const auto& element) {
    float sum = static_cast<float>(x + 3 * y), weight = 1;
    for (int j = -Down; j <= Down; ++j) {
      for (int i = -Across; i <= Across; ++i) sum += (weight += 2) * element(x + i * Step, y + j);
    }
    return sum;
  };
  const auto expect = [&](const auto& element) {
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) expected.at(x, y) = element(x, y);
    }
    ASSERT_TRUE(queue.device->synchronize(nullptr));
    ASSERT_TRUE(holds(out, expected)) << "step " << Step << ", offset " << offset;
  };
  expect([&](int x, int y) { return around(x, y, at); });

  if (Step > 1 || offset == 4) return;  // cascades are of single elements, and take their time
  engine::cascade<Border>(queue, engine::elementsOf<float>(out),
                          engine::elementsOf<const T>(source), kernel_around<Across, Down>{},
                          kernel_behind<Across, Down>{});
  expect([&](int x, int y) {
    const auto first = [&](int i, int j) { return around(i, j, at); };
    return around(x, y, first) - at(x + Across, y - Down);
  });
}

template <class Border>
void checkBorder() {
  for (const MirlSize size :
       {MirlSize(3, 1), MirlSize(3, 5), MirlSize(6, 2), MirlSize(141, 71), MirlSize(1290, 35)}) {
    for (const int offset : {0, 1, 4}) {
      check<1, Border, 1, 1, std::uint8_t>(size, offset);
      check<3, Border, 2, 1, std::uint8_t>(size, offset);
      check<3, Border, 1, 2, std::uint16_t>(size, offset);
      check<1, Border, 0, 3, std::uint16_t>(size, offset);
      check<1, Border, 3, 0, std::uint8_t>(size, offset);
    }
  }
}

TEST_P(StencilPattern, GoesOnBeyondTheImage) {
  checkBorder<engine::NearestElement>();
  checkBorder<engine::NearestPixel>();
  checkBorder<engine::ZeroOutside>();
}

}  // namespace
}  // namespace mirl::test
