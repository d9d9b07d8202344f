#include "runtime/host/host_device.h"

#include "runtime/host/threads.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <new>
#include <unordered_set>

namespace mirl::runtime {
namespace {

constexpr std::size_t kRowAlignment = 64;  // a cache line, and the widest vector
constexpr std::size_t kHugePage = std::size_t{2} << 20;

std::size_t roundUp(std::size_t value, std::size_t step) {
  return (value + step - 1) / step * step;
}

/// More than the machine's memory is refused as a GPU would refuse it, rather than promised by the
/// system and killed for later.
void* allocateAligned(std::size_t bytes) {
  static const std::size_t limit = physicalMemory();
  if (bytes == 0 || bytes > limit) return nullptr;
  // Big buffers in huge pages: the first write to a fresh image takes a fault for each page, which
  // with small pages costs more than most operations.
  const std::size_t alignment = bytes >= kHugePage ? kHugePage : kRowAlignment;
  const std::size_t rounded = roundUp(bytes, alignment);
  void* data = std::aligned_alloc(alignment, rounded);
  if (data != nullptr && alignment == kHugePage) madvise(data, rounded, MADV_HUGEPAGE);
  return data;
}

template <class RowJob>
void forRows(std::size_t rows, std::size_t rowBytes, const RowJob& job) {
  shareOut(sharesOf(static_cast<int>(rows), rowBytes), [&](int begin, int end, int) {
    for (int row = begin; row < end; ++row) job(static_cast<std::size_t>(row));
  });
}

/// One block is cut into pieces, so that it too can be shared out.
constexpr std::size_t kPiece = 64 * 1024;

class HostDevice final : public Device {
 public:
  explicit HostDevice(int id) : Device(id) {}

  bool isHost() const override { return true; }

  bool describe(DeviceInfo& info) override {
    info = {};
    info.name = "Host processor";
    info.multiProcessors = multiProcessors();
    info.globalMemory = physicalMemory();
    info.rowAlignment = kRowAlignment;
    std::ifstream cpus("/proc/cpuinfo");
    for (std::string line; std::getline(cpus, line) && !line.empty();) {
      const std::size_t colon = line.find(": ");
      if (colon == std::string::npos) continue;
      if (line.starts_with("model name")) info.name = line.substr(colon + 2);
      if (line.starts_with("cpu MHz")) {
        info.clockKHz = static_cast<int>(std::strtod(line.c_str() + colon + 2, nullptr) * 1000.0);
      }
    }
    return true;
  }

  int multiProcessors() override { return hostThreads(); }

  bool streamFinished(void*) override { return true; }
  bool wait(void*) override { return true; }
  bool waitForAll() override { return true; }
  bool lockHost(void* data, std::size_t) override { return data != nullptr; }
  bool unlockHost(void* data) override { return data != nullptr; }

 protected:
  bool doAllocatePitched(std::size_t rowBytes, std::size_t rows, void*& data,
                         std::size_t& pitch) override {
    const std::size_t padded = roundUp(rowBytes, kRowAlignment);
    if (rows != 0 && padded > SIZE_MAX / rows) return false;
    if (!doAllocate(padded * rows, data)) return false;
    pitch = padded;
    return true;
  }

  bool doAllocate(std::size_t bytes, void*& data) override {
    void* made = allocateAligned(bytes);
    if (made == nullptr || !remember(blocks_, made)) {
      std::free(made);
      return false;
    }
    data = made;
    return true;
  }

  bool doFree(void* data) override {
    {
      const std::lock_guard lock(mutex_);
      if (blocks_.erase(data) == 0) return false;
    }
    std::free(data);
    return true;
  }

  bool doAllocateScratch(std::size_t bytes, void*, void*& data) override {
    data = allocateAligned(bytes);
    return data != nullptr;
  }

  bool doFreeScratch(void* data, void*) override {
    std::free(data);
    return true;
  }

  bool doCopy(const Copy& job) override {
    if (job.rowBytes == 0 || job.rows == 0) return true;
    auto* dst = static_cast<char*>(job.dst);
    const auto* src = static_cast<const char*>(job.src);
    if (job.rows > 1 && job.dstPitch == job.rowBytes && job.srcPitch == job.rowBytes) {
      const std::size_t bytes = job.rows * job.rowBytes;
      return doCopy({job.dst, bytes, job.src, bytes, bytes, 1, job.direction});
    }
    if (job.rows == 1) {
      forRows((job.rowBytes + kPiece - 1) / kPiece, 2 * kPiece, [&](std::size_t piece) {
        const std::size_t at = piece * kPiece;
        const std::size_t left = job.rowBytes - at;
        std::memcpy(dst + at, src + at, left < kPiece ? left : kPiece);
      });
      return true;
    }
    forRows(job.rows, 2 * job.rowBytes, [&](std::size_t row) {
      std::memcpy(dst + row * job.dstPitch, src + row * job.srcPitch, job.rowBytes);
    });
    return true;
  }

  bool doCopyAsync(const Copy& job, void*) override { return doCopy(job); }

  bool doFill(const Fill& job) override {
    auto* dst = static_cast<char*>(job.dst);
    forRows(job.rows, job.rowBytes,
            [&](std::size_t row) { std::memset(dst + row * job.pitch, job.value, job.rowBytes); });
    return true;
  }

  bool doFillAsync(const Fill& job, void*) override { return doFill(job); }

  bool doCreateStream(void*& stream) override {
    void* made = ::operator new(1, std::nothrow);
    if (made == nullptr || !remember(streams_, made)) {
      ::operator delete(made);
      return false;
    }
    stream = made;
    return true;
  }

  bool doDestroyStream(void* stream) override {
    {
      const std::lock_guard lock(mutex_);
      if (streams_.erase(stream) == 0) return false;
    }
    ::operator delete(stream);
    return true;
  }

  void doReset() override {
    const std::lock_guard lock(mutex_);
    for (void* block : blocks_) std::free(block);
    for (void* stream : streams_) ::operator delete(stream);
    blocks_.clear();
    streams_.clear();
  }

 private:
  bool remember(std::unordered_set<void*>& set, void* made) {
    const std::lock_guard lock(mutex_);
    try {
      return set.insert(made).second;
    } catch (const std::bad_alloc&) {
      return false;
    }
  }

  std::mutex mutex_;
  std::unordered_set<void*> blocks_;
  std::unordered_set<void*> streams_;
};

}  // namespace

std::size_t physicalMemory() {
  return static_cast<std::size_t>(sysconf(_SC_PHYS_PAGES)) *
         static_cast<std::size_t>(sysconf(_SC_PAGE_SIZE));
}

std::unique_ptr<Device> makeHostDevice(int id) {
  return std::make_unique<HostDevice>(id);
}

}  // namespace mirl::runtime
