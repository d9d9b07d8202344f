#pragma once

// The device runtime: the one interface through which the library reaches memory, copies, fills,
// streams and host registration, on GPUs and on the host alike. Results are true on success.

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

namespace mirl::runtime {

/// Which way a copy goes, as seen from the device that carries it out.
enum class Direction { hostToDevice, deviceToHost, deviceToDevice };

/// `rows` rows of `rowBytes`, `pitch` bytes apart on either side.
struct Copy {
  void* dst;
  std::size_t dstPitch;
  const void* src;
  std::size_t srcPitch;
  std::size_t rowBytes;
  std::size_t rows;
  Direction direction;
};

/// One byte value over `rows` rows of `rowBytes`.
struct Fill {
  void* dst;
  std::size_t pitch;
  unsigned char value;
  std::size_t rowBytes;
  std::size_t rows;
};

struct DeviceInfo {
  std::string name;
  int multiProcessors = 0;
  int major = 0;
  int minor = 0;
  int copyEngines = 0;
  std::size_t globalMemory = 0;
  std::size_t constantMemory = 0;
  std::size_t rowAlignment = 0;
  int clockKHz = 0;
};

/// By the numbers and texts of the GPU runtime; 0 is none.
struct HeldError {
  int number = 0;
  const char* text = "";
};

/// A device. The public calls count what is live and inject the faults of runtime/fault.h; the
/// `do...` calls underneath are the two implementations. A stream is the native handle, null for
/// the device's default stream.
class Device {
 public:
  virtual ~Device() = default;
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  int id() const { return id_; }
  /// What the GPU runtime calls the device; -1 for the host.
  int nativeId() const { return nativeId_; }
  virtual bool isHost() const = 0;
  /// Goes up with every reset: what was made under another epoch is dead.
  unsigned epoch() const { return epoch_.load(std::memory_order_acquire); }
  virtual bool describe(DeviceInfo& info) = 0;
  /// The error that a GPU's runtime holds until somebody takes it, which this doesn't.
  virtual HeldError heldError() { return {}; }
  virtual int multiProcessors() = 0;

  /// Rows padded to the device's alignment; `pitch` is its choice. Asking for 0 bytes fails.
  bool allocatePitched(std::size_t rowBytes, std::size_t rows, void*& data, std::size_t& pitch);
  bool allocate(std::size_t bytes, void*& data);
  bool free(void* data);

  /// Scratch in stream order: it may be reused once the stream has passed its `freeScratch`.
  bool allocateScratch(std::size_t bytes, void* stream, void*& data);
  bool freeScratch(void* data, void* stream);

  /// `copy` and `fill` return when the work on the default stream is done, the others when it is
  /// queued.
  bool copy(const Copy& job);
  bool copyAsync(const Copy& job, void* stream);
  bool fill(const Fill& job);
  bool fillAsync(const Fill& job, void* stream);

  bool createStream(void*& stream);
  bool destroyStream(void* stream);
  virtual bool streamFinished(void* stream) = 0;

  virtual bool wait(void* stream) = 0;
  virtual bool waitForAll() = 0;
  /// The same, and false too if work was lost since the last time: work that could not be queued,
  /// of this thread or of any other that hasn't been told yet. So is a copy to the host.
  bool synchronize(void* stream);
  bool synchronizeAll();
  void rememberFailure();

  /// Frees everything on the device and starts a new epoch.
  void reset();

  /// Page-locks host memory of the caller's, so that copies from and to it run asynchronously.
  bool registerHost(void* data, std::size_t bytes);
  bool unregisterHost(void* data);
  virtual bool lockHost(void* data, std::size_t bytes) = 0;  ///< `registerHost` without the count
  virtual bool unlockHost(void* data) = 0;

 protected:
  explicit Device(int id, int nativeId = -1) : id_(id), nativeId_(nativeId) {}

  virtual bool doAllocatePitched(std::size_t rowBytes, std::size_t rows, void*& data,
                                 std::size_t& pitch) = 0;
  virtual bool doAllocate(std::size_t bytes, void*& data) = 0;
  virtual bool doFree(void* data) = 0;
  virtual bool doAllocateScratch(std::size_t bytes, void* stream, void*& data) = 0;
  virtual bool doFreeScratch(void* data, void* stream) = 0;
  virtual bool doCopy(const Copy& job) = 0;
  virtual bool doCopyAsync(const Copy& job, void* stream) = 0;
  virtual bool doFill(const Fill& job) = 0;
  virtual bool doFillAsync(const Fill& job, void* stream) = 0;
  virtual bool doCreateStream(void*& stream) = 0;
  virtual bool doDestroyStream(void* stream) = 0;
  virtual void doReset() = 0;

 private:
  bool takeFailure();

  int id_;
  int nativeId_;
  std::atomic<bool> failed_{false};
  std::atomic<unsigned> epoch_{1};
  std::atomic<long> blocks_{0};   // of this epoch, taken off the live count by a reset
  std::atomic<long> streams_{0};  // likewise
};

/// All devices: the GPUs in the runtime's order, then the host device. At least one.
int deviceCount();
Device* device(int id);  ///< null outside 0 to deviceCount() - 1
Device& hostDevice();

/// The calling thread's current device; -1 if the GPU runtime fails.
int currentDevice();
bool setCurrentDevice(int id);

/// A place in line on a device: what engines and copies take.
struct Queue {
  Device* device = nullptr;
  void* stream = nullptr;
  /// A kernel of the call was lost: those after it would read what it never wrote, and stay away.
  mutable bool lost = false;
};

/// A created stream, shared by all copies of a `MirlStream` and destroyed with the last of them.
struct StreamState {
  StreamState(Device& owner, void* native);
  ~StreamState();
  StreamState(const StreamState&) = delete;
  StreamState& operator=(const StreamState&) = delete;

  bool alive() const;
  /// Gives the native stream back; false if that failed or was done before.
  bool destroy();

  Device& device;
  void* const native;

 private:
  const unsigned epoch_;
  std::atomic<bool> alive_{true};
};

/// A new stream of a device, null if it can't be had.
std::shared_ptr<StreamState> createStream(Device& device);

}  // namespace mirl::runtime
