#include <cstdint>

#include "support.h"

namespace mirl::test {
namespace {

MIRL_DEVICE_TESTS(ImageGradients);

const MirlGradientKernelType kKernels[] = {MIRL_GRADIENT_CENTRAL, MIRL_GRADIENT_SOBEL,
                                           MIRL_GRADIENT_SCHARR, MIRL_GRADIENT_PREWITT};

/// The element of a plane of elements at column x, continued by its nearest one.
template <class T>
float tap(const Pixels<T>& in, int x, int y) {
  const int last = in.width * in.channels - 1;
  const int column = std::clamp(x, 0, last), row = std::clamp(y, 0, in.height - 1);
  return in.values[static_cast<std::size_t>(row) * static_cast<std::size_t>(last + 1) +
                   static_cast<std::size_t>(column)];
}

/// w1 a + w2 b + w1 c minus the same of the others, as the header has it.
float difference(float w1, float w2, const float (&plus)[3], const float (&minus)[3]) {
  float sum = w1 * plus[0];
  sum += w2 * plus[1];
  sum += w1 * plus[2];
  float rest = -(w1 * minus[0]);
  rest -= w2 * minus[1];
  rest -= w1 * minus[2];
  return sum + rest;
}

template <class T>
Pixels<float> derived(const Pixels<T>& in, MirlGradientKernelType kernel, bool second) {
  Pixels<float> out(in.width, in.height, in.channels);
  const float w1 = kernel == MIRL_GRADIENT_SCHARR ? 3 : 1;
  const float w2 = kernel == MIRL_GRADIENT_SCHARR ? 10 : kernel == MIRL_GRADIENT_SOBEL ? 2 : 1;
  for (int y = 0; y < in.height; ++y) {
    for (int x = 0; x < in.width; ++x) {
      for (int c = 0; c < in.channels; ++c) {
        const auto t = [&](int dx, int dy) { return tap(in, (x + dx) * in.channels + c, y + dy); };
        float& made = out.at(x, y, c);
        if (kernel == MIRL_GRADIENT_CENTRAL) {
          made = second ? t(0, 1) - t(0, -1) : t(1, 0) - t(-1, 0);
        } else if (second) {
          made = difference(w1, w2, {t(1, -1), t(1, 0), t(1, 1)}, {t(-1, -1), t(-1, 0), t(-1, 1)});
        } else {
          made = difference(w1, w2, {t(-1, -1), t(0, -1), t(1, -1)}, {t(-1, 1), t(0, 1), t(1, 1)});
        }
      }
    }
  }
  return out;
}

TEST_P(ImageGradients, EqualTheFormula) {
  const auto check = [&]<class T>(T) {
    unsigned seed = 1;
    for (const MirlSize size : {MirlSize(1, 1), MirlSize(1, 9), MirlSize(9, 1), MirlSize(2, 2),
                                MirlSize(17, 5), MirlSize(43, 67), MirlSize(1031, 37)}) {
      for (const int channels : {1, 3}) {
        const Pixels<T> in = randomPixels<T>(size.width, size.height, channels, seed++);
        for (const int padding : {0, 1, 7}) {
          // Floats that start at odd addresses where a row's pitch is odd.
          const int floats = size.width * channels * 4 + padding;
          const MirlImage source = toImage(in, padding == 0 ? 0 : in.rowBytes() + padding);
          for (const MirlGradientKernelType kernel : kKernels) {
            MirlImage first, second;
            if (padding != 0) {
              ASSERT_EQ(first.create(size.width, size.height, floats, 32, channels), MIRL_SUCCESS);
            }
            ASSERT_EQ(imageFiltering::imageGradients(source, first, second, kernel), MIRL_SUCCESS);
            ASSERT_TRUE(holds(first, derived(in, kernel, false))) << kernel;
            ASSERT_TRUE(holds(second, derived(in, kernel, true))) << kernel;
          }
        }
      }
    }
  };
  check(std::uint8_t{});
  check(float{});
}

TEST_P(ImageGradients, OfRamps) {
  Pixels<std::uint8_t> across(5, 5, 1), down(5, 5, 1);
  for (int y = 0; y < 5; ++y) {
    for (int x = 0; x < 5; ++x) {
      across.at(x, y) = static_cast<std::uint8_t>(x);
      down.at(x, y) = static_cast<std::uint8_t>(y);
    }
  }
  const auto at = [](const Pixels<std::uint8_t>& ramp, MirlGradientKernelType kernel, bool second,
                     int x) {
    MirlImage a, b;
    EXPECT_EQ(imageFiltering::imageGradients(toImage(ramp), a, b, kernel), MIRL_SUCCESS);
    return (second ? b : a).get(x, 2, 0);
  };
  EXPECT_EQ(at(across, MIRL_GRADIENT_CENTRAL, false, 2), 2);
  EXPECT_EQ(at(across, MIRL_GRADIENT_CENTRAL, false, 4), 1);
  EXPECT_EQ(at(across, MIRL_GRADIENT_SOBEL, true, 2), 8);
  EXPECT_EQ(at(across, MIRL_GRADIENT_SOBEL, true, 0), 4);
  EXPECT_EQ(at(across, MIRL_GRADIENT_SCHARR, true, 2), 32);
  EXPECT_EQ(at(across, MIRL_GRADIENT_SCHARR, true, 4), 16);
  EXPECT_EQ(at(across, MIRL_GRADIENT_PREWITT, true, 2), 6);
  EXPECT_EQ(at(down, MIRL_GRADIENT_SOBEL, false, 2), -8);
  EXPECT_EQ(at(down, MIRL_GRADIENT_CENTRAL, true, 2), 2);
}

// What the table of all operations doesn't know: the second output, and kernels that are none.
TEST_P(ImageGradients, StatusesOfTwoOutputs) {
  const MirlImage bytes(9, 7, MIRL_8U_C1);
  for (const MirlType type : {MIRL_32F_C3, MIRL_8U_C1}) {
    MirlImage first(9, 7, MIRL_32F_C1), second(9, 7, type);
    EXPECT_EQ(imageFiltering::imageGradients(bytes, first, second, MIRL_GRADIENT_SOBEL),
              MIRL_MISMATCH);
  }

  MirlImage source(9, 7, MIRL_32F_C1), other(9, 7, MIRL_32F_C1), created;
  for (MirlImage* const same : {&source, &other}) {
    EXPECT_EQ(imageFiltering::imageGradients(source, *same, other, MIRL_GRADIENT_SOBEL),
              MIRL_IN_PLACE_NOT_SUPPORTED);
    EXPECT_EQ(imageFiltering::imageGradients(source, other, *same, MIRL_GRADIENT_SOBEL),
              MIRL_IN_PLACE_NOT_SUPPORTED);
  }
  const Pixels<float> before = randomPixels<float>(9, 7, 1, 3);
  other = toImage(before);
  EXPECT_EQ(imageFiltering::imageGradients(source, other, created, MirlGradientKernelType(4)),
            MIRL_SUCCESS);
  EXPECT_TRUE(holds(other, before));
  EXPECT_EQ(created.type(), MIRL_32F_C1);

  MirlImage empty;
  MirlImage wrong(8, 7, MIRL_32F_C1);
  EXPECT_EQ(imageFiltering::imageGradients(source, empty, wrong, MIRL_GRADIENT_SOBEL),
            MIRL_MISMATCH);
  EXPECT_EQ(empty.type(), MIRL_32F_C1);  // the one before has been created
}

}  // namespace
}  // namespace mirl::test
