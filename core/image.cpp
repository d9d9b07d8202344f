#include <mirl/image.h>

#include "core/outputs.h"
#include "core/regions.h"

#include <climits>
#include <cstdint>
#include <cstdlib>

using mirl::runtime::Device;

namespace {

Device* currentDevice() {
  return mirl::runtime::device(mirl::runtime::currentDevice());
}

MirlStatus createHere(MirlImage& image, int width, int height, const int* pitch, int depth,
                      int channels) {
  if (image.isInitialized()) return MIRL_SUCCESS;
  Device* device = currentDevice();
  if (device == nullptr) return MIRL_DEVICE_ALLOC_FAILED;
  return ImageAccess::createPitched(image, *device, width, height, pitch, depth, channels);
}

/// Makes an empty image a deep copy of a live one.
void copyDeep(const MirlImage& from, MirlImage& to) {
  Device* device = ImageAccess::device(from);
  if (device == nullptr) return;
  if (mirl::core::create(*device, to, mirl::core::like(from)) != MIRL_SUCCESS) return;
  ImageAccess::copyMetadata(from, to);
  device->copy(mirl::core::copyOf(from, to));
}

}  // namespace

MirlImage::MirlImage() = default;

MirlImage::MirlImage(int width, int height, int depth, int channels) {
  create(width, height, depth, channels);
}

MirlImage::MirlImage(int width, int height, int pitch, int depth, int channels) {
  create(width, height, pitch, depth, channels);
}

MirlImage::MirlImage(int width, int height, MirlType type) {
  create(width, height, type);
}

MirlImage::MirlImage(const MirlSize& size, int depth, int channels) {
  create(size, depth, channels);
}

MirlImage::MirlImage(const MirlSize& size, MirlType type) {
  create(size, type);
}

MirlImage::MirlImage(const std::string& file, MirlLoadType load) {
  create(file, load);
}

MirlImage::MirlImage(const MirlImage& other) {
  copyDeep(other, *this);
}

MirlImage::MirlImage(MirlImage&& other) noexcept {
  ImageAccess::steal(other, *this);
}

MirlImage::~MirlImage() {
  release();
}

MirlImage& MirlImage::operator=(const MirlImage& other) {
  if (this == &other || !mirl::core::isLive(other)) return *this;
  // A buffer that the device won't take back stays, rather than being written past its end.
  if (initialized_ && release() != MIRL_SUCCESS) return *this;
  copyDeep(other, *this);
  return *this;
}

MirlImage& MirlImage::operator=(MirlImage&& other) noexcept {
  if (this == &other || !mirl::core::isLive(other)) return *this;
  if (initialized_ && release() != MIRL_SUCCESS) return *this;
  ImageAccess::steal(other, *this);
  return *this;
}

const MirlImage MirlImage::null() {
  return {};
}

MirlStatus MirlImage::create(int width, int height, int depth, int channels) {
  return createHere(*this, width, height, nullptr, depth, channels);
}

MirlStatus MirlImage::create(int width, int height, int pitch, int depth, int channels) {
  return createHere(*this, width, height, &pitch, depth, channels);
}

MirlStatus MirlImage::create(const MirlSize& size, int depth, int channels) {
  return create(size.width, size.height, depth, channels);
}

MirlStatus MirlImage::create(int width, int height, MirlType type) {
  int depth = 0;
  int channels = 0;
  mirl::typeToDepthAndChannels(type, depth, channels);
  return create(width, height, depth, channels);
}

MirlStatus MirlImage::create(const MirlSize& size, MirlType type) {
  return create(size.width, size.height, type);
}

MirlStatus MirlImage::release() {
  if (!initialized_) return MIRL_IMAGE_NOT_INITIALIZED;
  Device* device = ImageAccess::device(*this);
  if (device == nullptr || !device->free(data_)) return MIRL_DEVICE_FREE_FAILED;
  ImageAccess::clear(*this);
  return MIRL_SUCCESS;
}

MirlStatus MirlImage::setDataBits(int bits) {
  if (bits < 0 || bits > depth_) return MIRL_INVALID_ARGUMENT;
  dataBits_ = bits;
  return MIRL_SUCCESS;
}

