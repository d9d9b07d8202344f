// The simulated GPU itself: each kind of fault is seeded once and must be found, and what the rules
// leave open happens as late as they allow. Only builds with it have this.

#include "engine/cuda/launch.h"
#include "engine/cuda/shared.h"
#include "fixture.h"
#include "runtime/simulated/machine.h"
#include "runtime/simulated/modes.h"
#include "runtime/simulated/watched.h"

namespace mirl::test {
namespace {

using engine::cuda::Shape;

/// Calls `body` in each thread, which gets its number in the block.
template <class Body>
void kernelOf(const Body body) {
  body(threadIdx.y * blockDim.x + threadIdx.x);
}

template <class Body>
void run(const Body& body, const Shape& shape = {1, 64}, void* stream = nullptr) {
  engine::cuda::launch({runtime::device(0), stream}, shape, kernelOf<Body>, body);
}

template <class Body>
void runAndWait(const Body& body, const Shape& shape = {1, 64}) {
  run(body, shape);
  cudaDeviceSynchronize();
}

/// Memory of the first GPU.
class Memory {
 public:
  explicit Memory(std::size_t bytes) { cudaMalloc(&data_, bytes); }
  ~Memory() { cudaFree(data_); }
  unsigned char* bytes() const { return static_cast<unsigned char*>(data_); }
  template <class T>
  T* as() const {
    return static_cast<T*>(data_);
  }

 private:
  void* data_ = nullptr;
};

class SimulatedGpu : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(device::setCurrentDevice(0), MIRL_SUCCESS); }
};
using SimulatedGpuDeathTest = SimulatedGpu;

TEST_F(SimulatedGpuDeathTest, FindsFaultsOfSharedMemory) {
  EXPECT_DEATH(runAndWait([](unsigned t) {
                 MIRL_SHARED(int, numbers, 65);
                 numbers[t] = 1;
                 __syncthreads();
                 [[maybe_unused]] const int read = numbers[t + 1];
               }),
               "read of shared memory that no thread of the block wrote, byte 256; thread \\(63");
  EXPECT_DEATH(runAndWait([](unsigned t) {
                 MIRL_SHARED(int, numbers, 64);
                 numbers[t] = 1;
                 [[maybe_unused]] const int read = numbers[t ^ 1];
               }),
               "without a barrier|no thread of the block wrote");
  EXPECT_DEATH(runAndWait([](unsigned t) {
                 MIRL_SHARED(unsigned char, bytes, 64);
                 bytes.as<unsigned short>()[t / 2] = 1;
               }),
               "threads touch byte [0-9]+ of shared memory without a barrier");
  EXPECT_DEATH(runAndWait([](unsigned t) {
                 MIRL_SHARED(unsigned, sum, 1);
                 if (t == 0) sum[0] = 0;
                 __syncthreads();
                 sum.add(0, 1);
                 [[maybe_unused]] const unsigned early = sum[0];
               }),
               "without a barrier");
  EXPECT_DEATH(runAndWait([](unsigned t) {
                 MIRL_SHARED(int, numbers, 64);
                 numbers[t + 1] = 1;
               }),
               "outside shared memory, at byte 256 of 256");
  EXPECT_DEATH(runAndWait([](unsigned) { MIRL_SHARED(char, large, 49153); }),
               "shared memory takes 49153 bytes");
  EXPECT_DEATH(runAndWait([](unsigned) {}, {1, 64, 50000}), "shared memory takes 50000 bytes");
  const auto parts = [](unsigned t) {
    if (t == 0) {
      __syncthreads();
    } else {
      __syncthreads();
    }
  };
  EXPECT_DEATH(runAndWait(parts), "threads wait at different barriers");
}

TEST_F(SimulatedGpuDeathTest, FindsFaultsOfLaunches) {
  const auto nothing = [](unsigned) {};
  EXPECT_DEATH(runAndWait(nothing, {{1, 65536}, 64}), "grid of \\(1, 65536, 1\\) blocks");
  EXPECT_DEATH(runAndWait(nothing, {0, 64}), "grid of \\(0, 1, 1\\) blocks");
  EXPECT_DEATH(runAndWait(nothing, {1, {32, 33}}), "block of \\(32, 33, 1\\) threads");
  struct {
    char bytes[32768];
  } large{};
  EXPECT_DEATH(runAndWait([large](unsigned) { (void)large; }), "parameters take 32768 bytes");

  cudaStream_t stream = nullptr;
  ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
  const auto queuedElsewhere = [&] {
    cudaSetDevice(1);
    cudaMemset2DAsync(nullptr, 1, 0, 1, 1, stream);
    cudaStreamSynchronize(stream);
  };
  EXPECT_DEATH(queuedElsewhere(), "stream of device 0 while device 1 is current");
  ASSERT_EQ(cudaStreamDestroy(stream), cudaSuccess);
  EXPECT_DEATH(run(nothing, {1, 64}, stream), "stream that was destroyed");
}

