// Colour conversions: formats, sequences, statuses and their order, failures, threads.

#include <mirl/colorOperations.h>

#include <algorithm>

#include "support.h"

namespace mirl::test {
namespace {

using namespace colorOperations;

class ColorConvert : public DeviceTest {};

using Convert = MirlStatus (*)(const MirlImage&, MirlImage&, const MirlStream&);

MirlStatus weightedGray(const MirlImage& source, MirlImage& out, const MirlStream& stream) {
  return rgb2gray(source, out, MirlScalar(0.2, 0.7, 0.1), stream);
}

constexpr MirlStatus kNoChannels = MIRL_CHANNELS_NOT_SUPPORTED;
constexpr MirlStatus kNoDepth = MIRL_DEPTH_NOT_SUPPORTED;
constexpr MirlStatus kNoType = MIRL_TYPE_NOT_SUPPORTED;

/// What an operation serves, and how it refuses the rest.
struct Rule {
  const char* name;
  Convert run;
  std::vector<MirlType> served;
  MirlStatus notServed;
  bool inPlace = true;
  int outChannels = 3;
  MirlStatus otherOutChannels = MIRL_MISMATCH;
  std::vector<int> channels = {3};  ///< of the source
};

const std::vector<MirlType> kBytesAndFloats = {MIRL_8U_C3, MIRL_32F_C3},
                            kColours = {MIRL_8U_C3, MIRL_16U_C3, MIRL_32F_C3},
                            kGrays = {MIRL_8U_C1, MIRL_16U_C1, MIRL_32F_C1},
                            kToGray = {MIRL_8U_C3, MIRL_8U_C4, MIRL_16U_C3, MIRL_16U_C4,
                                       MIRL_32F_C3},
                            // The depth alone decides: signed elements are read as unsigned.
    kYuv = {MIRL_8U_C3, MIRL_16U_C3, MIRL_8S_C3, MIRL_16S_C3};

const Rule kRules[] = {
    {"rgb2gray", rgb2gray, kToGray, MIRL_MISMATCH, false, 1, kNoChannels, {3, 4}},
    {"rgb2gray with weights", weightedGray, kColours, MIRL_MISMATCH, false, 1, kNoChannels},
    {"gray2rgb", gray2rgb, kGrays, kNoType, false, 3, kNoType, {1}},
    {"rgb2yuv", rgb2yuv, kYuv, kNoDepth},
    {"yuv2rgb", yuv2rgb, kYuv, kNoDepth},
    {"rgb2yuv422", rgb2yuv422, {MIRL_8U_C3}, kNoType, true, 2},
    {"rgb2ycbcr", rgb2ycbcr, kColours, kNoType},
    {"ycbcr2rgb", ycbcr2rgb, kColours, kNoType},
    {"rgb2hsv", rgb2hsv, kBytesAndFloats, kNoDepth},
    {"hsv2rgb", hsv2rgb, kBytesAndFloats, kNoDepth},
    {"rgb2Lab", rgb2Lab, kBytesAndFloats, kNoDepth, false},
    {"Lab2rgb", Lab2rgb, kBytesAndFloats, kNoDepth},
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

/// Any pixels of a type.
MirlImage noise(MirlType type, const MirlSize& size = {5, 3}, int pitch = 0) {
  return noiseImage(size, allFormats()[static_cast<std::size_t>(type)].depth, type % 4 + 1, 1,
                    pitch);
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
    for (const Format& from : allFormats()) {
      const MirlImage source = noise(from.type);
      for (const Format& to : allFormats()) {
        SCOPED_TRACE(testing::Message() << from.type << " to " << to.type);
        MirlImage out(5, 3, to.type);
        fillBlock(out);
        const MirlStatus status = rule.run(source, out, MirlStream());
        EXPECT_EQ(status, expected(rule, source, &out));
        EXPECT_EQ(out.type(), to.type);
        EXPECT_EQ(static_cast<bool>(untouched(out)), status != MIRL_SUCCESS);
        successes += status == MIRL_SUCCESS;
      }
      MirlImage made;
      EXPECT_EQ(rule.run(source, made, MirlStream()), expected(rule, source, nullptr)) << from.type;
      EXPECT_EQ(made.isInitialized(), contains(rule.channels, source.channels())) << from.type;
      if (!made.isInitialized()) continue;
      const int depth = is(rule, rgb2yuv422) ? 8 : source.depth();
      EXPECT_EQ(made.type(),
                depthAndChannelsToType(depth, rule.outChannels, isHsv(rule) && source.isSigned()));
      EXPECT_EQ(made.dataBits(), depth);
    }
    // Destinations of a sign of their own are told apart by few: 8, 16 and 32 bits have both.
    const int signs = isHsv(rule) || isGray2rgb(rule) ? 1 : 2;
    const int shapes = isGray2rgb(rule) ? 2 : 1;
    EXPECT_EQ(successes, static_cast<int>(rule.served.size()) * signs * shapes);
  }
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
    const bool sets = is(rule, rgb2ycbcr) || is(rule, rgb2Lab);
    for (const MirlType type : rule.served) {
      MirlImage source = noise(type), made;
      for (int i = 0; i < 64; ++i) {  // from below the first sequence to above the last
        const auto from = static_cast<MirlChannelSeq>(i / 8 - 1);
        const auto to = static_cast<MirlChannelSeq>(i % 8 - 1);
        SCOPED_TRACE(testing::Message()
                     << rule.name << ", type " << type << ", sequences " << from << ", " << to);
        MirlImage out(5, 3, source.depth(), rule.outChannels);
        fillBlock(out);
        source.setChannelSequence(from);
        out.setChannelSequence(to);
        EXPECT_EQ(rule.run(source, out, MirlStream()), MIRL_SUCCESS);
        EXPECT_EQ(static_cast<bool>(untouched(out)), !computes(rule, type, from, to));
        EXPECT_EQ(out.channelSeq(), sets ? MIRL_CHANNELSEQ_RGB : to);
        EXPECT_EQ(source.channelSeq(), from);
      }
      source.setChannelSequence(MIRL_CHANNELSEQ_UNSET);
      EXPECT_EQ(rule.run(source, made, MirlStream()), MIRL_SUCCESS) << rule.name;
      EXPECT_EQ(made.channelSeq(), sets                    ? MIRL_CHANNELSEQ_RGB
                                   : rule.outChannels == 3 ? MIRL_CHANNELSEQ_BGR
                                                           : MIRL_CHANNELSEQ_NONE)
          << rule.name;
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
      MirlImage source = noise(type, {257, 67}, 257 * 16 + 1), self(source), out(source);
      const MirlStatus status = !rule.inPlace           ? MIRL_IN_PLACE_NOT_SUPPORTED
                                : rule.outChannels == 2 ? MIRL_MISMATCH
                                                        : MIRL_SUCCESS;
      EXPECT_EQ(rule.run(self, self, MirlStream()), status);
      // This one sees the sequence that it has set itself.
      if (is(rule, rgb2ycbcr)) source.setChannelSequence(MIRL_CHANNELSEQ_RGB);
      if (status == MIRL_SUCCESS) {
        EXPECT_EQ(rule.run(source, out, MirlStream()), MIRL_SUCCESS);
      }
      EXPECT_EQ(bytesOf(self), bytesOf(out));
    }
  }
}

TEST_P(ColorConvert, ChannelsAndOneObjectAreCheckedBeforeTheStream) {
  const MirlStream dead = deadStream();
  const MirlImage two(4, 3, 64, 2), empty, other(9, 9, MIRL_8U_C2);
  for (const Rule& rule : kRules) {
    SCOPED_TRACE(rule.name);
    for (const MirlImage& out : {empty, other}) {
      expectStatus(out, kNoChannels, false,
                   [&](MirlImage& copy) { return rule.run(two, copy, dead); });
    }
    if (rule.inPlace) continue;
    MirlImage self(4, 3, 8, 2), none;
    EXPECT_EQ(rule.run(self, self, dead), MIRL_IN_PLACE_NOT_SUPPORTED);
    EXPECT_EQ(rule.run(none, none, dead), MIRL_IMAGE_NOT_INITIALIZED);
  }
}

TEST_P(ColorConvert, GrayInPlaceIsAllOrNothing) {
  using runtime::Call;
  MirlImage empty, colour(4, 3, MIRL_8U_C3), wide(4, 3, MIRL_16S_C1), gray(4, 3, MIRL_16U_C1);
  const MirlStream alive, dead = deadStream();
  EXPECT_EQ(gray2rgb(empty), MIRL_IMAGE_NOT_INITIALIZED);
  const auto refuses = [](MirlImage& image, MirlStatus status, const MirlStream& stream,
                          Call call = Call::stream) {
    image.setDataBits(5);
    image.setChannelSequence(MIRL_CHANNELSEQ_RGBA);
    const auto before = fieldsOf(image);
    const FailNth fail(call);
    EXPECT_EQ(gray2rgb(image, stream), status);
    EXPECT_EQ(fieldsOf(image), before);
  };
  refuses(colour, kNoChannels, alive);
  refuses(wide, kNoType, alive);
  refuses(gray, MIRL_INVALID_ARGUMENT, dead);
  refuses(gray, MIRL_DEVICE_ALLOC_FAILED, alive, Call::allocate);
  refuses(gray, MIRL_DEVICE_FREE_FAILED, alive, Call::free);
  EXPECT_EQ(gray2rgb(gray), MIRL_SUCCESS);
  EXPECT_EQ(gray.type(), MIRL_16U_C3);
}

MIRL_TEST_ON_ALL_DEVICES(ColorConvert);

}  // namespace
}  // namespace mirl::test
