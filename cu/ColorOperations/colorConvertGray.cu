#include "cu/ColorOperations/colorConvert.h"

namespace mirl::colorOperations {
namespace {

/// Of red, green and blue.
constexpr MixRow kWeights = {{0.299f, 0.587f, 0.114f}, 0};

template <class T, int N>
using kernel_rgb2gray =
    engine::kernel_mix<T, N, 1, engine::Mixing{.offsets = false, .limits = false}>;
template <class T>
using kernel_grayscale = engine::kernel_mix<T, 3, 1, engine::Mixing{.offsets = false}>;

template <class T, int N>
struct kernel_gray2rgb {
  static constexpr engine::Asks asks{.vectors = N == 3};

  MIRL_HD Pixel<T, N> operator()(T gray) const {
    if constexpr (N == 3) {
      return {gray, gray, gray};
    } else {
      return {gray, gray, gray, 0};
    }
  }

  std::ptrdiff_t vectors(std::ptrdiff_t count, char* out, const char* in) const requires(N == 3) {
    const auto* gray = reinterpret_cast<const T*>(in);
    engine::joinPlanes<T, 3>({gray, gray, gray}, count, out);
    return count;
  }
};

/// The checks but that of the types, of a source of 3 or of `orChannels` channels.
MirlStatus prepareGray(const MirlImage& source, MirlImage& destination, int orChannels,
                       const MirlStream& stream, runtime::Queue& queue) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (&source == &destination) return MIRL_IN_PLACE_NOT_SUPPORTED;
  if (source.channels() != 3 && source.channels() != orChannels) return MIRL_CHANNELS_NOT_SUPPORTED;
  return core::prepare(stream, {&source}, {&destination},
                       core::like(source, {.depth = source.depth(), .channels = 1}), queue,
                       {{core::kChannels, MIRL_CHANNELS_NOT_SUPPORTED}, core::kSize, core::kDepth});
}

}  // namespace

MirlStatus rgb2gray(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  runtime::Queue queue;
  const MirlStatus ready = prepareGray(source, destination, 4, stream, queue);
  if (ready != MIRL_SUCCESS) return ready;

  const auto run = [&]<class T, int N>(Combination<T>, Channels<N>) {
    visitOrder(source.channelSeq(), N, [&]<class Order>(Order) {
      engine::map(queue, kernel_rgb2gray<T, N>{{{inMemoryOrder<Order>(kWeights)}}},
                  engine::elementsOf<T>(destination), engine::pixelsOf<const T, N>(source));
    });
  };
  const bool served = engine::visitPixels<3>(engine::AllElements{}, engine::typesOf(source), run) ||
                      engine::visitPixels<4>(engine::Integers{}, engine::typesOf(source), run);
  return served ? MIRL_SUCCESS : MIRL_MISMATCH;
}

MirlStatus rgb2gray(const MirlImage& source, MirlImage& destination, const MirlScalar& weights,
                    const MirlStream& stream) {
  runtime::Queue queue;
  const MirlStatus ready = prepareGray(source, destination, 3, stream, queue);
  if (ready != MIRL_SUCCESS) return ready;

  const MixRow row = {{static_cast<float>(weights[0]), static_cast<float>(weights[1]),
                       static_cast<float>(weights[2])},
                      0};
  const bool served = engine::visitElements<3>(
      engine::AllElements{}, engine::typesOf(source), [&]<class T>(Combination<T>) {
        visitOrder(source.channelSeq(), 3, [&]<class Order>(Order) {
          engine::map(queue, kernel_grayscale<T>{{{inMemoryOrder<Order>(row)}}},
                      engine::elementsOf<T>(destination), engine::pixelsOf<const T, 3>(source));
        });
      });
  return served ? MIRL_SUCCESS : MIRL_MISMATCH;
}

MirlStatus gray2rgb(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (&source == &destination) return MIRL_IN_PLACE_NOT_SUPPORTED;
  if (source.channels() != 1) return MIRL_CHANNELS_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&source}, {&destination},
                    core::like(source, {.depth = source.depth(), .channels = 3}), queue,
                    {core::kSize, core::kDepth});
  if (ready != MIRL_SUCCESS) return ready;

  bool served = false;
  const auto run = [&]<class T, int N>(Combination<T>, Channels<N>) {
    if (source.type() != engine::kFirstType<T>) return;
    engine::map(queue, kernel_gray2rgb<T, N>{}, engine::pixelsOf<T, N>(destination),
                engine::elementsOf<const T>(source));
    served = true;
  };
  engine::visitPixels<3, 4>(engine::AllElements{}, engine::typesOf(destination), run);
  return served ? MIRL_SUCCESS : MIRL_TYPE_NOT_SUPPORTED;
}

MirlStatus gray2rgb(MirlImage& image, const MirlStream& stream) {
  MirlImage made;
  const MirlStatus converted = gray2rgb(image, made, stream);
  return converted == MIRL_SUCCESS ? core::replace(image, made) : converted;
}

}  // namespace mirl::colorOperations
