// What holds for every operation from images to an image, one table of all: the order of checks,
// streams, threads, devices, resets and a runtime that fails. The numbers are the business of the
// operations' own tests.

#include <functional>

#include "support.h"

namespace mirl::test {
namespace {

class EveryOperation : public DeviceTest {};

using Call = std::function<MirlStatus(const MirlImage&, MirlImage&, const MirlStream&)>;

/// What can be wrong with a call: the source is empty, the stream is dead, a live output has
/// another format or too few columns or rows, nobody serves the type, an argument of the
/// operation's own is bad.
enum Wrong { kSource, kStream, kChannels, kDepth, kSize, kType, kArgument, kWrongs };
using Check = std::pair<Wrong, MirlStatus>;

constexpr MirlStatus kEmpty = MIRL_IMAGE_NOT_INITIALIZED, kBad = MIRL_INVALID_ARGUMENT,
                     kMismatch = MIRL_MISMATCH, kNoType = MIRL_TYPE_NOT_SUPPORTED,
                     kNoDepth = MIRL_DEPTH_NOT_SUPPORTED, kNoChannels = MIRL_CHANNELS_NOT_SUPPORTED;

/// The checks stand in their order. A failure of the runtime on the way leaves an output that was
/// created or written in part with `partial`, and with `loses` none.
struct Operation {
  const char* name;
  MirlType in, out;
  Call run;
  std::vector<Check> checks;
  Call runBadly = nullptr;
  bool creates = true;
  bool partial = false;
  int scale = 1;
  bool loses = false;
};

/// An operation on one image and itself.
Call both(MirlStatus (*run)(const MirlImage&, const MirlImage&, MirlImage&, const MirlStream&)) {
  return [=](const auto& in, auto& out, const auto& stream) { return run(in, in, out, stream); };
}
Call colour(MirlStatus (*run)(const MirlImage&, MirlImage&, const MirlStream&)) {
  return run;
}

std::vector<Operation> operations() {
  using namespace arithmeticLogical;
  using namespace colorOperations;
  using namespace geometryTransforms;
  using dataExchange::bitConversion, dataExchange::convertScale, imageFiltering::imageFilter;
  using Image = MirlImage;
  using Stream = MirlStream;
  const MirlType gray = MIRL_8U_C1, rgb = MIRL_8U_C3, wide = MIRL_16U_C3, real = MIRL_32F_C3;
  const MirlFilter sobel = MirlSpecialFilters::sobel(), tooLong(513, 1);

  const Call copies = [](const Image& in, Image& out, const Stream& s) {
    return in.copyTo(out, {0, 0}, {0, 0, in.width(), in.height()}, s);
  };
  const Call scales = [](const Image& in, Image& out, const Stream& s) {
    return convertScale(in, out, 0.5f, 3, s);
  };
  const Call widens = [](const Image& in, Image& out, const Stream& s) {
    return in.convertTo(out, MIRL_16U_C3, 200, 1, s);
  };
  const Call deepens = [](const Image& in, Image& out, const Stream& s) {
    return in.convertTo(out, 32, 2, 1, s);
  };
  const Call weighs = [](const Image& in, Image& out, const Stream& s) {
    return rgb2gray(in, out, MirlScalar(0.2, 0.7, 0.1), s);
  };
  const auto zooms = [](int mode) -> Call {
    return [=](const Image& in, Image& out, const Stream& s) {
      return resize(in, out, static_cast<MirlInterpolationType>(mode), s);
    };
  };
  const auto turns = [](float angle) -> Call {
    return [=](const Image& in, Image& out, const Stream& s) {
      return rotate(in, out, angle, {5, 5}, s);
    };
  };
  const auto turnsPart = [](int height) -> Call {
    return [=](const Image& in, Image& out, const Stream& s) {
      return rotate(in, out, 100, {4, 4}, {1, 2, 9, height}, s);
    };
  };
  const auto turnsAll = [](float angle) -> Call {
    return [=](const Image& in, Image& out, const Stream& s) {
      return rotateNoCrop(in, out, angle, s);
    };
  };
  const auto filters = [](const MirlFilter& filter) -> Call {
    return [=](const Image& in, Image& out, const Stream& s) {
      return imageFilter(in, out, filter, s);
    };
  };
  const auto filtersPart = [](const MirlFilter& filter) -> Call {
    return [=](const Image& in, Image& out, const Stream& s) {
      return imageFilter(in, out, {1, 2, 9, 7}, filter, true, s);
    };
  };

  const Check source{kSource, kEmpty}, dead{kStream, kBad}, narrow{kSize, kMismatch},
      channels{kChannels, kMismatch}, depth{kDepth, kMismatch}, argument{kArgument, kBad},
      noDepth{kDepth, kNoDepth}, type{kType, kNoType}, deepType{kType, kNoDepth},
      mixedType{kType, kMismatch}, noChannels{kChannels, kNoChannels};
  using Checks = std::vector<Check>;
  const Checks sums = {source, dead, channels, narrow, depth, mixedType},
               scaled = {source, narrow, channels, dead, {kDepth, kNoType}, type},
               bits = {source, deepType, noDepth, narrow, channels, dead},
               zoomed = {source, channels, depth, dead, type, {kArgument, MIRL_NPP_FAILED}},
               turned = {source, argument, channels, depth, dead, mixedType},
               partTurned = {source, channels, depth, argument, dead, mixedType},
               filtered = {source, narrow, channels, depth, argument, dead, type},
               grays = {source, dead, noChannels, narrow, depth, mixedType},
               fromGray = {source, dead, narrow, depth, {kChannels, kNoType}, type},
               plain = {source, dead, channels, narrow, depth, type},
               deep = {source, dead, channels, narrow, depth, deepType},
               pairs = {source, dead, channels, narrow, noDepth, deepType};
  return {
      {"add", wide, wide, both(add), sums},
      {"subtract", rgb, rgb, both(subtract), sums},
      {"multiply", gray, gray, both(multiply), sums},
      {"divide", real, real, both(divide), sums},
      {"absDiff", rgb, rgb, both(absDiff), sums},
      {"copyTo", rgb, rgb, copies, {source, dead, {kSize, kBad}}, nullptr, true, true},
      {"convertScale", wide, wide, scales, scaled},
      {"convertTo", rgb, wide, widens, {source, dead}, nullptr, true, false, 1, true},
      {"convertTo a depth",
       wide,
       real,
       deepens,
       {{kSource, kNoDepth}, dead},
       nullptr,
       true,
       false,
       1,
       true},
      {"bitConversion", rgb, rgb, bitConversion, bits, nullptr, false},
      {"resize", wide, wide, zooms(MIRL_INTERPOLATION_CUBIC), zoomed, zooms(4), false, false, 2},
      {"rotate", rgb, rgb, turns(30), turned, turns(NAN)},
      {"rotate a part", wide, wide, turnsPart(7), partTurned, turnsPart(700)},
      {"rotateNoCrop", rgb, rgb, turnsAll(20), {source, argument, dead}, turnsAll(-INFINITY)},
      {"imageFilter", rgb, rgb, filters(sobel), filtered, filters(tooLong), true, true},
      {"imageFilter in a part", wide, wide, filtersPart(sobel), filtered, filtersPart(tooLong),
       true, true},
      {"rgb2gray", rgb, gray, colour(rgb2gray), grays},
      {"rgb2gray with weights", rgb, gray, weighs, grays},
      {"gray2rgb", gray, rgb, colour(gray2rgb), fromGray},
      {"rgb2yuv", rgb, rgb, colour(rgb2yuv), deep},
      {"yuv2rgb", wide, wide, colour(yuv2rgb), deep},
      {"rgb2yuv422", rgb, MIRL_8U_C2, colour(rgb2yuv422), plain},
      {"rgb2ycbcr", rgb, rgb, colour(rgb2ycbcr), plain},
      {"ycbcr2rgb", wide, wide, colour(ycbcr2rgb), plain},
      {"rgb2hsv", real, real, colour(rgb2hsv), pairs},
      {"hsv2rgb", rgb, rgb, colour(hsv2rgb), pairs},
      {"rgb2Lab", rgb, rgb, colour(rgb2Lab), deep},
      {"Lab2rgb", rgb, rgb, colour(Lab2rgb), deep}};
}

MirlImage inputOf(const Operation& op, const MirlSize& size = {61, 47}, unsigned seed = 1) {
  int depth = 0, channels = 0;
  typeToDepthAndChannels(op.in, depth, channels);
  return noiseImage(size, depth, channels, seed);
}

MirlImage liveOutputOf(const Operation& op, const MirlImage& in) {
  return {in.width() * op.scale, in.height() * op.scale, op.out};
}

/// An empty output if the operation takes one.
MirlImage outputOf(const Operation& op, const MirlImage& in) {
  return op.creates ? MirlImage() : liveOutputOf(op, in);
}

/// The result as it comes without a stream.
MirlImage resultOf(const Operation& op, const MirlImage& in) {
  MirlImage out = outputOf(op, in);
  EXPECT_EQ(op.run(in, out, MirlStream()), MIRL_SUCCESS) << op.name;
  EXPECT_EQ(out.type(), op.out) << op.name;
  return out;
}

// Whatever else is wrong, the first check that fails tells the status.
TEST_P(EveryOperation, ChecksInOrder) {
  const MirlStream ordinary, dead = deadStream();
  const MirlSize size(61, 47);
  for (const Operation& op : operations()) {
    const Format in = allFormats()[static_cast<std::size_t>(op.in)];
    const Format out = allFormats()[static_cast<std::size_t>(op.out)];
    for (unsigned wrongs = 0; wrongs < 1u << kWrongs; ++wrongs) {
      const auto has = [&](Wrong wrong) { return (wrongs >> wrong & 1) != 0; };
      SCOPED_TRACE(testing::Message() << op.name << ", wrong: " << wrongs);
      unsigned known = 0;
      MirlStatus expected = MIRL_SUCCESS;
      for (auto check = op.checks.rbegin(); check != op.checks.rend(); ++check) {
        known |= 1u << check->first;
        if (has(check->first)) expected = check->second;
      }
      if ((wrongs & ~known) != 0) continue;
      const int depth = has(kType) ? 64 : in.depth, outDepth = has(kType) ? 64 : out.depth;
      const MirlImage source = has(kSource) ? MirlImage() : MirlImage(size, depth, in.channels);
      for (const int missing : {0, 1}) {  // a column or a row
        const int narrower = has(kSize) ? 1 - missing : 0, lower = has(kSize) ? missing : 0;
        MirlImage live(size.width * op.scale - narrower, size.height * op.scale - lower,
                       !has(kDepth)     ? outDepth
                       : outDepth == 64 ? 32
                                        : 64,
                       !has(kChannels)     ? out.channels
                       : out.channels == 2 ? 4
                                           : 2);
        ASSERT_TRUE(live.isInitialized());
        live.setChannelSequence(MIRL_CHANNELSEQ_RGB);  // as some operations do late
        const Call& run = has(kArgument) ? op.runBadly : op.run;
        const auto call = [&](MirlImage& image) {
          return run(source, image, has(kStream) ? dead : ordinary);
        };
        expectStatus(live, expected, false, call);
      }
    }
  }
}

// Each input is made on the stream itself, and the result is taken from there.
TEST_P(EveryOperation, RunsInStreamOrderOnManyThreads) {
  const auto ops = operations();
  const MirlSize size(401, 301);
  const MirlRect all(0, 0, size.width, size.height);
  std::vector<Bytes> expected;
  for (const Operation& op : ops) expected.push_back(bytesOf(resultOf(op, inputOf(op, size))));
  onThreads(3, [&](int thread) {
    const MirlStream stream(true);
    for (std::size_t k = 0; k < 2 * ops.size(); ++k) {
      const std::size_t i = (k + static_cast<std::size_t>(thread) * 7) % ops.size();
      const MirlImage source = inputOf(ops[i], size);
      MirlImage in = inputOf(ops[i], size, 2), out = outputOf(ops[i], in);
      EXPECT_EQ(source.copyTo(in, {0, 0}, all, stream), MIRL_SUCCESS);
      EXPECT_EQ(ops[i].run(in, out, stream), MIRL_SUCCESS);
      Bytes got(expected[i].size());
      EXPECT_EQ(out.download(got.data(), rowBytes(out), stream), MIRL_SUCCESS);
      stream.sync();
      EXPECT_EQ(got, expected[i]) << ops[i].name;
    }
  });
}

TEST_P(EveryOperation, RefusesDeadStreams) {
  const MirlStream dead = deadStream();
  for (const Operation& op : operations()) {
    SCOPED_TRACE(op.name);
    const MirlImage in = inputOf(op);
    for (const MirlImage& out : {outputOf(op, in), liveOutputOf(op, in)}) {
      expectStatus(out, MIRL_INVALID_ARGUMENT, false,
                   [&](MirlImage& copy) { return op.run(in, copy, dead); });
    }
  }
}

TEST_P(EveryOperation, RefusesDeadImagesAndStreamsAfterAReset) {
  for (const Operation& op : operations()) {
    SCOPED_TRACE(op.name);
    const MirlImage deadIn = inputOf(op);
    MirlImage deadOut = liveOutputOf(op, deadIn);
    const MirlStream deadStream(true);
    ASSERT_EQ(device::resetCurrentDevice(), MIRL_SUCCESS);
    const MirlImage in = inputOf(op);
    MirlImage out = outputOf(op, in);
    const auto fields = fieldsOf(deadOut);
    EXPECT_EQ(op.run(deadIn, out, MirlStream()), MIRL_IMAGE_NOT_INITIALIZED);
    EXPECT_EQ(op.run(in, deadOut, MirlStream()), MIRL_IMAGE_NOT_INITIALIZED);
    EXPECT_EQ(op.run(in, out, deadStream), MIRL_INVALID_ARGUMENT);
    EXPECT_EQ(fieldsOf(deadOut), fields);
    EXPECT_EQ(out.isInitialized(), !op.creates);
  }
}

TEST_P(EveryOperation, StaysOnOneDevice) {
  if (device::getDeviceCount() < 2) GTEST_SKIP() << "there is one device";
  const int other = (GetParam() + 1) % device::getDeviceCount();
  for (const Operation& op : operations()) {
    SCOPED_TRACE(op.name);
    const MirlImage in = inputOf(op);
    MirlImage out = outputOf(op, in);
    ASSERT_EQ(device::setCurrentDevice(other), MIRL_SUCCESS);
    MirlImage elsewhere = liveOutputOf(op, in);
    const MirlStream stream(true);
    EXPECT_EQ(op.run(in, elsewhere, MirlStream()), MIRL_MISMATCH);
    EXPECT_EQ(op.run(in, out, stream), MIRL_MISMATCH);
    EXPECT_EQ(elsewhere.device(), other);
    EXPECT_EQ(out.isInitialized(), !op.creates);
    EXPECT_EQ(op.run(in, out, MirlStream()), MIRL_SUCCESS) << "whatever device is current";
    EXPECT_EQ(out.device(), GetParam());
    EXPECT_EQ(bytesOf(resultOf(op, inputOf(op))), bytesOf(out)) << "the devices agree";
    ASSERT_EQ(device::setCurrentDevice(GetParam()), MIRL_SUCCESS);
  }
}

// Every call of the runtime that an operation makes fails once, for each kind of output that the
// operation takes: the source itself, none, one that fits, one of another size, one of another
// type.
TEST_P(EveryOperation, FailuresOfTheRuntimeLeaveNothingBehind) {
  const std::pair<runtime::Call, MirlStatus> faults[] = {
      {runtime::Call::allocate, MIRL_DEVICE_ALLOC_FAILED},
      {runtime::Call::copy, MIRL_COPY_D2D_FAILED},
      {runtime::Call::free, MIRL_DEVICE_FREE_FAILED}};
  for (const Operation& op : operations()) {
    const MirlImage in = inputOf(op);
    const MirlImage outputs[] = {in, {}, liveOutputOf(op, in), {9, 7, op.out}, {9, 7, MIRL_64F_C2}};
    for (const MirlImage& output : outputs) {
      const auto run = [&](MirlImage& out) {
        return op.run(&output == outputs ? out : in, out, MirlStream());
      };
      MirlImage result(output);
      if (run(result) != MIRL_SUCCESS) continue;
      const Bytes expected = bytesOf(result), before = bytesOf(output);
      for (const auto& [call, status] : faults) {
        for (int n = 1; n < 20; ++n) {
          SCOPED_TRACE(testing::Message() << op.name << ", output " << &output - outputs
                                          << ", fault " << n << " of " << status);
          MirlImage out(output);
          const auto fields = fieldsOf(out);
          const runtime::Live live = runtime::live();
          runtime::failNth(call, n);
          const MirlStatus got = run(out);
          runtime::failNth(call, 0);
          if (got == MIRL_SUCCESS) {
            EXPECT_TRUE(bytesOf(out) == expected);
            break;
          }
          EXPECT_EQ(got, status);
          EXPECT_EQ(runtime::live().scratchBlocks, live.scratchBlocks);
          if (op.partial || (op.loses && !out.isInitialized())) continue;
          EXPECT_EQ(runtime::live(), live);
          EXPECT_EQ(fieldsOf(out), fields);
          EXPECT_TRUE(bytesOf(out) == before);
        }
      }
    }
  }
}

MIRL_TEST_ON_ALL_DEVICES(EveryOperation);

}  // namespace
}  // namespace mirl::test
