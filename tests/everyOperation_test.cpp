// What holds for every operation from images to an image: the order of checks, streams, threads,
// devices, resets and a runtime that fails. The numbers are the business of the operations' own
// tests.

#include <cstdlib>
#include <new>

#include "everyOperation.h"

namespace {

/// Which allocation of the calling thread is to fail from now on; 0 is none.
thread_local int failingAllocation = 0;

void* allocateOrFail(std::size_t bytes) {
  if (failingAllocation > 0 && --failingAllocation == 0) return nullptr;
  return std::malloc(bytes == 0 ? 1 : bytes);
}

}  // namespace

// Not inlined, or compilers miss the other half of a pair.
[[gnu::noinline]] void* operator new(std::size_t bytes) {
  void* memory = allocateOrFail(bytes);
  return memory != nullptr ? memory : throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return allocateOrFail(bytes);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace mirl::test {
namespace {

MIRL_DEVICE_TESTS(EveryOperation);

MirlImage liveOutputOf(const Operation& op, const Inputs& in) {
  return {op.traits.sizeOfOutput({in[0].width(), in[0].height()}), op.out};
}

/// An empty output if the operation takes one.
MirlImage outputOf(const Operation& op, const Inputs& in) {
  return op.traits.creates ? MirlImage() : liveOutputOf(op, in);
}

/// The size of the input with this number.
MirlSize sizeOf(const Operation& op, const MirlSize& size, int number) {
  if (number > 0 && op.traits.sizeOfOthers.width != 0) return op.traits.sizeOfOthers;
  const auto upTo = [](int side, int step) { return (side + step - 1) / step * step; };
  return {upTo(size.width, op.traits.widthStep), upTo(size.height, op.traits.heightStep)};
}

Inputs inputsOf(const Operation& op, const MirlSize& size, unsigned seed, MirlType type) {
  const Format format = formatOfType(type);
  Inputs inputs;
  for (int i = 0; i < op.traits.inputs; ++i) {
    inputs.push_back(noiseImage(sizeOf(op, size, i), format.depth, format.channels, seed++));
  }
  return inputs;
}
Inputs inputsOf(const Operation& op, const MirlSize& size = {61, 47}, unsigned seed = 1) {
  return inputsOf(op, size, seed, op.in);
}

/// Copies of the inputs, but for one that comes from others: a dead image can only be moved.
Inputs withOneOf(Inputs& others, std::size_t number, const Inputs& inputs) {
  Inputs mixed;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    mixed.push_back(i == number ? std::move(others[i]) : MirlImage(inputs[i]));
  }
  return mixed;
}

/// The result as it comes without a stream.
MirlImage resultOf(const Operation& op, const Inputs& in) {
  MirlImage out = outputOf(op, in);
  EXPECT_EQ(op.run(in, out, MirlStream()), MIRL_SUCCESS) << op.name;
  EXPECT_EQ(out.type(), op.out) << op.name;
  return out;
}

/// A depth that the operation doesn't take for an output.
int wrongDepthOf(const Types& types, const Format& in, int right, int channels) {
  for (const int depth : {64, 32, 8}) {
    const bool fits = depth == right || types.depthIsRight(in, {MIRL_8U_C1, depth, channels});
    if (!fits) return depth;
  }
  return 128;
}

// Whatever else is wrong, the first check that fails tells the status.
TEST_P(EveryOperation, ChecksInOrder) {
  const MirlStream ordinary, dead = deadStream();
  for (const Operation& op : operations()) {
    const Format in = formatOfType(op.in), out = formatOfType(op.out);
    for (unsigned wrongs = 0; wrongs < 1u << kWrongs; ++wrongs) {
      const auto has = [&](Wrong wrong) { return (wrongs >> wrong & 1) != 0; };
      SCOPED_TRACE(testing::Message() << op.name << ", wrong: " << wrongs);
      unsigned known = 0;
      MirlStatus expected = MIRL_SUCCESS;
      for (auto check = op.checks.rbegin(); check != op.checks.rend(); ++check) {
        known |= 1u << check->first;
        if (has(check->first)) expected = check->second;
      }
      // What is wrong with the output can't be said of the input.
      const bool itself = has(kItself), ofOutput = has(kChannels) || has(kDepth) || has(kSize);
      if ((wrongs & ~known) != 0 || (itself && ofOutput)) continue;
      const auto otherThan = [](int channels) { return channels == 2 ? 4 : 2; };
      const int depth = has(kType) ? 64 : in.depth,
                inChannels = has(kInputChannels) ? otherThan(in.channels) : in.channels;
      const Format given{op.in, depth, inChannels};
      const int outDepth = has(kType) ? op.traits.outputDepthOfBadType : out.depth;
      const int outChannels = has(kInputChannels) ? op.types.created(given).second : out.channels;
      for (const int variant : {0, 1, 2}) {  // a row, a column, or both; this input or that one
        const int narrower = variant > 0, lower = variant != 1, inputs = op.traits.inputs;
        Inputs sources;
        for (int i = 0; i < inputs; ++i) {
          const bool other = has(kOther) && i == inputs - 1;
          const MirlSize size = sizeOf(op, {19, 11}, i);
          sources.push_back(has(kSource) && i == variant % inputs
                                ? MirlImage()
                                : MirlImage(size.width - other * narrower,
                                            size.height + other * lower, depth, inChannels));
        }
        const Call& run = has(kArgument) ? op.traits.runBadly : op.run;
        const auto runs = [&](MirlImage& image) {
          return run(sources, image, has(kStream) ? dead : ordinary);
        };
        if (itself) {
          EXPECT_EQ(runs(sources[0]), expected);
          continue;
        }
        const MirlSize size = op.traits.sizeOfOutput(sizeOf(op, {19, 11}, 0));
        MirlImage live(
            size.width - has(kSize) * narrower, size.height - has(kSize) * lower,
            has(kDepth) ? wrongDepthOf(op.types, given, outDepth, outChannels) : outDepth,
            has(kChannels) ? otherThan(outChannels) : outChannels);
        ASSERT_TRUE(live.isInitialized());
        live.setChannelSequence(MIRL_CHANNELSEQ_RGB);  // as some operations do late
        expectStatus(live, expected, false, runs);
      }
    }
  }
}

// All 28 types, with a live output of each and with an empty one.
TEST_P(EveryOperation, TypesOfInputsAndOutputs) {
  for (const Operation& op : operations()) {
    const Types& types = op.types;
    if (types.served.empty()) continue;
    const bool looksAtChannels =
        std::any_of(op.checks.begin(), op.checks.end(),
                    [](const Check& check) { return check.first == kInputChannels; });
    int successes = 0;
    for (const Format& in : allFormats()) {
      const bool sameChannels =
          types.serves([&](const Format& f) { return f.channels == in.channels; });
      // Whatever the channels are, if these have a status of their own.
      const bool served = types.serves([&](const Format& f) {
        return f.depth == in.depth &&
               (f.channels == in.channels || (looksAtChannels && !sameChannels));
      });
      const auto first = [&](const Format* out) {
        return std::find_if(op.checks.begin(), op.checks.end(), [&](const Check& check) {
          switch (check.first) {
            case kInputChannels:
              return !sameChannels;
            case kType:
              return !served;
            case kChannels:
              return out != nullptr && !types.channelsAreRight(in, *out);
            case kDepth:
              return out != nullptr && !types.depthIsRight(in, *out);
            default:
              return false;
          }
        });
      };
      const auto statusOf = [&](auto check) {
        return check == op.checks.end() ? MIRL_SUCCESS : check->second;
      };
      const MirlSize size(13, 11);
      Inputs sources;
      for (int i = 0; i < op.traits.inputs; ++i) {
        sources.push_back(noiseImage(size, in.depth, in.channels, 1));
      }
      const auto run = [&](MirlImage& out) { return op.run(sources, out, MirlStream()); };
      for (const Format& out : allFormats()) {
        SCOPED_TRACE(testing::Message() << op.name << ", " << in.type << " to " << out.type);
        MirlImage live(op.traits.sizeOfOutput(size), out.type);
        live.setChannelSequence(MIRL_CHANNELSEQ_RGB);
        const MirlStatus status = statusOf(first(&out));
        successes += status == MIRL_SUCCESS;
        expectStatus(live, status, false, run);
      }
      if (!op.traits.creates) continue;
      SCOPED_TRACE(testing::Message() << op.name << ", " << in.type);
      const auto check = first(nullptr);
      const bool creates = std::any_of(op.checks.begin(), check,
                                       [](const Check& passed) { return passed.first == kStream; });
      MirlImage made;
      EXPECT_EQ(run(made), statusOf(check));
      ASSERT_EQ(made.isInitialized(), creates);
      if (!creates) continue;
      const auto [depth, channels] = types.created(in);
      EXPECT_EQ(made.type(), depthAndChannelsToType(std::abs(depth), channels, depth < 0));
      EXPECT_EQ(made.device(), GetParam());
    }
    EXPECT_GT(successes, 0) << op.name;
  }
}

// Each input is made on the stream itself, and the result is taken from there.
TEST_P(EveryOperation, RunsInStreamOrderOnManyThreads) {
  const auto ops = operations();
  const MirlSize size(401, 301);
  std::vector<Bytes> expected;
  for (const Operation& op : ops) expected.push_back(bytesOf(resultOf(op, inputsOf(op, size))));
  onThreads(3, [&](int thread) {
    const MirlStream stream(true);
    for (std::size_t k = 0; k < 2 * ops.size(); ++k) {
      const std::size_t i = (k + static_cast<std::size_t>(thread) * 7) % ops.size();
      const Inputs sources = inputsOf(ops[i], size);
      Inputs in = inputsOf(ops[i], size, 9);
      MirlImage out = outputOf(ops[i], in);
      for (std::size_t n = 0; n < in.size(); ++n) {
        const MirlRect all(0, 0, in[n].width(), in[n].height());
        EXPECT_EQ(sources[n].copyTo(in[n], {0, 0}, all, stream), MIRL_SUCCESS);
      }
      EXPECT_EQ(ops[i].run(in, out, stream), MIRL_SUCCESS);
      Bytes got(expected[i].size());
      EXPECT_EQ(out.download(got.data(), rowBytes(out), stream), MIRL_SUCCESS);
      stream.sync();
      EXPECT_EQ(got, expected[i]) << ops[i].name;
    }
  });
}

TEST_P(EveryOperation, RefusesDeadImagesAndStreamsAfterAReset) {
  for (const Operation& op : operations()) {
    SCOPED_TRACE(op.name);
    Inputs deadIn = inputsOf(op);
    MirlImage deadOut = liveOutputOf(op, deadIn);
    const MirlStream deadStream(true);
    ASSERT_EQ(device::resetCurrentDevice(), MIRL_SUCCESS);
    Inputs in = inputsOf(op);
    MirlImage out = outputOf(op, in);
    const auto fields = fieldsOf(deadOut);
    for (std::size_t n = 0; n < in.size(); ++n) {
      EXPECT_EQ(op.run(withOneOf(deadIn, n, in), out, MirlStream()), MIRL_IMAGE_NOT_INITIALIZED);
    }
    EXPECT_EQ(op.run(in, deadOut, MirlStream()), MIRL_IMAGE_NOT_INITIALIZED);
    EXPECT_EQ(op.run(in, out, deadStream), MIRL_INVALID_ARGUMENT);
    EXPECT_EQ(fieldsOf(deadOut), fields);
    EXPECT_EQ(out.isInitialized(), !op.traits.creates);
  }
}

TEST_P(EveryOperation, StaysOnOneDevice) {
  if (device::getDeviceCount() < 2) GTEST_SKIP() << "there is one device";
  const int other = (GetParam() + 1) % device::getDeviceCount();
  for (const Operation& op : operations()) {
    SCOPED_TRACE(op.name);
    Inputs in = inputsOf(op);
    MirlImage out = outputOf(op, in);
    ASSERT_EQ(device::setCurrentDevice(other), MIRL_SUCCESS);
    Inputs inElsewhere = inputsOf(op);
    MirlImage outElsewhere = liveOutputOf(op, in);
    const MirlStream stream(true);
    for (std::size_t n = 0; n < in.size() && in.size() > 1; ++n) {
      EXPECT_EQ(op.run(withOneOf(inElsewhere, n, in), out, MirlStream()), MIRL_MISMATCH) << n;
    }
    EXPECT_EQ(op.run(in, outElsewhere, MirlStream()), MIRL_MISMATCH);
    EXPECT_EQ(op.run(in, out, stream), MIRL_MISMATCH);
    EXPECT_EQ(outElsewhere.device(), other);
    EXPECT_EQ(out.isInitialized(), !op.traits.creates);
    EXPECT_EQ(op.run(in, out, MirlStream()), MIRL_SUCCESS) << "whatever device is current";
    EXPECT_EQ(out.device(), GetParam());
    const MirlImage outThere = resultOf(op, inputsOf(op));
    if (!op.traits.rounds) {
      EXPECT_EQ(bytesOf(outThere), bytesOf(out)) << "the devices agree";
    }
    ASSERT_EQ(device::setCurrentDevice(GetParam()), MIRL_SUCCESS);
  }
}

// A kernel that can't be launched leaves the status of an operation that doesn't wait as it is. It
// is told by the next call that waits, so that what nobody tells of is right.
TEST_P(EveryOperation, LostKernelsAreTold) {
  int lost = 0;
  for (const Operation& op : operations()) {
    SCOPED_TRACE(op.name);
    const Inputs in = inputsOf(op);
    const Bytes expected = bytesOf(resultOf(op, in));
    for (int n = 1; n < 4; ++n) {
      MirlImage out = outputOf(op, in);
      const FailNth fault(runtime::Call::launch, n);
      const MirlStatus status = op.run(in, out, MirlStream());
      MirlStream().sync();  // can't tell
      const MirlStatus told = device::syncCurrentDevice();
      if (status == MIRL_SUCCESS && told == MIRL_SUCCESS) {
        EXPECT_EQ(bytesOf(out), expected);
        continue;
      }
      ++lost;
      EXPECT_TRUE(status == MIRL_KERNEL_FAILED || told == MIRL_OPERATION_FAILED);
      EXPECT_EQ(device::syncCurrentDevice(), MIRL_SUCCESS) << "once";
    }
  }
  const bool host = GetParam() == device::getDeviceCount() - 1;
  EXPECT_TRUE(host ? lost == 0 : lost > 60) << lost;
}

// Every call of the runtime that an operation makes fails once, for each kind of output that the
// operation takes: the source itself, none, one that fits, one of another size, one of another
// type.
TEST_P(EveryOperation, FailuresOfTheRuntimeLeaveNothingBehind) {
  for (const Operation& op : operations()) {
    const std::pair<runtime::Call, MirlStatus> faults[] = {
        {runtime::Call::allocate, MIRL_DEVICE_ALLOC_FAILED},
        {runtime::Call::copy, op.traits.copyFails},
        {runtime::Call::free, MIRL_DEVICE_FREE_FAILED}};
    const Inputs inputs = inputsOf(op);
    const MirlImage outputs[] = {
        inputs[0], {}, liveOutputOf(op, inputs), {9, 7, op.out}, {9, 7, MIRL_64F_C2}};
    for (const MirlImage& output : outputs) {
      const Bytes before = bytesOf(output);
      Bytes expected;
      const auto succeeds = [&](runtime::Call call, int n, MirlStatus status) {
        SCOPED_TRACE(testing::Message() << op.name << ", output " << &output - outputs << ", fault "
                                        << n << " of " << status);
        Inputs in = inputs;
        MirlImage another(output);
        MirlImage& out = &output == outputs ? in[0] : another;
        const auto fields = fieldsOf(out);
        const runtime::Live live = runtime::live();
        runtime::failNth(call, n);
        const MirlStatus got = op.run(in, out, MirlStream());
        runtime::failNth(call, 0);
        if (got == MIRL_SUCCESS) {
          if (n == 0) expected = bytesOf(out);
          // In place it is the same, unless the call has changed what the sequence says of it.
          if (n == 0 && &output == outputs && out.channelSeq() == inputs[0].channelSeq()) {
            EXPECT_TRUE(expected == bytesOf(resultOf(op, inputs)));
          }
          EXPECT_TRUE(bytesOf(out) == expected);
          return true;
        }
        if (n == 0) return false;
        EXPECT_EQ(got, status);
        EXPECT_EQ(runtime::live().scratchBlocks, live.scratchBlocks);
        if (op.traits.partial || (op.traits.loses && !out.isInitialized())) return false;
        EXPECT_EQ(runtime::live(), live);
        EXPECT_EQ(fieldsOf(out), fields);
        EXPECT_TRUE(bytesOf(out) == before);
        return false;
      };
      if (!succeeds(runtime::Call::allocate, 0, MIRL_SUCCESS)) continue;
      for (const auto& [call, status] : faults) {
        for (int n = 1; n < 20 && !succeeds(call, n, status); ++n) continue;
      }
    }
  }
}

// Each allocation of host memory fails once.
TEST_P(EveryOperation, NothingThrowsWithoutHostMemory) {
  if (MIRL_CUDA_SIMULATED && GetParam() != device::getDeviceCount() - 1) {
    GTEST_SKIP() << "the simulated GPU allocates host memory, and may throw";
  }
  const auto survives = [](const char* name, const auto& call) {
    for (int n = 1, reached = 0; reached == 0; ++n) {
      ASSERT_LT(n, 200) << name;
      const runtime::Live live = runtime::live();
      failingAllocation = n;
      EXPECT_NO_THROW(call()) << name << ", allocation " << n;
      reached = std::exchange(failingAllocation, 0);
      EXPECT_EQ(runtime::live(), live) << name << ", allocation " << n;
    }
  };
  for (const Operation& op : operations()) {
    const Inputs in = inputsOf(op, {401, 301});
    survives(op.name, [&] {
      const MirlStream stream(true);
      MirlImage out = outputOf(op, in);
      op.run(in, out, stream);
    });
  }
  const std::string none = "/dev/null";
  survives("other calls", [&] {
    const MirlFilter blocks[] = {{64, 64}, {64, 64}, {64, 64}, {64, 64}, {64, 64}};
    MirlDeviceProperties properties;
    device::getDeviceProperties(GetParam(), properties);
    const MirlImage image(9, 9, MIRL_8U_C3), read(none, MIRL_LOAD_COLOR);
  });
}

/// Copies of the leading pixels of images, in rows of `more` bytes than these need.
Inputs partsOf(const Inputs& whole, const MirlSize& size, int more) {
  Inputs parts;
  for (const MirlImage& image : whole) {
    MirlImage& part =
        parts.emplace_back(size.width, size.height, size.width * pixelBytes(image) + more,
                           image.depth(), image.channels());
    EXPECT_EQ(image.copyTo(part, {0, 0}, {0, 0, size.width, size.height}), MIRL_SUCCESS);
  }
  return parts;
}

/// Whether an image has the leading pixels of another. Which NaN comes of two is the compiler's
/// choice, from loop to loop.
testing::AssertionResult hasPartOf(const MirlImage& image, const MirlImage& whole) {
  MirlImage part;
  EXPECT_EQ(whole.copyTo(part, {0, 0}, {0, 0, image.width(), image.height()}), MIRL_SUCCESS);
  if (image.depth() == 32) return holds(image, fromImage<float>(part));
  return testing::AssertionResult(bytesOf(image) == bytesOf(part));
}

// What becomes of a pixel depends neither on the size of the image nor on where its rows begin, nor
// on whether the result is too large for the caches or goes where the input was.
TEST_P(EveryOperation, PartsBecomePartsOfTheResult) {
  for (const Operation& op : operations()) {
    if (!op.traits.pointwise || op.traits.widthStep > 1) continue;
    const TypeList served = op.types.served.empty() ? TypeList{op.in} : op.types.served;
    for (const MirlType type : served) {
      const Format in = formatOfType(type);
      const Inputs whole = inputsOf(op, {1031, 37}, 1, type);
      for (const Format& out : allFormats()) {
        // Rows of deeper elements are room for more of them.
        const bool asRoom = op.types.depthFits == noShallower && out.depth != in.depth;
        const bool fits = op.types.served.empty() ? out.type == op.out
                                                  : op.types.channelsAreRight(in, out) &&
                                                        op.types.depthIsRight(in, out) && !asRoom;
        if (!fits || out.depth < 0) continue;
        MirlImage result(1031, 37, out.type);
        ASSERT_EQ(op.run(whole, result, MirlStream()), MIRL_SUCCESS);
        const auto expectPart = [&](const MirlSize& size, int more) {
          SCOPED_TRACE(testing::Message() << op.name << ", " << type << " to " << out.type << ", "
                                          << size.width << "x" << size.height << ", " << more);
          Inputs parts = partsOf({whole[0]}, size, more);
          for (std::size_t i = 1; i < whole.size(); ++i) {
            const bool table = op.traits.sizeOfOthers.width != 0;
            parts.push_back(table ? whole[i] : partsOf({whole[i]}, size, 0)[0]);
          }
          MirlImage made(size.width, size.height, size.width * pixelBytes(result) + more, out.depth,
                         out.channels);
          fillBlock(made);
          ASSERT_EQ(op.run(parts, made, MirlStream()), MIRL_SUCCESS);
          EXPECT_TRUE(hasPartOf(made, result));
          EXPECT_TRUE(paddingUntouched(made));
        };
        for (const MirlSize& size : awkwardSizes())
          expectPart({size.width, std::min(size.height, 37)}, 0);
        for (const int more : {1, 2, 7}) expectPart({61, 7}, more);
        const PastCaches past;
        for (const int more : {0, 3}) expectPart({1031, 37}, more);
      }
    }
  }
}

// Narrow rows that stand one behind the other are worked on as others.
TEST_P(EveryOperation, PaddingChangesNothing) {
  for (const Operation& op : operations()) {
    if (op.traits.widthStep > 1 || op.traits.rounds) continue;
    const Inputs padded = inputsOf(op, {11, 2251});
    Inputs packed;
    for (const MirlImage& image : padded) packed.push_back(partsOf({image}, image.size(), 0)[0]);
    const MirlImage live = liveOutputOf(op, padded);
    MirlImage out(live.width(), live.height(), rowBytes(live), live.depth(), live.channels());
    ASSERT_EQ(op.run(packed, out, MirlStream()), MIRL_SUCCESS) << op.name;
    EXPECT_TRUE(hasPartOf(out, resultOf(op, padded))) << op.name;
  }
}

// An image that was made shallower where it is has more data bits than bits.
TEST_P(EveryOperation, NoMoreDataBitsCountThanThereAre) {
  for (const Operation& op : operations()) {
    const Format format = formatOfType(op.in);
    if (format.depth > 16 || format.channels % 2 == 0) continue;
    for (const auto& [depth, deeper, bits] :
         {std::tuple{8, 16, 16}, {8, 16, 12}, {8, 32, 32}, {16, 32, 30}, {16, 32, 17}}) {
      SCOPED_TRACE(testing::Message() << op.name << ", " << depth << " of " << bits << " bits");
      Inputs plain, shallower;
      for (const MirlImage& image : inputsOf(op)) {
        plain.push_back(noiseImage(image.size(), depth, image.channels(), 1));
        MirlImage made;
        ASSERT_EQ(plain.back().convertTo(made, deeper, 1, 0), MIRL_SUCCESS);
        ASSERT_EQ(made.setDataBits(bits), MIRL_SUCCESS);
        ASSERT_EQ(made.convertTo(made, depth, 1, 0), MIRL_SUCCESS);
        ASSERT_EQ(made.dataBits(), bits);
        shallower.push_back(std::move(made));
      }
      MirlImage expected = outputOf(op, plain), out = outputOf(op, plain);
      const MirlStatus status = op.run(plain, expected, MirlStream());
      const bool refuses = std::strcmp(op.name, "bitConversion") == 0 && status == MIRL_SUCCESS;
      EXPECT_EQ(op.run(shallower, out, MirlStream()), refuses ? MIRL_INVALID_ARGUMENT : status);
      if (status != MIRL_SUCCESS || refuses) continue;
      EXPECT_TRUE(bytesOf(out) == bytesOf(expected));
    }
  }
}

}  // namespace
}  // namespace mirl::test
