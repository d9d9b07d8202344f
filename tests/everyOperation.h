#pragma once

// One table of all operations from images to an image: what each takes and in which order it
// checks.

#include <functional>

#include "support.h"

namespace mirl::test {

using Inputs = std::vector<MirlImage>;
using Call = std::function<MirlStatus(const Inputs&, MirlImage&, const MirlStream&)>;

/// What can be wrong with a call: an input is empty, the last of several has another size, the
/// stream is dead, a live output has another format or too few columns or rows, nobody serves the
/// type, an argument of the operation's own is bad.
enum Wrong { kSource, kOther, kStream, kChannels, kDepth, kSize, kType, kArgument, kWrongs };
using Check = std::pair<Wrong, MirlStatus>;

/// What is unusual about an operation.
struct Traits {
  int inputs = 1;
  Call runBadly = nullptr;
  bool creates = true;
  /// A failure of the runtime on the way leaves an output that was created or written in part.
  bool partial = false;
  bool loses = false;  ///< and with this none
  int outputDepthOfBadType = 64;
  int widthStep = 1;  ///< what the width of the inputs is a multiple of
  MirlSize (*sizeOfOutput)(const MirlSize&) = [](const MirlSize& size) { return size; };
  MirlSize sizeOfOthers = {0, 0};  ///< of the inputs behind the first, if it isn't the same
  MirlStatus copyFails = MIRL_COPY_D2D_FAILED;
};

/// The checks stand in their order.
struct Operation {
  const char* name;
  MirlType in, out;
  Call run;
  std::vector<Check> checks;
  Traits traits = {};
};

template <class T>
using Exactly = std::type_identity_t<T>;

/// Functions with arguments behind the images, between them and before them, and of several images.
template <class... Args>
Call behind(Exactly<MirlStatus (*)(const MirlImage&, MirlImage&, Args..., const MirlStream&)> run,
            Args... args) {
  return [=](const auto& in, auto& out, const auto& s) { return run(in[0], out, args..., s); };
}
template <class... Args>
Call between(Exactly<MirlStatus (*)(const MirlImage&, Args..., MirlImage&, const MirlStream&)> run,
             Args... args) {
  return [=](const auto& in, auto& out, const auto& s) { return run(in[0], args..., out, s); };
}
template <class Arg>
Call before(Exactly<MirlStatus (*)(Arg, const MirlImage&, MirlImage&, const MirlStream&)> run,
            Arg arg) {
  return [=](const auto& in, auto& out, const auto& s) { return run(arg, in[0], out, s); };
}
inline Call ofTwo(MirlStatus (*run)(const MirlImage&, const MirlImage&, MirlImage&,
                                    const MirlStream&)) {
  return [=](const auto& in, auto& out, const auto& s) { return run(in[0], in[1], out, s); };
}

inline Call blackGamma(bool bad = false) {
  static std::vector<Word> table(65536);
  for (std::size_t i = 0; i < table.size(); ++i) table[i] = static_cast<Word>(i * 31);
  return [=](const auto& in, auto& out, const auto& s) {
    Word* const t = table.data();
    return colorOperations::blackGammaLUT(in[0], out, t, t, bad ? nullptr : t, s);
  };
}

inline std::vector<Operation> operations() {
  using namespace arithmeticLogical;
  using namespace colorOperations;
  using namespace dataExchange;
  using namespace geometryTransforms;
  using imageFiltering::imageFilter;
  using Stream = MirlStream;
  using Scalar = const MirlScalar&;
  using Filter = const MirlFilter&;
  using Region = const MirlRect&;
  using Center = MirlPoint2D<int>;
  const MirlType gray = MIRL_8U_C1, rgb = MIRL_8U_C3, wide = MIRL_16U_C3, real = MIRL_32F_C3,
                 flat = MIRL_16U_C2, v210 = MIRL_16U_C1;
  const MirlFilter sobel = MirlSpecialFilters::sobel(), tooLong(513, 1);
  const MirlScalar scalar(2.0, 0.5, 3.0);
  const MirlRect region(1, 2, 9, 7), outside(1, 2, 9, 700);
  static const float numbers[] = {300, 2, 3, 4, -5, 6, 0.7f, 8, 9, 10, 0.1f, 12};
  float* const values = const_cast<float*>(numbers);
  float* const null = nullptr;

  const Call copies = [](const Inputs& in, MirlImage& out, const Stream& s) {
    return in[0].copyTo(out, {0, 0}, {0, 0, in[0].width(), in[0].height()}, s);
  };
  const Call widens = [](const Inputs& in, MirlImage& out, const Stream& s) {
    return in[0].convertTo(out, MIRL_16U_C3, 200, 1, s);
  };
  const Call deepens = [](const Inputs& in, MirlImage& out, const Stream& s) {
    return in[0].convertTo(out, 32, 2, 1, s);
  };
  const Call changesBits = [](const Inputs& in, MirlImage& out, const Stream& s) {
    return bitConversion(in[0], out, s);
  };
  const Call splits = [](const Inputs& in, MirlImage& out, const Stream& s) {
    return channelSplit(in[0], out, out, out, s);
  };
  const Call merges = [](const Inputs& in, MirlImage& out, const Stream& s) {
    return channelMerge(in[0], in[1], in[2], out, s);
  };
  const Call corrects = [](const Inputs& in, MirlImage& out, const Stream& s) {
    return FPNCorrection(in[0], out, in[1], in[2], 99.5f, s);
  };
  const Call derives = [](const Inputs& in, MirlImage& out, const Stream& s) {
    MirlImage other;
    const auto status = imageFiltering::imageGradients(in[0], out, other, MIRL_GRADIENT_SCHARR, s);
    if (other.release() != MIRL_SUCCESS) other.release();  // one fault at a time
    return status;
  };
  const auto median = [](MirlSize window) {
    return behind<Region, const MirlSize&>(imageFiltering::medianFilter, MirlRect(), window);
  };
  // Of the whole image and, for a bad one, of more rows.
  const auto extreme = [](auto filter, int more) -> Call {
    return [=](const Inputs& in, MirlImage& out, const Stream& s) {
      return filter(in[0], out, {0, 0, in[0].width(), in[0].height() + more}, {5, 40}, s);
    };
  };
  const auto zooms = [](int mode) { return behind(resize, MirlInterpolationType(mode)); };
  const auto pads = [](float* colour) {
    return behind<int, int, int, int, const float*>(padImage, 1, 2, 3, 4, colour);
  };
  const auto masks = [](float* colour) {
    return behind<int, int, int, int, const float*>(borderMask, 1, 2, 3, 4, colour);
  };

  constexpr MirlStatus empty = MIRL_IMAGE_NOT_INITIALIZED, bad = MIRL_INVALID_ARGUMENT,
                       mismatch = MIRL_MISMATCH, noType = MIRL_TYPE_NOT_SUPPORTED,
                       noDepth = MIRL_DEPTH_NOT_SUPPORTED, noChannels = MIRL_CHANNELS_NOT_SUPPORTED;
  const Check source{kSource, empty}, other{kOther, mismatch}, dead{kStream, bad},
      narrow{kSize, mismatch}, channels{kChannels, mismatch}, depth{kDepth, mismatch},
      argument{kArgument, bad}, pointer{kArgument, MIRL_NULL_POINTER}, badDepth{kDepth, noDepth},
      badChannels{kChannels, noChannels}, type{kType, noType}, deepType{kType, noDepth},
      mixedType{kType, mismatch};
  using Checks = std::vector<Check>;
  const Checks pairs = {source, other, dead, channels, narrow, depth, mixedType},
               sums = {source, dead, channels, narrow, depth, mixedType},
               functions = {source, dead, channels, badDepth, narrow, mixedType},
               bits = {source, deepType, badDepth, narrow, channels, dead},
               zoomed = {source, channels, depth, dead, type, {kArgument, MIRL_NPP_FAILED}},
               turned = {source, argument, channels, depth, dead, mixedType},
               partTurned = {source, channels, depth, dead},
               filtered = {source, narrow, channels, depth, argument, dead, type},
               ranked = {source, dead, narrow, channels, depth, type, {kArgument, mismatch}},
               extremes = {source,
                           dead,
                           narrow,
                           channels,
                           depth,
                           mixedType,
                           {kArgument, MIRL_ROI_OUT_OF_BOUNDS}},
               grays = {source, dead, badChannels, narrow, depth, mixedType},
               fromGray = {source, dead, narrow, depth, {kChannels, noType}, type},
               plain = {source, dead, channels, narrow, depth, type},
               deep = {source, dead, channels, narrow, depth, deepType},
               hues = {source, dead, channels, narrow, badDepth, deepType},
               logs = {source, badDepth, dead, channels, narrow, deepType},
               tables = {source, {kOther, bad}, {kType, bad}, dead, narrow, channels, depth},
               hostTables = {source, pointer, dead, narrow, deepType, channels, depth},
               binary = {source, badChannels, dead, narrow, depth, mixedType},
               merged = {source, other, dead, badChannels, narrow, depth, deepType},
               mixed = {source, pointer, dead, channels, narrow, depth, deepType},
               corrected = {source, other, channels, narrow, depth, dead, deepType},
               masked = {pointer, source, channels, narrow, depth, dead, deepType},
               padded = {source, pointer, {kSize, bad}, channels, depth, dead, deepType},
               channel = {source, argument, badChannels, dead, type, narrow},
               limited = {source, channels, narrow, depth, dead, mixedType},
               packed = {source, deepType, {kChannels, bad}, {kDepth, bad}, dead};
  const Traits two{.inputs = 2}, toFloat{.outputDepthOfBadType = 32}, converts{.loses = true};
  const auto badly = [](const Call& run) { return Traits{.runBadly = run}; };
  const auto filters = [](const Call& run) { return Traits{.runBadly = run, .partial = true}; };
  const auto shrinks = [=](auto filter) {
    return Traits{.runBadly = extreme(filter, 1), .copyFails = MIRL_COPY_D2ARRAY_FAILED};
  };
  // Widths of which every device makes rows without padding.
  const Traits packs{.creates = false, .widthStep = 384, .sizeOfOutput = [](const MirlSize& size) {
                       return MirlSize(size.width / 3 * 4, size.height);
                     }};
  const Traits unpacks{
      .creates = false, .widthStep = 512, .sizeOfOutput = [](const MirlSize& size) {
        return MirlSize(size.width / 4 * 3, size.height);
      }};
  Traits zoom = badly(zooms(4)), pad = badly(pads(null));
  zoom.creates = false;
  zoom.sizeOfOutput = [](const MirlSize& size) {
    return MirlSize(2 * size.width, 2 * size.height);
  };
  pad.sizeOfOutput = [](const MirlSize& size) { return MirlSize(size.width + 7, size.height + 3); };
  const Traits gammaTables{.runBadly = blackGamma(true), .copyFails = MIRL_COPY_H2D_FAILED};

  return {{"add", wide, wide, ofTwo(add), pairs, two},
          {"subtract", rgb, rgb, ofTwo(subtract), pairs, two},
          {"multiply", gray, gray, ofTwo(multiply), pairs, two},
          {"divide", real, real, ofTwo(divide), pairs, two},
          {"absDiff", rgb, rgb, ofTwo(absDiff), pairs, two},
          {"add a number", wide, wide, between(add, 2.5), sums},
          {"add a scalar", rgb, rgb, between<Scalar>(add, scalar), sums},
          {"subtract from a number", wide, wide, before(subtract, 2e4), sums},
          {"subtract from a scalar", real, real, before<Scalar>(subtract, scalar), sums},
          {"multiply by a number", rgb, rgb, between(multiply, 1.5), sums},
          {"multiply by a scalar", rgb, rgb, between<Scalar>(multiply, scalar), sums},
          {"divide a number", gray, gray, before(divide, 500.0), sums},
          {"divide a scalar", wide, wide, before<Scalar>(divide, scalar), sums},
          {"pow", rgb, real, between(arithmeticLogical::pow, 2.5), functions, toFloat},
          {"exp", wide, real, between(arithmeticLogical::exp), functions, toFloat},
          {"sqrt", real, real, between(arithmeticLogical::sqrt), functions, toFloat},
          {"cbrt", rgb, real, between(arithmeticLogical::cbrt), functions, toFloat},
          {"abs", real, real, between(arithmeticLogical::abs), sums},
          {"floor", real, real, between(arithmeticLogical::floor), functions, toFloat},
          {"ceil", real, real, between(arithmeticLogical::ceil), functions, toFloat},
          {"round", real, real, between(arithmeticLogical::round), functions, toFloat},
          {"AND", rgb, rgb, ofTwo(AND), pairs, two},
          {"OR", wide, wide, ofTwo(OR), pairs, two},
          {"XOR", gray, gray, ofTwo(XOR), pairs, two},
          {"AND a number", rgb, rgb, between(AND, 0x5A), plain},
          {"OR a number", wide, wide, between(OR, 0x5A5A), plain},
          {"XOR a number", gray, gray, between(XOR, 0x5A), plain},
          {"SHL", wide, wide, between(SHL, 3), plain},
          {"SHR", rgb, rgb, between(SHR, 3), plain},
          {"NOT", rgb, rgb, between(NOT), sums},
          {"copyTo", rgb, rgb, copies, {source, dead, {kSize, bad}}},
          {"convertScale",
           wide,
           wide,
           behind(convertScale, 0.5f, 3.0f),
           {source, narrow, channels, dead, {kDepth, noType}, type}},
          {"convertTo", rgb, wide, widens, {source, dead}, converts},
          {"convertTo a depth", wide, real, deepens, {{kSource, noDepth}, dead}, converts},
          {"bitConversion", rgb, rgb, changesBits, bits, {.creates = false}},
          {"getChannel", rgb, gray, behind(getChannel, 2), channel, badly(behind(getChannel, 3))},
          {"padImage", rgb, rgb, pads(values), padded, pad},
          {"threshold", wide, wide, behind<Scalar, Scalar>(threshold, scalar, 999), limited},
          {"resize", wide, wide, zooms(MIRL_INTERPOLATION_CUBIC), zoomed, zoom},
          {"rotate", rgb, rgb, behind(rotate, 30.0f, Center(5, 5)), turned,
           badly(behind(rotate, NAN, Center(5, 5)))},
          {"rotate a part", wide, wide,
           behind<float, Center, Region>(rotate, 100, Center(4, 4), region), partTurned},
          {"rotateNoCrop",
           rgb,
           rgb,
           behind(rotateNoCrop, 20.0f),
           {source, argument, dead},
           badly(behind(rotateNoCrop, -INFINITY))},
          {"imageFilter", rgb, rgb, behind<Filter>(imageFilter, sobel), filtered,
           filters(behind<Filter>(imageFilter, tooLong))},
          {"imageFilter in a part", wide, wide,
           behind<Region, Filter, bool>(imageFilter, region, sobel, true), filtered,
           filters(behind<Region, Filter, bool>(imageFilter, region, tooLong, true))},
          {"imageGradients",
           rgb,
           real,
           derives,
           {source, dead, narrow, channels, depth, mixedType},
           toFloat},
          {"medianFilter", rgb, rgb, median({5, 5}), ranked, badly(median({3, 5}))},
          {"minFilter", rgb, rgb, extreme(imageFiltering::minFilter, 0), extremes,
           shrinks(imageFiltering::minFilter)},
          {"maxFilter", gray, gray, extreme(imageFiltering::maxFilter, 0), extremes,
           shrinks(imageFiltering::maxFilter)},
          {"demosaic",
           gray,
           rgb,
           behind(demosaic, MIRL_BAYER_GRBG_HQ),
           {source, dead, badChannels, narrow, depth, deepType, {kArgument, mismatch}},
           badly(behind(demosaic, MirlBayerSeq(9)))},
          {"rgb2gray", rgb, gray, behind(rgb2gray), grays},
          {"rgb2gray with weights", rgb, gray, behind<Scalar>(rgb2gray, {0.2, 0.7, 0.1}), grays},
          {"gray2rgb", gray, rgb, behind(gray2rgb), fromGray},
          {"rgb2yuv", rgb, rgb, behind(rgb2yuv), deep},
          {"yuv2rgb", wide, wide, behind(yuv2rgb), deep},
          {"rgb2yuv422", rgb, MIRL_8U_C2, behind(rgb2yuv422), plain},
          {"rgb2ycbcr", rgb, rgb, behind(rgb2ycbcr), plain},
          {"ycbcr2rgb", wide, wide, behind(ycbcr2rgb), plain},
          {"rgb2hsv", real, real, behind(rgb2hsv), hues},
          {"hsv2rgb", rgb, rgb, behind(hsv2rgb), hues},
          {"rgb2Lab", rgb, rgb, behind(rgb2Lab), deep},
          {"Lab2rgb", rgb, rgb, behind(Lab2rgb), deep},
          {"gammaCorrect", rgb, rgb, behind(gammaCorrect, 2.2f), sums},
          {"logTransform", wide, real, behind(logTransform, 2.0f), logs, toFloat},
          {"LUT", rgb, rgb, ofTwo(LUT), tables, {.inputs = 2, .sizeOfOthers = {768, 1}}},
          {"histEq", gray, gray, behind(histEq), {source, type, dead, channels, narrow, depth}},
          {"blackGammaLUT", wide, wide, blackGamma(), hostTables, gammaTables},
          {"imageBinary", rgb, gray, behind(imageBinary, 0.4f), binary},
          {"channelSplit", rgb, gray, splits, {source, dead, narrow, depth, deepType}},
          {"channelMerge", gray, rgb, merges, merged, {.inputs = 3}},
          {"channelMix", wide, wide, behind(channelMix, values), mixed,
           badly(behind(channelMix, null))},
          {"colorPick", rgb, rgb, behind(colorPick, MIRL_COLOR_GREEN, 9.0f), deep},
          {"FPNCorrection", wide, wide, corrects, corrected, {.inputs = 3}},
          {"borderMask", wide, wide, masks(values), masked, badly(masks(null))},
          {"V210TOYUV444",
           v210,
           wide,
           behind(V210TOYUV444),
           {source, badDepth, badChannels, dead},
           unpacks},
          {"YUV444TOV210", wide, v210, behind(YUV444TOV210), packed, packs},
          {"YUV422TOV210", flat, v210, behind(YUV422TOV210), packed, packs}};
}

}  // namespace mirl::test
