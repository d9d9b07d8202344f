#pragma once

#include <mirl/export.h>
#include <mirl/status.h>
#include <mirl/types.h>

/// A block of 32-bit counts in device, host or page-locked memory, filled by
/// `mirl::imageStatistics::calcHist`.
///
/// A histogram is empty or live, and owns its bins. The channels lie one after another: bin v of
/// channel c stands at index `c * 256 + v` of an 8-bit histogram. Bins in device memory belong to
/// the device on which they were made; a reset of that device kills them, and the histogram is then
/// refused by operations and keeps its fields.
class MIRL_API MirlHistogram {
 public:
  /// An empty histogram.
  MirlHistogram() = default;
  /// Each of these makes an empty histogram and calls `create` with the same arguments. A failure
  /// leaves it empty, which `isInitialized` tells.
  MirlHistogram(int binCount, MirlPointerType location);
  MirlHistogram(MirlType type, MirlPointerType location);
  /// Bins of its own with the other's counts, of the same type, at the same location and on the
  /// same device. Waits for the copy. Empty if the other is empty or dead, or memory runs out.
  MirlHistogram(const MirlHistogram& other);
  /// Takes the bins over; the other histogram is empty afterwards.
  MirlHistogram(MirlHistogram&& other) noexcept;
  ~MirlHistogram();

  /// Becomes what the copy constructor makes of the other, or an empty histogram if that is empty.
  /// Stays as it is if the copy can't be made or its own bins can't be given back.
  MirlHistogram& operator=(const MirlHistogram& other);
  /// Gives its own bins back and takes the other's over. Stays as it is, as does the other, if its
  /// own bins can't be given back.
  MirlHistogram& operator=(MirlHistogram&& other) noexcept;

  /// Allocates `binCount` bins of 0, in device memory on the current device; `type` becomes -2.
  ///
  /// In this order: `MIRL_INVALID_ARGUMENT` for a count below 1, a live histogram or an unknown
  /// location; without memory `MIRL_DEVICE_ALLOC_FAILED` on a device, `MIRL_HOST_REGISTER_FAILED`
  /// for page-locked and `MIRL_OPERATION_FAILED` for ordinary host memory; `MIRL_MEMSET_FAILED` if
  /// device memory can't be cleared. A failure leaves the histogram empty.
  MirlStatus create(int binCount, MirlPointerType location);
  /// Allocates the bins of an image type: 256 a channel for `MIRL_8U_C1` and `MIRL_8U_C3`, 65536
  /// for `MIRL_16U_C1` and `MIRL_16U_C3`. A live histogram is left as it is, whatever the
  /// arguments, and `MIRL_SUCCESS` returned.
  ///
  /// `MIRL_TYPE_NOT_SUPPORTED` for any other type, then as above.
  MirlStatus create(MirlType type, MirlPointerType location);

  /// Frees the bins; the histogram is empty afterwards. `MIRL_SUCCESS` on an empty one. The
  /// histogram stays as it was with `MIRL_DEVICE_FREE_FAILED` if the device refuses or was reset,
  /// and with `MIRL_HOST_UNREGISTER_FAILED` if memory can't be unlocked.
  MirlStatus release();

  /// The bins, in the memory that `location` names; null when empty.
  unsigned int* hist() { return bins_; }
  const unsigned int* hist() const { return bins_; }
  int binCount() const { return binCount_; }
  /// The image type that it was made for, -2 if it was made by a count, -1 when empty.
  MirlType type() const { return type_; }
  /// Where the bins live, -1 when empty.
  MirlPointerType location() const { return location_; }
  bool isInitialized() const { return initialized_; }

 private:
  friend struct HistogramAccess;

  void steal(MirlHistogram& other) noexcept;

  bool initialized_ = false;
  unsigned int* bins_ = nullptr;
  int binCount_ = 0;
  MirlType type_ = static_cast<MirlType>(-1);
  MirlPointerType location_ = static_cast<MirlPointerType>(-1);
  int device_ = -1;  // of bins in device memory
  unsigned deviceEpoch_ = 0;
};
