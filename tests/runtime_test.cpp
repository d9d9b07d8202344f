// The device runtime underneath: memory, copies, fills, streams, scratch, host registration, and
// its fault injection.

#include "runtime/runtime.h"

#include "runtime/pinned_pool.h"
#include "runtime/scratch.h"
#include "support.h"

#include <functional>

namespace mirl::test {
namespace {

using runtime::Copy;
using runtime::Direction;
using runtime::Fill;

class Runtime : public DeviceTest {
 protected:
  runtime::Device& device() const { return *runtime::device(GetParam()); }

  /// Linear device memory of these bytes.
  void* put(const Bytes& bytes) const {
    void* data = nullptr;
    EXPECT_TRUE(device().allocate(bytes.size(), data));
    EXPECT_TRUE(
        device().copy({data, 0, bytes.data(), 0, bytes.size(), 1, Direction::hostToDevice}));
    return data;
  }
  Bytes take(const void* data, std::size_t size) const {
    Bytes bytes(size);
    EXPECT_TRUE(device().copy({bytes.data(), 0, data, 0, size, 1, Direction::deviceToHost}));
    return bytes;
  }
};

TEST_P(Runtime, DevicesAreNumbered) {
  EXPECT_EQ(device().id(), GetParam());
  EXPECT_EQ(runtime::device(-1), nullptr);
  EXPECT_EQ(runtime::device(runtime::deviceCount()), nullptr);
  EXPECT_EQ(&runtime::hostDevice(), runtime::device(runtime::deviceCount() - 1));
}

TEST_P(Runtime, AllocatesAligned) {
  runtime::DeviceInfo info;
  ASSERT_TRUE(device().describe(info));
  for (const std::size_t row : {1, 63, 64, 65, 4097}) {
    void* data = nullptr;
    std::size_t pitch = 0;
    ASSERT_TRUE(device().allocatePitched(row, 7, data, pitch));
    EXPECT_GE(pitch, row);
    EXPECT_EQ(pitch % info.rowAlignment, 0u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % info.rowAlignment, 0u);
    // Every byte of it can be written.
    EXPECT_TRUE(device().fill({data, pitch, 1, pitch, 7}));
    EXPECT_TRUE(device().free(data));
  }
}

TEST_P(Runtime, RefusesWhatCantBeHad) {
  const runtime::Live before = runtime::live();
  void* data = this;
  std::size_t pitch = 0;
  for (const std::size_t bytes :
       {SIZE_MAX, SIZE_MAX / 2, SIZE_MAX - 4096, std::size_t{1} << 50, std::size_t{0}}) {
    EXPECT_FALSE(device().allocate(bytes, data));
    EXPECT_FALSE(device().allocatePitched(bytes, 1, data, pitch));
    EXPECT_FALSE(device().allocatePitched(1, bytes, data, pitch));
    EXPECT_FALSE(device().allocatePitched(bytes, 1000, data, pitch));
    EXPECT_FALSE(runtime::Scratch({&device(), nullptr}, bytes).ok());
  }
  EXPECT_EQ(runtime::live(), before);

  int notOfTheDevice = 0;
  EXPECT_FALSE(device().free(&notOfTheDevice));
  EXPECT_FALSE(device().free(nullptr));
  ASSERT_TRUE(device().allocate(64, data));
  EXPECT_TRUE(device().free(data));
  EXPECT_FALSE(device().free(data)) << "a second time";
  EXPECT_EQ(runtime::live(), before);
}

TEST_P(Runtime, CopiesAndFillsRows) {
  struct Row {
    std::size_t rowBytes, rows, srcPitch, dstPitch;
  };
  std::vector<Row> cases = {{1, 1, 1, 1}, {1, 5, 3, 2},  {7, 3, 7, 9},    {0, 4, 8, 8},
                            {8, 0, 8, 8}, {1, 2, 99, 1}, {64, 2, 64, 100}};
  cases.insert(cases.end(), {{3001, 251, 3005, 3001}, {300000, 3, 300001, 300000}});
  // Either side of the pieces that a block is cut into, and of what one thread does.
  for (const std::size_t size : {65535, 65536, 65537, 262144, 262145, 1234567})
    cases.push_back({size, 1, size, size});
  for (const Row& c : cases) {
    const Bytes source = randomBytes(c.srcPitch * (c.rows + 1), 1);
    const Bytes target = randomBytes(c.dstPitch * (c.rows + 1), 2);
    void* src = put(source);
    for (const bool fill : {false, true}) {
      for (const bool queued : {false, true}) {
        void* dst = put(target);
        const Copy copy{
            dst, c.dstPitch, src, c.srcPitch, c.rowBytes, c.rows, Direction::deviceToDevice};
        const Fill job{dst, c.dstPitch, 0xA7, c.rowBytes, c.rows};
        if (queued) {
          EXPECT_TRUE(fill ? device().fillAsync(job, nullptr) : device().copyAsync(copy, nullptr));
          EXPECT_TRUE(device().synchronize(nullptr));
        } else {
          EXPECT_TRUE(fill ? device().fill(job) : device().copy(copy));
        }
        Bytes expected = target;
        const int row = static_cast<int>(c.rowBytes);
        moveBytes(expected, static_cast<int>(c.dstPitch), 0, 0,
                  fill ? Bytes(source.size(), 0xA7) : source, static_cast<int>(c.srcPitch), 0, 0,
                  row, static_cast<int>(c.rows));
        EXPECT_EQ(take(dst, target.size()), expected)
            << c.rowBytes << "x" << c.rows << (fill ? " fill" : " copy");
        EXPECT_TRUE(device().free(dst));
      }
    }
    EXPECT_TRUE(device().free(src));
  }
}

// Scratch goes out of scope while the work on it is only queued.
TEST_P(Runtime, ScratchLastsAsLongAsItsStreamNeeds) {
  void* stream = nullptr;
  ASSERT_TRUE(device().createStream(stream));
  const long before = runtime::live().scratchBlocks;
  constexpr std::size_t kSize = 300000;
  std::vector<Bytes> back(8, Bytes(kSize));
  for (std::size_t i = 0; i < back.size(); ++i) {
    runtime::Scratch made({&device(), stream}, kSize);
    runtime::Scratch scratch(std::move(made));
    EXPECT_FALSE(made.ok());  // NOLINT(bugprone-use-after-move)
    ASSERT_TRUE(scratch.ok());
    EXPECT_EQ(runtime::live().scratchBlocks, before + 1);
    EXPECT_EQ(scratch.as<float>(), scratch.data());
    const auto value = static_cast<unsigned char>(i + 1);
    EXPECT_TRUE(device().fillAsync({scratch.data(), kSize, value, kSize, 1}, stream));
    EXPECT_TRUE(device().copyAsync(
        {back[i].data(), 0, scratch.data(), 0, kSize, 1, Direction::deviceToHost}, stream));
  }
  EXPECT_EQ(runtime::live().scratchBlocks, before);
  EXPECT_TRUE(device().synchronize(stream));
  for (std::size_t i = 0; i < back.size(); ++i) {
    EXPECT_EQ(back[i], Bytes(kSize, static_cast<unsigned char>(i + 1)));
  }
  EXPECT_TRUE(device().destroyStream(stream));
}

TEST_P(Runtime, FailsTheNthCallOnly) {
  using runtime::Call;
  Bytes host(64, 5);
  void* block = put(host);
  void* stream = nullptr;
  ASSERT_TRUE(device().createStream(stream));
  const Copy copy{host.data(), 64, block, 64, 64, 1, Direction::deviceToHost};
  const Fill fill{block, 64, 1, 64, 1};
  void* made = nullptr;
  std::size_t pitch = 0;
  // Each makes one call of its kind, and gives back what it made.
  const std::pair<Call, std::function<bool(runtime::Device&)>> calls[] = {
      {Call::allocate, [&](auto& d) { return d.allocate(64, made) && d.free(made); }},
      {Call::allocate,
       [&](auto& d) { return d.allocatePitched(64, 2, made, pitch) && d.free(made); }},
      {Call::allocate,
       [&](auto& d) {
         return runtime::Scratch({&d, stream}, 64).ok();
       }},
      {Call::copy, [&](auto& d) { return d.copy(copy); }},
      {Call::copy, [&](auto& d) { return d.copyAsync(copy, stream); }},
      {Call::fill, [&](auto& d) { return d.fill(fill); }},
      {Call::fill, [&](auto& d) { return d.fillAsync(fill, stream); }}};
  for (std::size_t i = 0; i < std::size(calls); ++i) {
    const auto& [kind, call] = calls[i];
    const runtime::Live before = runtime::live();
    for (int n = 1; n <= 4; ++n) {
      const FailNth fail(kind, n);
      for (int turn = 1; turn <= 6; ++turn) {
        EXPECT_EQ(call(device()), turn != n) << "call " << i << ", turn " << turn;
        EXPECT_EQ(runtime::live(), before);
      }
    }
    runtime::failNth(kind, 1);
    runtime::failNth(kind, 0);
    EXPECT_TRUE(call(device()));
  }
  EXPECT_TRUE(device().synchronize(stream));
  EXPECT_TRUE(device().destroyStream(stream));
  EXPECT_TRUE(device().free(block));
}

// Giving back that fails leaves the thing as it was: it can be used, and given back again.
TEST_P(Runtime, FailedReleasesLeaveThingsAsTheyWere) {
  using runtime::Call;
  const Bytes content = randomBytes(64, 1);
  Bytes memory(64);
  void *block = put(content), *stream = nullptr, *none = nullptr;
  ASSERT_TRUE(device().createStream(stream));
  ASSERT_TRUE(device().registerHost(memory.data(), 64));
  EXPECT_FALSE(device().registerHost(nullptr, 64));
  EXPECT_FALSE(device().unregisterHost(nullptr));
  void* pinned = runtime::allocatePinned(64);
  ASSERT_NE(pinned, nullptr);
  const runtime::Live before = runtime::live();
  const std::pair<Call, std::function<bool()>> calls[] = {
      {Call::free, [&] { return device().free(block); }},
      {Call::stream, [&] { return device().destroyStream(stream); }},
      {Call::stream, [&] { return device().createStream(none); }},
      {Call::pinned, [&] { return runtime::freePinned(pinned, 64); }},
      {Call::pinned, [&] { return runtime::allocatePinned(64) != nullptr; }},
      {Call::pinned, [&] { return device().unregisterHost(memory.data()); }},
      {Call::pinned, [&] { return device().registerHost(memory.data(), 64); }}};
  for (const auto& [kind, call] : calls) {
    const FailNth fail(kind);
    EXPECT_FALSE(call());
    EXPECT_EQ(runtime::live(), before);
  }
  EXPECT_EQ(take(block, 64), content);
  std::fill(memory.begin(), memory.end(), static_cast<unsigned char>(7));
  EXPECT_TRUE(
      device().copyAsync({block, 0, memory.data(), 0, 64, 1, Direction::hostToDevice}, stream));
  EXPECT_TRUE(device().synchronize(stream));
  EXPECT_EQ(take(block, 64), memory);
  EXPECT_TRUE(device().free(block));
  EXPECT_TRUE(device().destroyStream(stream));
  EXPECT_TRUE(runtime::freePinned(pinned, 64));
  EXPECT_TRUE(device().unregisterHost(memory.data()));
  EXPECT_EQ(runtime::live().registrations, before.registrations - 1);
}

MIRL_TEST_ON_ALL_DEVICES(Runtime);

}  // namespace
}  // namespace mirl::test
