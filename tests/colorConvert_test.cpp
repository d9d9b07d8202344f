// Colour conversions: formats, sequences, statuses and their order, failures, threads.

#include <mirl/colorOperations.h>

#include <algorithm>
#include <array>
#include <thread>

#include "support.h"

namespace mirl::test {
namespace {

using namespace colorOperations;

class ColorConvert : public DeviceTest {};

constexpr unsigned char kGuard = 0xA5;

using Convert = MirlStatus (*)(const MirlImage&, MirlImage&, const MirlStream&);

MirlStatus weightedGray(const MirlImage& source, MirlImage& out, const MirlStream& stream) {
  return rgb2gray(source, out, MirlScalar(0.2, 0.7, 0.1), stream);
}

/// What an operation serves, and how it refuses the rest.
struct Rule {
  const char* name;
  Convert run;
  bool inPlace;
  std::vector<int> channels;  ///< of the source
  std::vector<MirlType> served;
  int outChannels;
  MirlStatus otherOutChannels;
  MirlStatus notServed;
};
constexpr MirlStatus kNoChannels = MIRL_CHANNELS_NOT_SUPPORTED;
constexpr MirlStatus kNoDepth = MIRL_DEPTH_NOT_SUPPORTED;
constexpr MirlStatus kNoType = MIRL_TYPE_NOT_SUPPORTED;

const Rule kRules[] = {
    {"rgb2gray",
     rgb2gray,
     false,
     {3, 4},
     {MIRL_8U_C3, MIRL_8U_C4, MIRL_16U_C3, MIRL_16U_C4, MIRL_32F_C3},
     1,
     kNoChannels,
     MIRL_MISMATCH},
    {"rgb2gray with weights",
     weightedGray,
     false,
     {3},
     {MIRL_8U_C3, MIRL_16U_C3, MIRL_32F_C3},
     1,
     kNoChannels,
     MIRL_MISMATCH},
    {"gray2rgb", gray2rgb, false, {1}, {MIRL_8U_C1, MIRL_16U_C1, MIRL_32F_C1}, 3, kNoType, kNoType},
    // Of these two the depth alone decides: signed elements are read as unsigned.
    {"rgb2yuv",
     rgb2yuv,
     true,
     {3},
     {MIRL_8U_C3, MIRL_16U_C3, MIRL_8S_C3, MIRL_16S_C3},
     3,
     MIRL_MISMATCH,
     kNoDepth},
    {"yuv2rgb",
     yuv2rgb,
     true,
     {3},
     {MIRL_8U_C3, MIRL_16U_C3, MIRL_8S_C3, MIRL_16S_C3},
     3,
     MIRL_MISMATCH,
     kNoDepth},
    {"rgb2yuv422", rgb2yuv422, true, {3}, {MIRL_8U_C3}, 2, MIRL_MISMATCH, kNoType},
    {"rgb2ycbcr",
     rgb2ycbcr,
     true,
     {3},
     {MIRL_8U_C3, MIRL_16U_C3, MIRL_32F_C3},
     3,
     MIRL_MISMATCH,
     kNoType},
    {"ycbcr2rgb",
     ycbcr2rgb,
     true,
     {3},
     {MIRL_8U_C3, MIRL_16U_C3, MIRL_32F_C3},
     3,
     MIRL_MISMATCH,
     kNoType},
    {"rgb2hsv", rgb2hsv, true, {3}, {MIRL_8U_C3, MIRL_32F_C3}, 3, MIRL_MISMATCH, kNoDepth},
    {"hsv2rgb", hsv2rgb, true, {3}, {MIRL_8U_C3, MIRL_32F_C3}, 3, MIRL_MISMATCH, kNoDepth},
    {"rgb2Lab", rgb2Lab, false, {3}, {MIRL_8U_C3, MIRL_32F_C3}, 3, MIRL_MISMATCH, kNoDepth},
    {"Lab2rgb", Lab2rgb, true, {3}, {MIRL_8U_C3, MIRL_32F_C3}, 3, MIRL_MISMATCH, kNoDepth},
};

bool is(const Rule& rule, Convert run) {
  return rule.run == run;
}
bool isHsv(const Rule& rule) {
  return is(rule, rgb2hsv) || is(rule, hsv2rgb);
}
bool isGray2rgb(const Rule& rule) {
  return is(rule, static_cast<Convert>(gray2rgb));
}

template <class List, class Value>
bool contains(const List& list, const Value& value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

/// The status for a source and a live destination of the same size, null for an empty one.
MirlStatus expected(const Rule& rule, const MirlImage& source, const MirlImage* out) {
  if (!contains(rule.channels, source.channels())) return kNoChannels;
  const bool served = contains(rule.served, source.type());
  if (out == nullptr) return served ? MIRL_SUCCESS : rule.notServed;
  if (isGray2rgb(rule)) {
    if (source.depth() != out->depth()) return MIRL_MISMATCH;
    const int more = out->type() - source.type();
    return served && (more == 2 || more == 3) ? MIRL_SUCCESS : kNoType;
  }
  if (out->channels() != rule.outChannels) return rule.otherOutChannels;
  if (isHsv(rule)) return served && source.type() == out->type() ? MIRL_SUCCESS : kNoDepth;
  if (source.depth() != out->depth()) return MIRL_MISMATCH;
  return served ? MIRL_SUCCESS : rule.notServed;
}

TEST_P(ColorConvert, EveryPairOfTypes) {
  for (const Rule& rule : kRules) {
    SCOPED_TRACE(rule.name);
    int successes = 0;
    for (int from = 0; from < 28; ++from) {
      const MirlImage source =
          noiseImage({5, 3}, allFormats()[static_cast<std::size_t>(from)].depth, from % 4 + 1, 1);
      for (int to = 0; to < 28; ++to) {
        MirlImage out(5, 3, static_cast<MirlType>(to));
        fillBlock(out, kGuard);
        const MirlStatus status = rule.run(source, out, MirlStream());
        EXPECT_EQ(status, expected(rule, source, &out)) << from << " to " << to;
        EXPECT_EQ(out.type(), to);
        const bool untouched = static_cast<bool>(untouchedOutside(out, 0, 0, kGuard));
        EXPECT_EQ(untouched, status != MIRL_SUCCESS) << from << " to " << to;
        successes += status == MIRL_SUCCESS;
      }
      MirlImage made;
      EXPECT_EQ(rule.run(source, made, MirlStream()), expected(rule, source, nullptr)) << from;
      EXPECT_EQ(made.isInitialized(), contains(rule.channels, source.channels())) << from;
      if (!made.isInitialized()) continue;
      const int depth = is(rule, rgb2yuv422) ? 8 : source.depth();
      EXPECT_EQ(made.type(),
                depthAndChannelsToType(depth, rule.outChannels, isHsv(rule) && source.isSigned()));
      EXPECT_EQ(made.dataBits(), depth);
      EXPECT_EQ(made.device(), GetParam());
    }
    // Destinations of a sign of their own are told apart by few: 8, 16 and 32 bits have both.
    const int signs = isHsv(rule) || isGray2rgb(rule) ? 1 : 2;
    const int shapes = isGray2rgb(rule) ? 2 : 1;
    EXPECT_EQ(successes, static_cast<int>(rule.served.size()) * signs * shapes);
  }
}

/// Sequences from below the first to above the last.
std::vector<MirlChannelSeq> anySequence() {
  std::vector<MirlChannelSeq> all;
  for (int s = -1; s <= 6; ++s) all.push_back(static_cast<MirlChannelSeq>(s));
  return all;
}

/// Whether the operation computes something for these sequences.
bool computes(const Rule& rule, MirlType type, MirlChannelSeq source, MirlChannelSeq out) {
  const bool ofOut = is(rule, yuv2rgb) || is(rule, ycbcr2rgb) || is(rule, Lab2rgb);
  const int sequence = ofOut ? out : source;
  if (isGray2rgb(rule) || is(rule, hsv2rgb) || is(rule, rgb2yuv422)) return true;
  if (is(rule, rgb2ycbcr) && type != MIRL_32F_C3) return sequence >= 0 && sequence <= 3;
  return type % 4 == 3 ? sequence == 2 || sequence == 3 : sequence == 0 || sequence == 1;
}

TEST_P(ColorConvert, SequencesThatMeanNothingWriteNothing) {
  for (const Rule& rule : kRules) {
    for (const MirlType type : rule.served) {
      for (const MirlChannelSeq from : anySequence()) {
        for (const MirlChannelSeq to : anySequence()) {
          SCOPED_TRACE(testing::Message()
                       << rule.name << ", type " << type << ", sequences " << from << ", " << to);
          MirlImage source = noiseImage({5, 3}, allFormats()[static_cast<std::size_t>(type)].depth,
                                        type % 4 + 1, 1);
          MirlImage out(5, 3, source.depth(), rule.outChannels);
          fillBlock(out, kGuard);
          source.setChannelSequence(from);
          out.setChannelSequence(to);
          EXPECT_EQ(rule.run(source, out, MirlStream()), MIRL_SUCCESS);
          EXPECT_EQ(static_cast<bool>(untouchedOutside(out, 0, 0, kGuard)),
                    !computes(rule, type, from, to));
          const bool sets = is(rule, rgb2ycbcr) || is(rule, rgb2Lab);
          EXPECT_EQ(out.channelSeq(), sets ? MIRL_CHANNELSEQ_RGB : to);
          EXPECT_EQ(source.channelSeq(), from);
        }
      }
      MirlImage source = noiseImage({5, 3}, allFormats()[static_cast<std::size_t>(type)].depth,
                                    type % 4 + 1, 1),
                made;
      source.setChannelSequence(MIRL_CHANNELSEQ_UNSET);
      EXPECT_EQ(rule.run(source, made, MirlStream()), MIRL_SUCCESS) << rule.name;
      EXPECT_TRUE(made.isInitialized()) << rule.name;
      EXPECT_EQ(made.channelSeq(), is(rule, rgb2ycbcr) || is(rule, rgb2Lab) ? MIRL_CHANNELSEQ_RGB
                                   : rule.outChannels == 3                  ? MIRL_CHANNELSEQ_BGR
                                                                            : MIRL_CHANNELSEQ_NONE);
    }
  }
}

// Types that rgb2ycbcr doesn't serve are found out after the sequence was set.
TEST_P(ColorConvert, YcbcrSetsTheSequenceBeforeTheTypeIsSeen) {
  const MirlImage source(5, 3, MIRL_16S_C3), wide(6, 3, MIRL_16S_C3);
  MirlImage out(5, 3, MIRL_16S_C3), made;
  EXPECT_EQ(rgb2ycbcr(wide, out), MIRL_MISMATCH);
  EXPECT_EQ(out.channelSeq(), MIRL_CHANNELSEQ_BGR);
  EXPECT_EQ(rgb2ycbcr(source, out), kNoType);
  EXPECT_EQ(rgb2ycbcr(source, made), kNoType);
  EXPECT_EQ(out.channelSeq(), MIRL_CHANNELSEQ_RGB);
  EXPECT_EQ(made.channelSeq(), MIRL_CHANNELSEQ_RGB);
  MirlImage lab(5, 3, MIRL_16S_C3);
  EXPECT_EQ(rgb2Lab(source, lab), kNoDepth);
  EXPECT_EQ(lab.channelSeq(), MIRL_CHANNELSEQ_BGR);
}

TEST_P(ColorConvert, OneImageAsSourceAndDestination) {
  for (const Rule& rule : kRules) {
    for (const MirlType type : rule.served) {
      SCOPED_TRACE(testing::Message() << rule.name << ", type " << type);
      const int depth = allFormats()[static_cast<std::size_t>(type)].depth;
      MirlImage source = noiseImage({257, 67}, depth, type % 4 + 1, 1, 257 * 16 + 1);
      MirlImage self(source), out;
      const Bytes before = bytesOf(source);
      const MirlStatus status = rule.run(self, self, MirlStream());
      if (!rule.inPlace) {
        EXPECT_EQ(status, MIRL_IN_PLACE_NOT_SUPPORTED);
      } else if (is(rule, rgb2yuv422)) {
        EXPECT_EQ(status, MIRL_MISMATCH) << "3 channels aren't 2";
      } else {
        EXPECT_EQ(status, MIRL_SUCCESS);
        // This one sees the sequence that it has set itself.
        if (is(rule, rgb2ycbcr)) source.setChannelSequence(MIRL_CHANNELSEQ_RGB);
        EXPECT_EQ(rule.run(source, out, MirlStream()), MIRL_SUCCESS);
        EXPECT_EQ(bytesOf(self), bytesOf(out));
        continue;
      }
      EXPECT_EQ(bytesOf(self), before);
    }
  }
}

TEST_P(ColorConvert, OrderOfChecks) {
  MirlStream dead(true);
  dead.destroy();
  const MirlStream ok;
  for (const Rule& rule : kRules) {
    SCOPED_TRACE(rule.name);
    const int channels = rule.channels[0];
    // A type that isn't served, so that it must be the last thing to be noticed.
    const int depth = 64;
    const MirlImage empty, source(4, 3, depth, channels), two(4, 3, depth, 2);
    const struct {
      const char* what;
      const MirlImage& source;
      MirlImage out;
      const MirlStream& stream;
      MirlStatus status;
    } cases[] = {
        {"source", empty, {}, dead, MIRL_IMAGE_NOT_INITIALIZED},
        {"source", empty, {9, 9, 8, 2}, dead, MIRL_IMAGE_NOT_INITIALIZED},
        {"channels", two, {9, 9, 8, 2}, dead, kNoChannels},
        {"channels", two, {}, dead, kNoChannels},
        {"stream", source, {9, 9, 8, 2}, dead, MIRL_INVALID_ARGUMENT},
        {"stream", source, {}, dead, MIRL_INVALID_ARGUMENT},
        {"channels of the destination, before its size",
         source,
         {9, 9, 8, 4},
         ok,
         isGray2rgb(rule) ? MIRL_MISMATCH : rule.otherOutChannels},
        {"width", source, {5, 3, depth, rule.outChannels}, ok, MIRL_MISMATCH},
        {"height", source, {4, 4, depth, rule.outChannels}, ok, MIRL_MISMATCH},
        {"depth", source, {4, 3, 32, rule.outChannels}, ok, isHsv(rule) ? kNoDepth : MIRL_MISMATCH},
        {"type", source, {4, 3, depth, rule.outChannels}, ok, rule.notServed},
        {"type", source, {}, ok, rule.notServed},
    };
    for (const auto& c : cases) {
      SCOPED_TRACE(c.what);
      MirlImage out(c.out);
      EXPECT_EQ(rule.run(c.source, out, c.stream), c.status);
      EXPECT_EQ(out.isInitialized(), c.out.isInitialized() || c.status == rule.notServed);
    }
    if (!rule.inPlace) {
      MirlImage self(4, 3, 8, 2), none;
      EXPECT_EQ(rule.run(self, self, dead), MIRL_IN_PLACE_NOT_SUPPORTED);
      EXPECT_EQ(rule.run(none, none, dead), MIRL_IMAGE_NOT_INITIALIZED);
    }
  }
}

TEST_P(ColorConvert, RuntimeFailures) {
  for (const Rule& rule : kRules) {
    SCOPED_TRACE(rule.name);
    const MirlImage source(4, 3, rule.served[0]);
    MirlImage out;
    {
      const FailNth fail(runtime::Call::allocate);
      EXPECT_EQ(rule.run(source, out, MirlStream()), MIRL_DEVICE_ALLOC_FAILED);
    }
    EXPECT_FALSE(out.isInitialized());
    EXPECT_EQ(rule.run(source, out, MirlStream()), MIRL_SUCCESS);
  }
}

TEST_P(ColorConvert, GrayInPlaceIsAllOrNothing) {
  MirlImage empty, colour(4, 3, MIRL_8U_C3), wide(4, 3, MIRL_16S_C1), gray(4, 3, MIRL_16U_C1);
  MirlStream dead(true);
  dead.destroy();
  EXPECT_EQ(gray2rgb(empty), MIRL_IMAGE_NOT_INITIALIZED);
  const auto refuses = [](MirlImage& image, MirlStatus status, const MirlStream& stream) {
    image.setDataBits(5);
    image.setChannelSequence(MIRL_CHANNELSEQ_RGBA);
    const auto before = fieldsOf(image);
    EXPECT_EQ(gray2rgb(image, stream), status);
    EXPECT_EQ(fieldsOf(image), before);
  };
  refuses(colour, kNoChannels, MirlStream());
  refuses(wide, kNoType, MirlStream());
  refuses(gray, MIRL_INVALID_ARGUMENT, dead);
  {
    const FailNth fail(runtime::Call::allocate);
    refuses(gray, MIRL_DEVICE_ALLOC_FAILED, MirlStream());
  }
  {
    const FailNth fail(runtime::Call::free);
    refuses(gray, MIRL_DEVICE_FREE_FAILED, MirlStream());
  }
  EXPECT_EQ(gray2rgb(gray), MIRL_SUCCESS);
  EXPECT_EQ(gray.type(), MIRL_16U_C3);
}

TEST_P(ColorConvert, ImagesOfTwoDevices) {
  if (device::getDeviceCount() < 2) GTEST_SKIP() << "there is one device";
  for (const Rule& rule : kRules) {
    const MirlImage here(4, 3, rule.served[0]);
    ASSERT_EQ(device::setCurrentDevice((GetParam() + 1) % device::getDeviceCount()), MIRL_SUCCESS);
    MirlImage there(4, 3, here.depth(), rule.outChannels), made;
    const MirlStream stream(true);
    EXPECT_EQ(rule.run(here, there, MirlStream()), MIRL_MISMATCH) << rule.name;
    EXPECT_EQ(rule.run(here, made, stream), MIRL_MISMATCH) << rule.name;
    EXPECT_EQ(rule.run(here, made, MirlStream()), MIRL_SUCCESS) << rule.name;
    EXPECT_EQ(made.device(), GetParam());
    ASSERT_EQ(device::setCurrentDevice(GetParam()), MIRL_SUCCESS);
  }
}

// No tables are shared: conversions with different ones may run at once.
TEST_P(ColorConvert, RunsOnStreamsAndThreads) {
  const MirlImage source = noiseImage({701, 301}, 8, 3, 1);
  std::array<Bytes, std::size(kRules)> alone;
  const auto result = [&](std::size_t i, const MirlStream& stream) {
    const Rule& rule = kRules[i];
    MirlImage in(source), gray, out;
    EXPECT_EQ(rgb2gray(source, gray, stream), MIRL_SUCCESS);
    EXPECT_EQ(rule.run(isGray2rgb(rule) ? gray : in, out, stream), MIRL_SUCCESS);
    stream.sync();
    return bytesOf(out);
  };
  for (std::size_t i = 0; i < alone.size(); ++i) alone[i] = result(i, MirlStream());
  onThreads(2, [&](int thread) {
    const MirlStream stream(true);
    for (std::size_t round = 0; round < 3 * alone.size(); ++round) {
      const std::size_t i = (round + static_cast<std::size_t>(thread) * 5) % alone.size();
      EXPECT_EQ(result(i, stream), alone[i]) << kRules[i].name;
    }
  });
}

MIRL_TEST_ON_ALL_DEVICES(ColorConvert);

}  // namespace
}  // namespace mirl::test
