// Data exchange, geometry, filters and statistics.

#include "rows.h"

namespace mirl::fuzz {

namespace {

using Region = const MirlRect&;
using Filter = const MirlFilter&;

const Types kAny = {MIRL_8U_C1,  MIRL_8U_C2,  MIRL_8U_C3,  MIRL_8U_C4,  MIRL_16U_C1,
                    MIRL_16S_C2, MIRL_16U_C3, MIRL_32F_C4, MIRL_32S_C1, MIRL_64F_C3};

/// The Haar bands of an image of even sides, mostly.
MirlStatus bands(Draw& draw) {
  const int channels = draw.chance(8) ? 2 : draw.oneOf({1, 3}), depth = draw.chance(8) ? 16 : 8;
  const MirlSize half(1 + draw.upTo(40), 1 + draw.upTo(12));
  const MirlSize size(2 * half.width + draw.chance(10), 2 * half.height + draw.chance(10));
  const auto formatOf = [&](int bits) {
    return test::Format{depthAndChannelsToType(bits, channels, false), bits, channels};
  };
  const MirlImage& source = draw.image(formatOf(depth), size, 0, false);
  const auto band = [&]() -> MirlImage& {
    const MirlSize odd(half.width + draw.upTo(3) - 1, half.height + draw.upTo(3) - 1);
    const int bits = draw.chance(20) ? 16 : depth;
    // One without columns can't be created and stays empty.
    const MirlSize its = draw.chance(3) ? MirlSize() : draw.chance(12) ? odd : half;
    return draw.image(formatOf(bits), its, 0, true);
  };
  MirlImage &a = band(), &b = band(), &c = band(), &d = draw.chance(20) ? c : band();
  draw.tell(" %dx%d C%d", size.width, size.height, channels);
  const MirlStream& stream = draw.stream();
  return draw.call([&] { return imageTransforms::haarFwd(source, a, b, c, d, stream); });
}

/// A flow between two images, into arrays that are checked behind their ends, or null.
template <class Run>
MirlStatus flow(Draw& draw, const Run& run) {
  const MirlImage &first = draw.input(), &second = draw.input();
  const auto pixels = static_cast<std::size_t>(first.width()) *
                      static_cast<std::size_t>(first.isInitialized() ? first.height() : 0);
  constexpr std::size_t kBehind = 4;
  std::vector<float> x(pixels + kBehind, -7), y = x;
  const bool hasX = !draw.chance(12), hasY = !draw.chance(12);
  const auto call = run(draw);
  const MirlStream& stream = draw.stream();
  const MirlStatus status = draw.call([&] {
    return call(first, second, hasX ? x.data() : nullptr, hasY ? y.data() : nullptr, stream);
  });
  for (std::vector<float>* flow : {&x, &y}) {
    for (std::size_t i = status == MIRL_SUCCESS ? pixels : 0; i < pixels + kBehind; ++i) {
      if ((*flow)[i] != -7 && status != MIRL_COPY_D2H_FAILED && status != MIRL_KERNEL_FAILED) {
        draw.broken("wrote where it had no business");
      }
    }
    for (const float value : *flow) draw.result(static_cast<double>(value));
  }
  return status;
}

/// Criteria for few samples in all, and hostile ones.
MirlTrackingCriteria criteria(Draw& draw) {
  MirlTrackingCriteria made;
  made.levels = draw.chance(10) ? draw.integer() : draw.upTo(4);
  made.window = {draw.chance(16) ? draw.upTo(60) - 20 : draw.upTo(6),
                 draw.chance(16) ? draw.upTo(60) - 20 : draw.upTo(6)};
  made.maxIterations = draw.upTo(8) - 1;
  made.minDisplacement = draw.chance(6) ? static_cast<float>(draw.real()) : 0.01f;
  made.maxResidual = draw.chance(6) ? static_cast<float>(draw.real()) : 20.0f;
  made.scale = draw.chance(6) ? static_cast<float>(draw.real()) : 0.6f;
  draw.tell(" %d levels, window %dx%d, %d steps", made.levels, made.window.width,
            made.window.height, made.maxIterations);
  return made;
}

MirlStatus track(Draw& draw) {
  using Feature = MirlPointValue2D<float, float>;
  const MirlImage &first = draw.input(), &second = draw.input();
  const MirlTrackingCriteria how = criteria(draw);
  std::vector<Feature> features(static_cast<std::size_t>(draw.upTo(40)));
  for (Feature& feature : features) {
    feature.x = static_cast<float>(draw.chance(20) ? draw.real() : draw.upTo(60));
    feature.y = static_cast<float>(draw.chance(20) ? draw.real() : draw.upTo(30));
    feature.value = static_cast<float>(-draw.upTo(6));
  }
  Feature* const from = draw.chance(12) ? nullptr : features.data();
  const MirlStream& stream = draw.stream();
  Feature unset, *tracked = &unset;
  const auto count = static_cast<int>(features.size());
  const MirlStatus status = draw.call([&] {
    return computerVision::trackFeatures(first, second, from, tracked, count, how, stream);
  });
  if (tracked == &unset) {
    if (status == MIRL_SUCCESS) draw.broken("no array");
    return status;
  }
  if (status != MIRL_SUCCESS && status != MIRL_COPY_D2H_FAILED) draw.broken("an array in vain");
  for (int i = 0; i < count && status == MIRL_SUCCESS; ++i) {
    for (const float value : {tracked[i].x, tracked[i].y, tracked[i].value}) {
      draw.result(static_cast<double>(value));
    }
  }
  delete[] tracked;
  return status;
}

/// Margins that are cut off or added, mostly such as the images have room for.
template <class Length>
MirlStatus margins(Draw& draw, MirlStatus (*run)(const MirlImage&, MirlImage&, Length, Length,
                                                 Length, Length, const MirlStream&)) {
  const MirlImage& source = draw.input();
  const auto side = [&draw] {
    return static_cast<Length>(draw.chance(12) ? draw.integer() : draw.upTo(6));
  };
  const Length a = side(), b = side(), c = side(), d = side();
  const auto fits = [](Length margin) {
    const int pixels = margin < 6 && margin > 0 ? static_cast<int>(margin) : 0;
    return std::is_signed_v<Length> ? -pixels : pixels;
  };
  const MirlSize cut(source.width() + fits(c) + fits(d), source.height() + fits(a) + fits(b)),
      grown(source.width() + fits(a) + fits(b), source.height() + fits(c) + fits(d)),
      size = std::is_signed_v<Length> ? cut : grown;
  const bool same = size.width > 0 && size.height > 0 && !draw.chance(3) && source.isInitialized();
  const test::Format format{source.type(), source.isSigned() ? -source.depth() : source.depth(),
                            source.channels()};
  MirlImage& destination = same ? draw.image(format, size, 0, true) : draw.output();
  const MirlStream& stream = draw.stream();
  draw.tell(" %lld %lld %lld %lld", static_cast<long long>(a), static_cast<long long>(b),
            static_cast<long long>(c), static_cast<long long>(d));
  return draw.call([&] { return run(source, destination, a, b, c, d, stream); });
}

}  // namespace

Rows rowsOfData() {
  using namespace dataExchange;
  using namespace geometryTransforms;
  using namespace imageStatistics;
  using namespace imageTransforms;
  using imageFiltering::imageFilter;
  const Traits served{}, bytes{.in = {MIRL_8U_C1, MIRL_8U_C3}}, live{.live = true};
  const Types many = {MIRL_8U_C3, MIRL_8U_C4, MIRL_16U_C3, MIRL_16U_C4, MIRL_32F_C3, MIRL_32F_C4};
  const Traits warped{.changes = statuses(MIRL_NPP_FAILED), .also = statuses(MIRL_NPP_FAILED)};
  const std::uint64_t copyFails = statuses(MIRL_COPY_D2D_FAILED);
  const Traits extremes{
      .in = bytes.in,
      .changes = statuses(MIRL_MISMATCH, MIRL_ROI_OUT_OF_BOUNDS, MIRL_COPY_FAILED),
      .also = statuses(MIRL_ROI_OUT_OF_BOUNDS, MIRL_COPY_D2ARRAY_FAILED)};
  return {
      row("convertScale", convertScale),
      row("bitConversion", +[](In in, Out out, Stream s) { return bitConversion(in, out, s); },
          {.in = kAny, .live = true}),
      row("getChannel", getChannel, {.in = many, .channels = 1}),
      row("threshold", threshold, {.in = {MIRL_8U_C1, MIRL_8U_C3, MIRL_16U_C1, MIRL_16U_C3}}),
      row("rectangle", rectangle, {.in = bytes.in, .live = true}),
      row("generateRandomImage", generateRandomImage,
          {.in = {MIRL_32F_C1, MIRL_32F_C2, MIRL_32F_C3, MIRL_32F_C4}, .live = true}),
      row("resize", resize, {.live = true, .also = statuses(MIRL_NPP_FAILED)}),
      row("rotate", of<In, Out, float, Point>(rotate)),
      row("rotate part", of<In, Out, float, Point, Region>(rotate),
          {.loose = true, .changes = statuses(MIRL_MISMATCH, MIRL_INVALID_ARGUMENT)}),
      row("rotateNoCrop", rotateNoCrop, {.loose = true, .changes = statuses(MIRL_MISMATCH)}),
      row("warpAffine", warpAffine, warped),
      row("warpAffineBack", warpAffineBack, warped),
      row("warpPerspective", warpPerspective, warped),
      row("warpPerspectiveBack", warpPerspectiveBack, warped),
      {"crop", [](Draw& draw) { return margins(draw, geometryTransforms::crop); }, {.in = kAny}},
      {"taper", [](Draw& draw) { return margins(draw, geometryTransforms::taper); }, bytes},
      row("flipImage", flipImage),
      row("transpose", transpose),
      row("imageFilter", of<In, Out, Filter>(imageFilter)),
      row("imageFilter part", of<In, Out, Region, Filter, bool>(imageFilter),
          {.unset = true, .changes = copyFails}),
      row("imageGradients", imageFiltering::imageGradients,
          {.in = {MIRL_8U_C1, MIRL_8U_C3, MIRL_32F_C1, MIRL_32F_C3},
           .depth = 32,
           .unset = true,
           .changes =
               statuses(MIRL_MISMATCH, MIRL_CHANNELS_NOT_SUPPORTED, MIRL_IN_PLACE_NOT_SUPPORTED)}),
      row("medianFilter", imageFiltering::medianFilter,
          {.in = bytes.in,
           .changes =
               statuses(MIRL_MISMATCH, MIRL_TYPE_NOT_SUPPORTED, MIRL_IN_PLACE_NOT_SUPPORTED)}),
      row("minFilter", imageFiltering::minFilter, extremes),
      row("maxFilter", imageFiltering::maxFilter, extremes),
      row("fft2", fft2,
          {.in = {MIRL_8U_C1, MIRL_8S_C1}, .channels = 2, .depth = 32, .rounds = true}),
      row("fftShift", fftShift,
          {.in = {MIRL_32F_C1, MIRL_32F_C2, MIRL_32F_C4, MIRL_32S_C3}, .unset = true}),
      row("fftGetProperty", fftGetProperty, {.in = {MIRL_32F_C2}, .channels = 1, .unset = true}),
      {"haarFwd",
       bands,
       {.unset = true,
        .changes = statuses(MIRL_MISMATCH, MIRL_TYPE_NOT_SUPPORTED, MIRL_IN_PLACE_NOT_SUPPORTED)}},
      row("haarInv", haarInv, {.in = bytes.in, .unset = true}),
      {"opticalFlowHS",
       [](Draw& draw) {
         return flow(draw, [](Draw& numbers) {
           const auto alpha = static_cast<float>(numbers.real());
           const int steps = numbers.chance(4) ? -numbers.upTo(2) : numbers.upTo(200);
           numbers.tell(" alpha %g, %d steps", static_cast<double>(alpha), steps);
           return [=](In a, In b, float* x, float* y, Stream s) {
             return computerVision::opticalFlowHS(a, b, x, y, false, alpha, steps, s);
           };
         });
       },
       {.in = {MIRL_8U_C1}, .also = statuses(MIRL_MATRIX_SIZE_MISMATCH)}},
      {"opticalFlowPyrLKDense",
       [](Draw& draw) {
         return flow(draw, [](Draw& numbers) {
           const MirlTrackingCriteria how = criteria(numbers);
           return [=](In a, In b, float* x, float* y, Stream s) {
             return computerVision::opticalFlowPyrLKDense(a, b, x, y, how, s);
           };
         });
       },
       {.in = {MIRL_8U_C1}}},
      {"trackFeatures", track, {.in = {MIRL_8U_C1}, .also = statuses(MIRL_NPP_FAILED)}},
      row("min", of<In, MirlScalar&>(imageStatistics::min)),
      row("max", of<In, MirlScalar&>(imageStatistics::max)),
      row("minMax", minMax),
      row("sum", sum),
      row("mean", mean),
      row("meanStdDev", meanStdDev, bytes),
      row("countInRange", countInRange, {.in = {MIRL_8U_C1, MIRL_8U_C3, MIRL_32F_C1, MIRL_32F_C3}}),
      row("calcHist", calcHist, {.in = {MIRL_8U_C1, MIRL_8U_C3, MIRL_8S_C3}}),
  };
}

}  // namespace mirl::fuzz