Device* ImageAccess::device(const MirlImage& image) {
  if (!image.initialized_) return nullptr;
  Device* device = mirl::runtime::device(image.device_);
  return device != nullptr && device->epoch() == image.deviceEpoch_ ? device : nullptr;
}

MirlStatus ImageAccess::create(MirlImage& image, Device& device, int width, int height, int depth,
                               int channels) {
  return createPitched(image, device, width, height, nullptr, depth, channels);
}

MirlStatus ImageAccess::createPitched(MirlImage& image, Device& device, int width, int height,
                                      const int* pitch, int depth, int channels) {
  if (image.initialized_) return MIRL_SUCCESS;
  if (width < 1 || height < 1) return MIRL_INVALID_ARGUMENT;
  if (channels < 1 || channels > 4) return MIRL_CHANNELS_NOT_SUPPORTED;
  const std::int64_t magnitude = depth < 0 ? -std::int64_t{depth} : std::int64_t{depth};
  if (magnitude < 8 || (magnitude & (magnitude - 1)) != 0) return MIRL_DEPTH_NOT_SUPPORTED;

  // At most 2^31 pixels of 2^33 bits: the division first keeps the product in 64 bits.
  const std::int64_t row = std::int64_t{width} * channels * (magnitude / 8);
  if (magnitude > INT_MAX || row > INT_MAX) return MIRL_INVALID_ARGUMENT;
  if (pitch != nullptr && *pitch < row) return MIRL_INVALID_ARGUMENT;

  void* data = nullptr;
  std::size_t bytesApart = 0;
  if (pitch != nullptr) {
    bytesApart = static_cast<std::size_t>(*pitch);
    if (!device.allocate(bytesApart * static_cast<std::size_t>(height), data)) {
      return MIRL_DEVICE_ALLOC_FAILED;
    }
  } else {
    if (!device.allocatePitched(static_cast<std::size_t>(row), static_cast<std::size_t>(height),
                                data, bytesApart)) {
      return MIRL_DEVICE_ALLOC_FAILED;
    }
    if (bytesApart > INT_MAX) {
      device.free(data);
      return MIRL_INVALID_ARGUMENT;
    }
  }

  lend(image, device, data, static_cast<int>(bytesApart), width, height, depth, channels);
  return MIRL_SUCCESS;
}

void ImageAccess::lend(MirlImage& image, Device& device, void* data, int pitch, int width,
                       int height, int depth, int channels) {
  image.initialized_ = true;
  image.isSigned_ = depth < 0;
  image.data_ = data;
  image.width_ = width;
  image.height_ = height;
  image.pitch_ = pitch;
  image.depth_ = std::abs(depth);
  image.channels_ = channels;
  image.dataBits_ = image.depth_;
  image.channelSeq_ = channels == 3   ? MIRL_CHANNELSEQ_BGR
                      : channels == 4 ? MIRL_CHANNELSEQ_BGRA
                                      : MIRL_CHANNELSEQ_NONE;
  image.type_ = mirl::depthAndChannelsToType(image.depth_, channels, image.isSigned_);
  image.device_ = device.id();
  image.deviceEpoch_ = device.epoch();
}

void ImageAccess::copyMetadata(const MirlImage& from, MirlImage& to) {
  to.channelSeq_ = from.channelSeq_;
  to.dataBits_ = from.dataBits_;
}

void ImageAccess::clear(MirlImage& image) {
  image.initialized_ = false;
  image.data_ = nullptr;
  image.width_ = image.height_ = image.pitch_ = 0;
  image.depth_ = image.channels_ = image.dataBits_ = 0;
  image.channelSeq_ = MIRL_CHANNELSEQ_UNSET;
  image.device_ = -1;
}

void ImageAccess::steal(MirlImage& from, MirlImage& to) noexcept {
  to.initialized_ = from.initialized_;
  to.isSigned_ = from.isSigned_;
  to.data_ = from.data_;
  to.width_ = from.width_;
  to.height_ = from.height_;
  to.pitch_ = from.pitch_;
  to.depth_ = from.depth_;
  to.channels_ = from.channels_;
  to.dataBits_ = from.dataBits_;
  to.channelSeq_ = from.channelSeq_;
  to.type_ = from.type_;
  to.device_ = from.device_;
  to.deviceEpoch_ = from.deviceEpoch_;
  clear(from);
}
