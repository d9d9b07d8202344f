#include "bench.h"
#include "open_cv.h"

namespace mirl::bench {
namespace {

using imageTransforms::fft2;
using imageTransforms::fftGetProperty;
using imageTransforms::fftShift;
using imageTransforms::haarFwd;
using imageTransforms::haarInv;

struct Property {
  const char* name;
  MirlFFTProp property;
};
constexpr Property kProperties[] = {{"fftGetProperty magnitude", MIRL_FFT_MAGNITUDE},
                                    {"fftGetProperty phase", MIRL_FFT_PHASE}};

#if MIRL_BENCH_OPENCV

/// From floats, which ours makes of bytes on the way.
Prepare openCvFourier(const MirlSize& size) {
  return [=]() -> Run {
    const cv::Mat in = cvNoise(size, MIRL_32F_C1);
    cv::Mat out(size.height, size.width, CV_32FC2);
    return [=]() mutable { cv::dft(in, out, cv::DFT_COMPLEX_OUTPUT); };
  };
}

Prepare openCvShift(const MirlSize& size) {
  return [=]() -> Run {
    const cv::Mat in = cvNoise(size, MIRL_32F_C2);
    cv::Mat out(size.height, size.width, CV_32FC2);
    return [=]() mutable {
      const int w = size.width / 2, h = size.height / 2;
      for (const int x : {0, w}) {
        for (const int y : {0, h}) in({w - x, h - y, w, h}).copyTo(out({x, y, w, h}));
      }
    };
  };
}

/// Of the parts in planes, as it wants them.
Prepare openCvProperty(const MirlSize& size, MirlFFTProp property) {
  return [=]() -> Run {
    const cv::Mat re = cvNoise(size, MIRL_32F_C1, 1), im = cvNoise(size, MIRL_32F_C1, 2);
    cv::Mat out(size.height, size.width, CV_32F);
    return [=]() mutable {
      if (property == MIRL_FFT_MAGNITUDE) {
        cv::magnitude(re, im, out);
      } else {
        cv::phase(re, im, out);
      }
    };
  };
}

#else

Prepare openCvFourier(const MirlSize&) {
  return nullptr;
}
Prepare openCvShift(const MirlSize&) {
  return nullptr;
}
Prepare openCvProperty(const MirlSize&, MirlFFTProp) {
  return nullptr;
}

#endif

void addFourier(const MirlSize& size, const Prepare& openCv) {
  add({"fft2 8u C1", size, 9,
       [=]() -> Run {
         const MirlImage in = noise(size, MIRL_8U_C1);
         MirlImage out(size, MIRL_32F_C2);
         return [=]() mutable { fft2(in, out); };
       },
       openCv});
}

const bool registered = [] {
  addFourier({3847, 2161}, nullptr);  // primes, of which OpenCV takes seconds
  for (const auto& [width, height] : kSizes) {
    const MirlSize size(width, height), half(width / 2, height / 2);
    addFourier(size, openCvFourier(size));
    add({"fftShift 32f C2", size, 16,
         [=]() -> Run {
           const MirlImage in = noise(size, MIRL_32F_C2);
           MirlImage out(size, MIRL_32F_C2);
           return [=]() mutable { fftShift(in, out); };
         },
         openCvShift(size)});
    for (const auto& [name, property] : kProperties) {
      add({name, size, 12,
           [=, which = property]() -> Run {
             const MirlImage in = noise(size, MIRL_32F_C2);
             MirlImage out(size, MIRL_32F_C1);
             return [=]() mutable { fftGetProperty(in, out, which); };
           },
           openCvProperty(size, property)});
    }
    for (const MirlType type : {MIRL_8U_C1, MIRL_8U_C3}) {
      add({"haarFwd " + typeName(type), size, 2 * bytesOf(type), [=]() -> Run {
             const MirlImage in = noise(size, type);
             MirlImage a(half, type), b(half, type), c(half, type), d(half, type);
             return [=]() mutable { haarFwd(in, a, b, c, d); };
           }});
      add({"haarInv " + typeName(type), size, 2 * bytesOf(type), [=]() -> Run {
             const MirlImage a = noise(half, type), b = noise(half, type);
             MirlImage out(size, type);
             return [=]() mutable { haarInv(a, b, a, b, out); };
           }});
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
