// What must hold around each call, whatever its arguments were.

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/histogram_access.h"
#include "held.h"

namespace mirl::fuzz {

using test::Bytes;

namespace {

/// What arguments alone can bring about.
constexpr std::uint64_t kOfArguments =
    statuses(MIRL_SUCCESS, MIRL_IMAGE_NOT_INITIALIZED, MIRL_NULL_POINTER, MIRL_INVALID_ARGUMENT,
             MIRL_MISMATCH, MIRL_CHANNELS_NOT_SUPPORTED, MIRL_DEPTH_NOT_SUPPORTED,
             MIRL_TYPE_NOT_SUPPORTED, MIRL_IN_PLACE_NOT_SUPPORTED);
/// What failures of the runtime may add.
constexpr std::uint64_t kOfFaults = statuses(
    MIRL_DEVICE_ALLOC_FAILED, MIRL_MEMSET_FAILED, MIRL_COPY_H2D_FAILED, MIRL_COPY_D2H_FAILED,
    MIRL_COPY_D2D_FAILED, MIRL_COPY_FAILED, MIRL_DEVICE_FREE_FAILED, MIRL_HOST_REGISTER_FAILED,
    MIRL_HOST_UNREGISTER_FAILED, MIRL_KERNEL_FAILED, MIRL_OPERATION_FAILED);

Bytes blockOf(const MirlImage& image) {
  Bytes block;
  if (!core::isLive(image) || tooMuch(image)) return block;
  block.resize(test::blockBytes(image));
  if (image.download(block.data()) != MIRL_SUCCESS) block.clear();
  return block;
}

Bytes binsOf(const MirlHistogram& h) {
  const std::size_t bytes = h.isInitialized() ? static_cast<std::size_t>(h.binCount()) * 4 : 0;
  Bytes bins(bytes);
  if (bytes == 0) return bins;
  if (h.location() != MIRL_POINTER_DEVICE) {
    std::memcpy(bins.data(), h.hist(), bytes);
  } else if (runtime::Device* const device = HistogramAccess::device(h)) {
    device->copy({bins.data(), bytes, h.hist(), bytes, bytes, 1, runtime::Direction::deviceToHost});
  }
  return bins;
}

Bytes coefficientsOf(const MirlFilter& filter) {
  const auto* const first = reinterpret_cast<const unsigned char*>(filter.coeffs());
  const auto count = static_cast<std::size_t>(filter.width()) * 4u;
  return first == nullptr ? Bytes{}
                          : Bytes(first, first + count * static_cast<std::size_t>(filter.height()));
}

Four fourOf(const MirlScalar& s) {
  return {{s[0], s[1], s[2], s[3]}};
}

}  // namespace

void Draw::broken(const std::string& what) {
  if (problem_.empty()) problem_ = what;
}

void Draw::arm() {
  for (HeldImage& held : images_) {
    held.fields = test::fieldsOf(held.image);
    held.block = blockOf(held.image);
  }
  for (HeldScalar& held : scalars_) held.before = fourOf(held.scalar);
  for (HeldHistogram& held : histograms_) {
    held.fields = fieldsOf(held.histogram);
    held.bins = binsOf(held.histogram);
  }
  for (HeldFilter& held : filters_) held.before = coefficientsOf(held.filter);
  if (pastCaches_) runtime::setCacheLimit(1);
  if (fault_ >= 0) runtime::failNth(static_cast<runtime::Call>(fault_), faultAt_);
}

void Draw::disarm(MirlStatus status) {
  if (fault_ >= 0) runtime::failNth(static_cast<runtime::Call>(fault_), 0);
  if (pastCaches_) runtime::setCacheLimit(0);
  status_ = status;
  if (device::getCurentDevice() != device_) broken("another device is current");
  for (int id = device::getDeviceCount() - 1; id >= 0; --id) {
    const bool lost = fault_ == static_cast<int>(runtime::Call::launch);
    if (!runtime::device(id)->synchronizeAll() && !lost) broken("work on a device failed");
  }

  const std::uint64_t may = kOfArguments | traits_.also | (fault_ >= 0 ? kOfFaults : 0);
  const bool known = status <= 0 && status > -64;
  if (!known || (may >> -status & 1) == 0) broken("returned " + std::to_string(status));
  const bool failed = status != MIRL_SUCCESS;
  const bool mayChange = !failed || (known && (traits_.changes >> -status & 1) != 0);

  add(static_cast<std::uint64_t>(status));
  for (std::size_t i = 0; i < images_.size(); ++i) {
    const bool changes = mayChange && images_[i].written;
    check(images_[i], i + 1, changes);
    const bool created = !std::get<0>(images_[i].fields);
    // What a failing call leaves in an image of its own making is anything.
    const bool madeAnew = created || (changes && failed);
    const bool rounded = traits_.rounds && images_[i].written;
    addImage(images_[i].image, !rounded && (!madeAnew || (!failed && !traits_.unset)));
  }
  for (const HeldScalar& held : scalars_) {
    const Four now = fourOf(held.scalar);
    if ((!held.written || failed) && !(now == held.before)) broken("a scalar changed");
    for (const double entry : now.entries) result(entry);
  }
  for (const HeldHistogram& held : histograms_) {
    const Bytes bins = binsOf(held.histogram);
    const bool same = fieldsOf(held.histogram) == held.fields &&
                      (bins == held.bins || (known && (traits_.changes >> -status & 1) != 0));
    if (failed && !same) broken("a histogram changed");
    add(bins, false);
  }
  for (const HeldFilter& held : filters_) {
    if (coefficientsOf(held.filter) != held.before) broken("a filter changed");
  }
  if (fault_ >= 0) comparable_ = false;
}

void Draw::check(const HeldImage& held, std::size_t number, bool mayChange) {
  const auto fields = test::fieldsOf(held.image);
  const std::string name = (held.written ? "out" : "in") + std::to_string(number);
  const bool wasLive = std::get<0>(held.fields);
  if (!mayChange) {
    // An empty output may have been created before a wrong argument was found, but isn't there
    // when that is what failed.
    const bool created = held.written && !wasLive && held.image.isInitialized() &&
                         (kOfArguments >> -status_ & 1) != 0;
    // An image that was released again keeps its last type.
    const bool same = wasLive ? fields == held.fields : !held.image.isInitialized();
    if (!same && !created) {
      broken(name + " has other fields");
    } else if (wasLive && blockOf(held.image) != held.block) {
      broken(name + " has other bytes");
    }
    return;
  }
  if (!wasLive || traits_.loose || held.block.empty()) return;
  if (std::get<10>(fields) != std::get<10>(held.fields)) return broken(name + " has moved");
  const Bytes now = blockOf(held.image);
  if (now.size() != held.block.size()) return broken(name + " has another size");
  const auto pitch = static_cast<std::size_t>(held.image.pitch());
  for (std::size_t row = 0; row < now.size(); row += pitch) {
    const auto behind = static_cast<std::ptrdiff_t>(row) + test::rowBytes(held.image);
    const auto end = static_cast<std::ptrdiff_t>(row + pitch);
    if (!std::equal(now.begin() + behind, now.begin() + end, held.block.begin() + behind)) {
      return broken(name + " was written behind row " + std::to_string(row / pitch));
    }
  }
}

void Draw::add(std::uint64_t value) {
  digest_ = (digest_ ^ value) * 0x9FB21C651E98DF25u;
  digest_ ^= digest_ >> 32;
}

/// Every NaN counts as the same: devices differ in its bits.
void Draw::add(const Bytes& bytes, bool floats) {
  add(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); i += 4) {
    std::uint32_t word = 0;
    std::memcpy(&word, &bytes[i], std::min<std::size_t>(4, bytes.size() - i));
    if (floats && (word & 0x7FFFFFFF) > 0x7F800000) word = 0x7FC00000;
    add(word);
  }
}

void Draw::addImage(const MirlImage& image, bool filled) {
  const int fields[] = {image.isInitialized(), image.isSigned(), image.width(),
                        image.height(),        image.depth(),    image.channels(),
                        image.dataBits(),      image.type(),     image.channelSeq()};
  for (const int field : fields) add(static_cast<std::uint64_t>(field));
  if (!core::isLive(image) || !filled || tooMuch(image)) return;
  const int row = test::rowBytes(image);
  Bytes pixels(static_cast<std::size_t>(row) * static_cast<std::size_t>(image.height()));
  image.download(pixels.data(), row);
  add(pixels, isFloat(image));
}

void Draw::result(MirlImage&& made) {
  HeldImage& held = images_.emplace_back();
  held.written = true;
  held.image = std::move(made);
}

void Draw::result(double made) {
  std::uint64_t image = 0;
  if (!std::isnan(made)) std::memcpy(&image, &made, sizeof image);
  add(image);
}

void Draw::result(const Bytes& made) {
  add(made, false);
}

}  // namespace mirl::fuzz
