#include <mirl/stream.h>

#include "core/access.h"

#include <atomic>
#include <utility>

using mirl::runtime::Device;

namespace {

std::atomic<int> nextStreamId{1};

Device* currentDevice() {
  return mirl::runtime::device(mirl::runtime::currentDevice());
}

}  // namespace

MirlStream::MirlStream(bool create) {
  if (!create) return;
  created_ = false;
  this->create();
}

MirlStream::MirlStream(MirlStream&& other) noexcept : MirlStream(false) {
  *this = std::move(other);
}

MirlStream& MirlStream::operator=(MirlStream&& other) noexcept {
  if (this == &other) return *this;
  const MirlStream& source = other;
  *this = source;
  const MirlStream ordinary;
  other = ordinary;
  return *this;
}

MirlStream::~MirlStream() {
  destroy();
}

void MirlStream::create() {
  if (created_) return;
  Device* device = currentDevice();
  state_ = device == nullptr ? nullptr : mirl::runtime::createStream(*device);
  created_ = state_ != nullptr;
  defaultStream_ = !created_;
  handle_ = created_ ? state_->native : nullptr;
  streamId_ = created_ ? nextStreamId.fetch_add(1) : 0;
}

void MirlStream::destroy() {
  if (defaultStream_) return;
  if (created_ && state_->destroy()) created_ = false;
  if (!created_) nextStreamId.fetch_sub(1);
}

bool MirlStream::finished() const {
  if (!defaultStream_) return !state_->alive() || state_->device.streamFinished(handle_);
  Device* device = currentDevice();
  return device == nullptr || device->streamFinished(nullptr);
}

void MirlStream::sync() const {
  if (!defaultStream_) {
    if (state_->alive()) state_->device.wait(handle_);
    return;
  }
  Device* device = currentDevice();
  if (device != nullptr) device->wait(nullptr);
}

MirlStatus StreamAccess::queue(const MirlStream& stream, Device& device,
                               mirl::runtime::Queue& queue) {
  if (!stream.isDefault()) {
    if (&stream.state_->device != &device) return MIRL_MISMATCH;
    if (!stream.state_->alive()) return MIRL_INVALID_ARGUMENT;
  }
  queue = {&device, stream.ptr()};
  return MIRL_SUCCESS;
}
