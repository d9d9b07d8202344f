#include "core/outputs.h"

#include <cstdlib>

namespace mirl::core {
namespace {

/// Whether a live image lives on the device of the others, which the first of them decides.
MirlStatus checkDevice(const MirlImage& image, runtime::Device*& device) {
  if (!image.isInitialized()) return MIRL_SUCCESS;
  runtime::Device* its = ImageAccess::device(image);
  if (its == nullptr) return MIRL_IMAGE_NOT_INITIALIZED;
  if (device == nullptr) device = its;
  return its == device ? MIRL_SUCCESS : MIRL_MISMATCH;
}

template <class Images>
MirlStatus checkDevices(const Images& images, runtime::Device*& device) {
  for (const MirlImage* image : images) {
    const MirlStatus status = checkDevice(*image, device);
    if (status != MIRL_SUCCESS) return status;
  }
  return MIRL_SUCCESS;
}

bool agrees(const MirlImage& output, const Format& format, Trait trait) {
  const int depth = std::abs(format.depth);
  switch (trait) {
    case kSize:
      return output.width() == format.size.width && output.height() == format.size.height;
    case kDepth:
      return output.depth() == depth;
    case kChannels:
      return output.channels() == format.channels;
    case kType:
      return output.type() == depthAndChannelsToType(depth, format.channels, format.depth < 0);
  }
  return false;
}

}  // namespace

MirlStatus findQueue(const MirlStream& stream, const MirlImage& first,
                     std::initializer_list<const MirlImage*> others, runtime::Queue& queue) {
  runtime::Device* device = ImageAccess::device(first);
  if (device == nullptr) return MIRL_IMAGE_NOT_INITIALIZED;
  const MirlStatus shared = checkDevices(others, device);
  return shared == MIRL_SUCCESS ? StreamAccess::queue(stream, *device, queue) : shared;
}

Format like(const MirlImage& image, const Changes& changes) {
  return {changes.size.width != 0 ? changes.size : image.size(),
          changes.depth != 0 ? changes.depth : signedDepth(image),
          changes.channels != 0 ? changes.channels : image.channels()};
}

MirlStatus compare(const MirlImage& output, const Format& format, Demands demands) {
  if (!output.isInitialized()) return MIRL_SUCCESS;
  for (const Demand& demand : demands) {
    if (!agrees(output, format, demand.trait)) return demand.otherwise;
  }
  return MIRL_SUCCESS;
}

MirlStatus create(runtime::Device& device, MirlImage& output, const Format& format) {
  return ImageAccess::create(output, device, format.size.width, format.size.height, format.depth,
                             format.channels);
}

MirlStatus prepare(const MirlStream& stream, std::initializer_list<const MirlImage*> inputs,
                   std::initializer_list<MirlImage*> outputs, const Format& format,
                   runtime::Queue& queue, Demands demands) {
  runtime::Device* device = nullptr;
  MirlStatus status = checkDevices(inputs, device);
  if (status == MIRL_SUCCESS) status = checkDevices(outputs, device);
  if (status == MIRL_SUCCESS) status = StreamAccess::queue(stream, *device, queue);
  if (status != MIRL_SUCCESS) return status;

  unsigned made = 0;
  for (auto output = outputs.begin(); output != outputs.end(); ++output) {
    status = compare(**output, format, demands);
    if (status != MIRL_SUCCESS) return status;
    if (!(*output)->isInitialized()) made |= 1u << (output - outputs.begin());
    status = create(*device, **output, format);
    if (status == MIRL_SUCCESS) continue;
    for (auto earlier = outputs.begin(); earlier != output; ++earlier) {
      if ((made >> (earlier - outputs.begin()) & 1) != 0) takeBack(**earlier);
    }
    return status;
  }
  return MIRL_SUCCESS;
}

MirlStatus replace(MirlImage& output, MirlImage& made) {
  if (output.isInitialized()) {
    const MirlStatus released = output.release();
    if (released != MIRL_SUCCESS) return released;
  }
  ImageAccess::steal(made, output);
  return MIRL_SUCCESS;
}

void takeBack(MirlImage& output) {
  MirlImage empty;
  if (output.release() == MIRL_SUCCESS) ImageAccess::steal(empty, output);
}

}  // namespace mirl::core
