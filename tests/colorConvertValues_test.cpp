// Gray, YUV and YCbCr: what every pixel becomes, against formulas written out plainly; and what
// sequences mean to all conversions.

#include "color_support.h"

namespace mirl::test {
namespace {

using namespace colorOperations;

MIRL_DEVICE_TESTS(ColorConvertValues);

/// Factors by channel in memory: the middle channel first.
float sum(float c0, float c1, float c2, float f0, float f1, float f2) {
  return std::fma(c2, f2, std::fma(c0, f0, c1 * f1));
}

template <class T>
auto grayOf(float f0, float f1, float f2) {
  return [=](const T* p, int) {
    return Values<T>{stored<T>(sum(float(p[0]), float(p[1]), float(p[2]), f0, f1, f2))};
  };
}

TEST_P(ColorConvertValues, Gray) {
  const Convert gray = of(rgb2gray);
  forEachElement([&]<class T>(T) {
    const auto redFirst = grayOf<T>(0.299f, 0.587f, 0.114f),
               blueFirst = grayOf<T>(0.114f, 0.587f, 0.299f);
    checkAll<T>(gray, MIRL_CHANNELSEQ_RGB, 1, redFirst);
    checkAll<T>(gray, MIRL_CHANNELSEQ_BGR, 1, blueFirst);
    if constexpr (!std::is_same_v<T, float>) {
      checkNoise<T>(gray, 4, MIRL_CHANNELSEQ_RGBA, 1, redFirst);
      checkNoise<T>(gray, 4, MIRL_CHANNELSEQ_BGRA, 1, blueFirst);
    }
    // Every 8-bit colour there is: truncation shows the last bit of the sum.
    if constexpr (sizeof(T) == 1) check(gray, colours(1), MIRL_CHANNELSEQ_RGB, 1, redFirst);
  });
  check(gray, Pixels<Byte>(3, {255, 255, 255, 0, 0, 0, 0, 0, 255}), MIRL_CHANNELSEQ_BGR, 1,
        [](const Byte*, int x) {
          return Values<Byte>{std::array<Byte, 3>{255, 0, 76}[size_t(x)]};
        });
  check(gray, Pixels<Word>(4, {65535, 65535, 65535, 9}), MIRL_CHANNELSEQ_RGBA, 1,
        [](const Word*, int) { return Values<Word>{65535}; });
}

TEST_P(ColorConvertValues, GrayWithWeights) {
  const float weights[][3] = {
      {0.2126f, 0.7152f, 0.0722f}, {1, 1, 1},        {-1, 0.5f, 2}, {0, 0, 0},
      {INFINITY, -1, 0},           {0.1f, 0.2f, NAN}};
  forEachElement([&]<class T>(T) {
    for (const auto& [r, g, b] : weights) {
      const Convert gray = of<MirlScalar>(rgb2gray, MirlScalar(double(r), double(g), double(b)));
      checkAll<T>(gray, MIRL_CHANNELSEQ_RGB, 1, grayOf<T>(r, g, b));
      check(gray, tellingPixels<T>(), MIRL_CHANNELSEQ_BGR, 1, grayOf<T>(b, g, r));
    }
    // Weights are rounded to floats.
    check(of<MirlScalar>(rgb2gray, MirlScalar(0.3, 1e39, -1e39)), tellingPixels<T>(),
          MIRL_CHANNELSEQ_RGB, 1, grayOf<T>(0.3f, INFINITY, -INFINITY));
  });
  // Entry 0 is the weight of red, which stands last here.
  check(of<MirlScalar>(rgb2gray, MirlScalar(1, 0, 0)), Pixels<Byte>(3, {10, 20, 30}),
        MIRL_CHANNELSEQ_BGR, 1, [](const Byte*, int) { return Values<Byte>{30}; });
}

TEST_P(ColorConvertValues, ColourFromGray) {
  forEachElement([&]<class T>(T) {
    for (const int channels : {3, 4}) {
      checkNoise<T>(of(gray2rgb), 1, MIRL_CHANNELSEQ_NONE, channels, [](const T* p, int) {
        return Values<T>{p[0], p[0], p[0], 0};
      });
    }
    const auto source = randomPixels<T>(61, 7, 1, 1);
    MirlImage image = toImage(source, source.rowBytes() + 1);
    image.setDataBits(7);
    ASSERT_EQ(gray2rgb(image), MIRL_SUCCESS);
    EXPECT_TRUE(
        holds(image, mapped<T>(source, 3, [](const T* in, T* out) { std::fill_n(out, 3, *in); })))
        << "in place";
    EXPECT_EQ(formatOf(image), formatOf(MirlImage(61, 7, typeOf<T>(3))));
  });
}

/// Y, U, V.
Values<Byte> yuvOf(int r, int g, int b) {
  return bytes(((66 * r + 129 * g + 25 * b + 128) >> 8) + 16,
               ((-38 * r - 74 * g + 112 * b + 128) >> 8) + 128,
               ((112 * r - 94 * g - 18 * b + 128) >> 8) + 128);
}

TEST_P(ColorConvertValues, Yuv8) {
  forBothOrders([](MirlChannelSeq sequence, int red, int blue) {
    const auto forward = [=](const Byte* p, int) { return yuvOf(p[red], p[1], p[blue]); };
    const auto back = [=](const Byte* p, int) {
      const int d = p[1] - 128, e = p[2] - 128, w = 298 * (p[0] - 16) + 128;
      const int rgb[] = {(w + 409 * e) >> 8, (w - 100 * d - 208 * e) >> 8, (w + 516 * d) >> 8};
      return bytes(rgb[red], rgb[1], rgb[blue]);
    };
    checkAll<Byte>(of(rgb2yuv), sequence, 3, forward);
    checkAll<Byte>(of(yuv2rgb), sequence, 3, back);
  });
  EXPECT_EQ(yuvOf(255, 255, 255), bytes(235, 128, 128));
  EXPECT_EQ(yuvOf(0, 0, 0), bytes(16, 128, 128));
}

TEST_P(ColorConvertValues, Yuv16) {
  const auto words = [](float a, float b, float c) {
    return Values<Word>{stored<Word>(a), stored<Word>(b), stored<Word>(c)};
  };
  forBothOrders([&](MirlChannelSeq sequence, int red, int blue) {
    const auto forward = [=](const Word* p, int) {
      const auto row = [&](float r, float g, float b) {
        const float factors[] = {r, g, b};
        return sum(p[0], p[1], p[2], factors[red], g, factors[blue]);
      };
      const double v = 0.5f * p[red] - 0.418688 * p[1] - 0.081312 * p[blue];
      return words(row(0.299f, 0.587f, 0.114f), row(-0.168736f, -0.331264f, 0.5f),
                   static_cast<float>(v));
    };
    const auto back = [=](const Word* p, int) {
      const float y = p[0], d = p[1] - 128.0f, e = p[2] - 128.0f;
      const float rgb[] = {std::fma(e, 1.4075f, y), std::fma(e, -0.7169f, -0.3455f * d + y),
                           1.779f * d + y};
      return words(rgb[red], rgb[1], rgb[blue]);
    };
    checkAll<Word>(of(rgb2yuv), sequence, 3, forward);
    checkAll<Word>(of(yuv2rgb), sequence, 3, back);
  });
  // Blue and red: negative chroma is lost.
  check(of(rgb2yuv), Pixels<Word>(3, {65535, 0, 0, 0, 0, 65535}), MIRL_CHANNELSEQ_BGR, 3,
        [&](const Word*, int x) {
          return x == 0 ? Values<Word>{7470, 32767, 0} : Values<Word>{19594, 0, 32767};
        });
}

TEST_P(ColorConvertValues, Uyvy) {
  const auto expected = [](const Byte* p, int x) {
    const Values<Byte> yuv = yuvOf(p[2], p[1], p[0]);
    return Values<Byte>{x % 2 == 0 ? yuv[1] : yuv[2], yuv[0]};
  };
  for (const MirlChannelSeq sequence : {MIRL_CHANNELSEQ_RGB, MIRL_CHANNELSEQ_NONE}) {
    checkAll<Byte>(of(rgb2yuv422), sequence, 2, expected);
    check(of(rgb2yuv422), randomPixels<Byte>(8191, 3, 3, 1), sequence, 2, expected);
  }
}

TEST_P(ColorConvertValues, Ycbcr) {
  const auto checkType = [&]<class T>(T) {
    const float white = std::is_same_v<T, float> ? 1.0f : float(std::numeric_limits<T>::max());
    const auto apply = [](const float(&table)[3][4], float k, float m, float a, float b, float d,
                          bool blueFirst) {
      float rows[3];
      for (int i = 0; i < 3; ++i) {
        const auto& t = table[i];
        rows[i] = (blueFirst ? sum(d, b, a, t[2] * k, t[1] * k, t[0] * k)
                             : sum(a, b, d, t[0] * k, t[1] * k, t[2] * k)) +
                  t[3] * m;
      }
      return Values<T>{stored<T>(rows[0]), stored<T>(rows[1]), stored<T>(rows[2])};
    };
    const float m = std::is_same_v<T, Byte> ? 1.0f : std::is_same_v<T, Word> ? 257.0f : 1.0f / 255;
    const auto forward = [&](const T* p, bool blueFirst) {
      constexpr float kTable[3][4] = {{65.481f, 128.553f, 24.966f, 16},
                                      {-37.797f, -74.203f, 112, 128},
                                      {112, -93.786f, -18.214f, 128}};
      const float c0 = p[0], c2 = p[2];
      return apply(kTable, 1.0f / 255, m, blueFirst ? c2 : c0, p[1], blueFirst ? c0 : c2,
                   blueFirst);
    };
    const auto back = [&](const T* p, bool blueFirst) {
      constexpr float kTable[3][4] = {{0.0045662f, 0, 0.0062589f, -0.8742024f},
                                      {0.0045662f, -0.0015363f, -0.0031881f, 0.5316682f},
                                      {0.0045662f, 0.0079107f, 0, -1.0856326f}};
      Values<T> rgb = apply(kTable, 255, white, p[0], p[1], p[2], false);
      if (blueFirst) std::swap(rgb[0], rgb[2]);
      return rgb;
    };
    // rgb2ycbcr tells four-channel sequences too, in integers.
    for (int sequence = 0; sequence < (std::is_same_v<T, float> ? 2 : 4); ++sequence) {
      const auto named = static_cast<MirlChannelSeq>(sequence);
      const bool blueFirst = sequence == 1 || sequence == 2;
      const auto run = [&](const Convert& convert, const auto& formula) {
        const auto expected = [&](const T* p, int) { return formula(p, blueFirst); };
        checkAll<T>(convert, named, 3, expected);
      };
      run(of(rgb2ycbcr), forward);
      if (sequence < 2) run(of(ycbcr2rgb), back);
    }
  };
  forEachElement(checkType);
  for (const MirlChannelSeq sequence : {MIRL_CHANNELSEQ_RGB, MIRL_CHANNELSEQ_BGR}) {
    check(of(rgb2ycbcr), Pixels<Byte>(3, {255, 255, 255}), sequence, 3,
          [](const Byte*, int) { return bytes(235, 127, 128); });
    check(of(ycbcr2rgb), Pixels<Byte>(3, {235, 128, 128}), sequence, 3,
          [](const Byte*, int) { return bytes(254, 255, 254); });
  }
}

using Conversion = MirlStatus (*)(const MirlImage&, MirlImage&, const MirlStream&);

MirlStatus weightedGray(const MirlImage& source, MirlImage& out, const MirlStream& stream) {
  return rgb2gray(source, out, MirlScalar(0.2, 0.7, 0.1), stream);
}

/// Which sequence says what the colours are.
enum Meaning { ofSource, ofOutput, ofAnyLayout, none };
const struct {
  const char* name;
  Conversion run;
  Meaning meaning;
  std::vector<MirlType> served;
  int channels = 3;  ///< of the output
  bool setsRgb = false;
} kConversions[] = {
    {"rgb2gray", rgb2gray, ofSource, {MIRL_8U_C3, MIRL_16U_C4, MIRL_32F_C3}, 1},
    {"rgb2gray with weights", weightedGray, ofSource, {MIRL_16U_C3}, 1},
    {"gray2rgb", gray2rgb, none, {MIRL_8U_C1}},
    {"rgb2yuv", rgb2yuv, ofSource, {MIRL_8U_C3, MIRL_16S_C3}},
    {"yuv2rgb", yuv2rgb, ofOutput, {MIRL_8U_C3, MIRL_16S_C3}},
    {"rgb2yuv422", rgb2yuv422, none, {MIRL_8U_C3}, 2},
    {"rgb2ycbcr", rgb2ycbcr, ofAnyLayout, {MIRL_8U_C3, MIRL_16U_C3}, 3, true},
    {"rgb2ycbcr of floats", rgb2ycbcr, ofSource, {MIRL_32F_C3}, 3, true},
    {"ycbcr2rgb", ycbcr2rgb, ofOutput, {MIRL_8U_C3, MIRL_32F_C3}},
    {"rgb2hsv", rgb2hsv, ofSource, {MIRL_8U_C3, MIRL_32F_C3}},
    {"hsv2rgb", hsv2rgb, none, {MIRL_32F_C3}},
    {"rgb2Lab", rgb2Lab, ofSource, {MIRL_8U_C3, MIRL_32F_C3}, 3, true},
    {"Lab2rgb", Lab2rgb, ofOutput, {MIRL_8U_C3, MIRL_32F_C3}},
};

TEST_P(ColorConvertValues, SequencesThatMeanNothingWriteNothing) {
  for (const auto& conversion : kConversions) {
    for (const MirlType type : conversion.served) {
      MirlImage source(5, 3, type), made;
      for (int i = 0; i < 64; ++i) {  // from below the first sequence to above the last
        const auto from = static_cast<MirlChannelSeq>(i / 8 - 1);
        const auto to = static_cast<MirlChannelSeq>(i % 8 - 1);
        SCOPED_TRACE(testing::Message() << conversion.name << ", type " << type << ", sequences "
                                        << from << ", " << to);
        MirlImage out(5, 3, source.depth(), conversion.channels);
        fillBlock(out);
        source.setChannelSequence(from);
        out.setChannelSequence(to);
        EXPECT_EQ(conversion.run(source, out, MirlStream()), MIRL_SUCCESS);
        const int sequence = conversion.meaning == ofOutput ? to : from;
        const bool three = sequence == 0 || sequence == 1, four = sequence == 2 || sequence == 3;
        const bool means =
            conversion.meaning == none || (conversion.meaning == ofAnyLayout ? three || four
                                           : source.channels() == 4          ? four
                                                                             : three);
        EXPECT_EQ(static_cast<bool>(untouched(out)), !means);
        EXPECT_EQ(out.channelSeq(), conversion.setsRgb ? MIRL_CHANNELSEQ_RGB : to);
        EXPECT_EQ(source.channelSeq(), from);
      }
      EXPECT_EQ(conversion.run(source, made, MirlStream()), MIRL_SUCCESS);
      EXPECT_EQ(made.channelSeq(), conversion.setsRgb         ? MIRL_CHANNELSEQ_RGB
                                   : conversion.channels == 3 ? MIRL_CHANNELSEQ_BGR
                                                              : MIRL_CHANNELSEQ_NONE);
    }
  }
}

// Types that rgb2ycbcr doesn't serve are found out after the sequence was set.
TEST_P(ColorConvertValues, YcbcrSetsTheSequenceBeforeTheTypeIsSeen) {
  const MirlImage source(5, 3, MIRL_16S_C3), wide(6, 3, MIRL_16S_C3);
  MirlImage out(5, 3, MIRL_16S_C3), made;
  EXPECT_EQ(rgb2Lab(source, out), MIRL_DEPTH_NOT_SUPPORTED);
  EXPECT_EQ(rgb2ycbcr(wide, out), MIRL_MISMATCH);
  EXPECT_EQ(out.channelSeq(), MIRL_CHANNELSEQ_BGR);
  EXPECT_EQ(rgb2ycbcr(source, out), MIRL_TYPE_NOT_SUPPORTED);
  EXPECT_EQ(rgb2ycbcr(source, made), MIRL_TYPE_NOT_SUPPORTED);
  EXPECT_EQ(out.channelSeq(), MIRL_CHANNELSEQ_RGB);
  EXPECT_EQ(made.channelSeq(), MIRL_CHANNELSEQ_RGB);
}

TEST_P(ColorConvertValues, GrayInPlaceIsAllOrNothing) {
  using runtime::Call;
  const std::tuple<MirlType, bool, Call, MirlStatus> cases[] = {
      {MIRL_8U_C3, true, Call::stream, MIRL_CHANNELS_NOT_SUPPORTED},
      {MIRL_16S_C1, true, Call::stream, MIRL_TYPE_NOT_SUPPORTED},
      {MIRL_16U_C1, false, Call::stream, MIRL_INVALID_ARGUMENT},
      {MIRL_16U_C1, true, Call::allocate, MIRL_DEVICE_ALLOC_FAILED},
      {MIRL_16U_C1, true, Call::free, MIRL_DEVICE_FREE_FAILED}};
  const MirlStream alive, dead = deadStream();
  for (const auto& [type, lives, call, status] : cases) {
    MirlImage image(4, 3, type), empty;
    image.setDataBits(5);
    image.setChannelSequence(MIRL_CHANNELSEQ_RGBA);
    const auto before = fieldsOf(image);
    const FailNth fail(call);
    EXPECT_EQ(gray2rgb(image, lives ? alive : dead), status);
    EXPECT_EQ(fieldsOf(image), before);
    EXPECT_EQ(gray2rgb(empty), MIRL_IMAGE_NOT_INITIALIZED);
  }
}

}  // namespace
}  // namespace mirl::test