// The sanitizers say where.
TEST_F(SimulatedGpuDeathTest, FindsFaultsOfMemory) {
  const Memory memory(1001);
  unsigned char* const bytes = memory.bytes();
  EXPECT_DEATH(runAndWait([bytes](unsigned t) { *reinterpret_cast<uint4*>(bytes + 8 * t) = {}; }),
               "misaligned address");
  if (!MIRL_WATCHED) return;
  EXPECT_DEATH(runAndWait([bytes](unsigned t) { bytes[938 + t] = 1; }), "AddressSanitizer");
  EXPECT_DEATH(bytes[0] = 1, "use-after-poison") << "the host has no access";
  const auto freesEarly = [] {
    runtime::Device& gpu = *runtime::device(0);
    void* data = nullptr;
    gpu.allocateScratch(64, nullptr, data);
    auto* const scratch = static_cast<unsigned char*>(data);
    gpu.freeScratch(data, nullptr);
    runAndWait([scratch](unsigned t) { scratch[t] = 1; });
  };
  EXPECT_DEATH(freesEarly(), "AddressSanitizer");
}

TEST_F(SimulatedGpu, BarriersCountThreadsThatHaveEnded) {
  const Memory memory(64 * sizeof(int));
  int* const sums = memory.as<int>();
  runAndWait([sums](unsigned t) {
    MIRL_SHARED(int, numbers, 64);
    sums[t] = -1;
    numbers[t] = static_cast<int>(t);
    __syncthreads();
    for (unsigned half = 32; half > 0; half /= 2) {
      if (t >= half) return;
      numbers[t] = numbers[t] + numbers[t + half];
      __syncthreads();
    }
    sums[0] = numbers[0];
  });
  int sum[2] = {};
  cudaMemcpy(sum, sums, sizeof sum, cudaMemcpyDeviceToHost);
  EXPECT_EQ(sum[0], 63 * 64 / 2);
  EXPECT_EQ(sum[1], -1);
}

// Threads and blocks run in the order of the mode, which the tests are run in one after another.
TEST_F(SimulatedGpu, RunsInTheOrderOfTheMode) {
  constexpr unsigned kCount = 16;
  const Memory memory(sizeof(unsigned) * (1 + kCount));
  unsigned* const log = memory.as<unsigned>();
  cudaMemset2DAsync(log, 4, 0, 4, 1, nullptr);
  runAndWait([log](unsigned t) { log[1 + atomicAdd(log, 1u)] = blockIdx.x * 8 + t; }, {2, 8});
  std::vector<unsigned> order(1 + kCount), sorted(kCount);
  cudaMemcpy(order.data(), log, sizeof(unsigned) * order.size(), cudaMemcpyDeviceToHost);
  order.erase(order.begin());
  for (unsigned i = 0; i < kCount; ++i) sorted[i] = i;
  const std::vector<unsigned> backward(sorted.rbegin(), sorted.rend());
  using Order = simulated::Modes::Order;
  const Order mode = simulated::modes().order;
  EXPECT_EQ(order == sorted, mode == Order::forward);
  EXPECT_EQ(order == backward, mode == Order::backward);
  EXPECT_TRUE(std::is_permutation(order.begin(), order.end(), sorted.begin()));
}

// What the host sees of work on streams: as little as may be.
TEST_F(SimulatedGpu, RunsStreamsAsLateAsTheRulesAllow) {
  if (simulated::modes().eager) return;  // which is the other extreme
  const Memory memory(4);
  unsigned char* const byte = memory.bytes();
  cudaStream_t first = nullptr, second = nullptr;
  cudaStreamCreate(&first);
  cudaStreamCreate(&second);
  const auto put = [&](unsigned char value, cudaStream_t stream) {
    run([byte, value](unsigned) { *byte = value; }, {1, 1}, stream);
  };
  std::vector<unsigned char> locked(4096, 0);
  ASSERT_EQ(cudaHostRegister(locked.data(), locked.size(), 0), cudaSuccess);
  const auto fetch = [&](unsigned char* to, cudaStream_t stream) {
    cudaMemcpyAsync(to, byte, 1, cudaMemcpyDeviceToHost, stream);
  };

  put(1, first);
  fetch(locked.data(), first);
  EXPECT_EQ(cudaStreamSynchronize(second), cudaSuccess);
  EXPECT_EQ(locked[0], 0) << "nobody waited for that stream";
  EXPECT_EQ(cudaStreamQuery(first), cudaErrorNotReady);
  EXPECT_EQ(cudaStreamSynchronize(first), cudaSuccess);
  EXPECT_EQ(locked[0], 1);
  EXPECT_EQ(cudaStreamQuery(first), cudaSuccess);

  put(2, first);
  put(3, nullptr);  // behind the one before, and before the next one
  put(4, second);
  fetch(&locked[1], second);
  cudaStreamSynchronize(second);
  EXPECT_EQ(locked[1], 4);

  unsigned char pageable = 5;
  cudaMemcpyAsync(byte, &pageable, 1, cudaMemcpyHostToDevice, first);
  pageable = 6;  // has been read
  fetch(&pageable, first);
  EXPECT_EQ(pageable, 5) << "has been written";
  locked[2] = 7;
  cudaMemcpyAsync(byte, &locked[2], 1, cudaMemcpyHostToDevice, first);
  locked[2] = 8;  // is read when the stream comes to it
  fetch(&pageable, first);
  EXPECT_EQ(pageable, 8);

  put(9, first);
  fetch(&locked[3], first);
  void* another = nullptr;
  cudaMalloc(&another, 1);
  EXPECT_NE(locked[3], 9);
  cudaFree(another);
  EXPECT_EQ(locked[3], 9) << "a free waits for the device";
  cudaHostUnregister(locked.data());
  cudaStreamDestroy(first);
  cudaStreamDestroy(second);
}

// A GPU that a program doesn't use isn't woken up. In a process of its own, which has used none.
TEST_F(SimulatedGpuDeathTest, OnlyTheUsedGpuIsSetUp) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto useTheSecond = [] {
    const simulated::Machine& machine = simulated::machine();
    const MirlScalar early(1.0);
    if (machine.used[0] || machine.used[1]) std::exit(1);
    device::setCurrentDevice(1);
    const MirlImage image(5, 5, MIRL_8U_C1);
    MirlScalar mean;
    const MirlStatus status = imageStatistics::mean(image, mean, MirlStream(true));
    std::exit(status == MIRL_SUCCESS && machine.used[1] && !machine.used[0] ? 0 : 2);
  };
  EXPECT_EXIT(useTheSecond(), testing::ExitedWithCode(0), "");
}

// The default stream is in order with all others, so that results alone don't tell.
TEST_F(SimulatedGpu, OperationsRunOnTheirStream) {
  if (simulated::modes().eager) return;
  const MirlImage image(64, 3, MIRL_8U_C1);
  MirlImage sum(64, 3, MIRL_8U_C1);
  const MirlStream stream(true);
  cudaDeviceSynchronize();
  EXPECT_EQ(arithmeticLogical::add(image, image, sum, stream), MIRL_SUCCESS);
  EXPECT_EQ(cudaStreamQuery(nullptr), cudaSuccess);
  EXPECT_FALSE(stream.finished());
}

// The runtime's last error belongs to the program: it is told where that is promised, and stays.
TEST_F(SimulatedGpu, ErrorsOfTheProgramStay) {
  const auto failsInside = [] { EXPECT_FALSE(MirlImage(1 << 20, 1 << 20, MIRL_8U_C1).ptr()); };
  const MirlImage image(64, 3, MIRL_8U_C1);
  MirlImage corrected(image);
  cudaGetLastError();  // of the tests before
  failsInside();
  EXPECT_EQ(cudaPeekAtLastError(), cudaSuccess) << "ours is a status, and no error of the program";
  testing::internal::CaptureStdout();
  cudaSetDevice(99);
  EXPECT_EQ(colorOperations::fpn(corrected, image, image), MIRL_SUCCESS);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "FPN before 101 invalid argument\nFPN kernel 101 invalid argument\n");
  failsInside();
  EXPECT_NE(cudaGetLastError(), cudaSuccess);
}

// What device code computes is what a GPU does.
TEST_F(SimulatedGpu, DeviceFunctions) {
  EXPECT_EQ(__fadd_rz(8388608.0f, 1.75f), 8388609.0f);
  EXPECT_EQ(__fadd_rz(8388608.0f, -0x1p-60f), 8388607.5f) << "what a double has no room for";
  EXPECT_EQ(__fadd_rz(-8388608.0f, -0x1p-60f), -8388608.0f);
  for (float factor = 1.1f; factor < 2.0f; factor += 0.01f) {
    const double exact = double{factor} * double{1.1f};
    EXPECT_LE(double{__fmul_rz(factor, 1.1f)}, exact);
    EXPECT_GT(double{std::nextafter(__fmul_rz(factor, 1.1f), 9.0f)}, exact);
  }
  EXPECT_EQ(__fmul_rz(3e38f, 3e38f), std::numeric_limits<float>::max());
  EXPECT_EQ(__float2int_rd(-1.5f), -2);
  EXPECT_EQ(__float2int_rd(NAN), 0);
  EXPECT_EQ(__float2int_rd(-INFINITY), INT32_MIN);
  EXPECT_EQ(__umul64hi(0xFFFFFFFFFFFFFFFFu, 0x8000000000000001u), 0x8000000000000000u);
  EXPECT_EQ(__funnelshift_r(0x44332211u, 0x88776655u, 8), 0x55443322u);
  EXPECT_EQ(__vcmpgeu4(0x01FF8000u, 0x01018180u), 0xFFFF0000u);
  EXPECT_EQ(__vcmpleu4(0x01FF8000u, 0x01018180u), 0xFF00FFFFu);
  EXPECT_EQ(__vminu4(0x01FF8000u, 0x02017F10u), 0x01017F00u);
  EXPECT_EQ(__vmaxu4(0x01FF8000u, 0x02017F10u), 0x02FF8010u);
  EXPECT_EQ(__dp4a(0xFF010203u, 0xFF040506u, 7u), 255u * 255 + 4 + 10 + 18 + 7);
}

}  // namespace
}  // namespace mirl::test
