#include "stage.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace gallery {
namespace {

std::string typeName(const MirlImage& image) {
  const char* kind = image.isSigned() ? "S_C" : image.depth() >= 32 ? "F_C" : "U_C";
  return std::to_string(image.depth()) + kind + std::to_string(image.channels());
}

double bytes(const MirlImage& image) {
  return static_cast<double>(image.width()) * image.height() * image.channels() * image.depth() / 8;
}

}  // namespace

void check(MirlStatus status, const std::string& what) {
  if (status != MIRL_SUCCESS) throw std::runtime_error(what + ": " + mirl::statusMessage(status));
}

Stage::Stage(const Subject& subject, const MirlStream& stream_, std::filesystem::path folder)
    : photo(subject.photo),
      gray(subject.gray),
      first(subject.first),
      second(subject.second),
      stream(stream_),
      folder_(std::move(folder)) {}

double Stage::measure(const std::function<MirlStatus()>& operation) const {
  constexpr int kRuns = 9;
  std::vector<double> seconds;
  for (int run = -1; run < kRuns; ++run) {
    MirlTimer timer;
    timer.Start();
    check(operation(), "it returned");
    stream.sync();
    timer.Stop();
    if (run >= 0) seconds.push_back(timer.GetElapsedTime());
  }
  std::nth_element(seconds.begin(), seconds.begin() + kRuns / 2, seconds.end());
  return seconds[kRuns / 2];
}

void Stage::keep(const std::vector<const MirlImage*>& images, double seconds) {
  Timing timing{"", images.back()->size(), seconds * 1e3, 0};
  for (const MirlImage* image : images) {
    if (image != images.front()) timing.types += image == images.back() ? " -> " : ", ";
    timing.types += typeName(*image);
    timing.megabytesPerSecond += bytes(*image) / 1e6 / seconds;
  }
  timings.push_back(timing);
}

std::string Stage::save(const MirlImage& image, const std::string& name, bool timed) {
  const std::string file = (folder_ / name).string();
  MirlImage copy = image;
  if (mirl::io::saveImage(copy, file) != MIRL_SUCCESS) {
    throw std::runtime_error("can't write " + file);
  }
  if (timed) keep({&copy}, measure([&] { return mirl::io::saveImage(copy, file); }));
  return file;
}

MirlImage Stage::load(const std::string& file, MirlLoadType type, bool timed) {
  MirlImage image = mirl::io::loadImage(file, type);
  if (timed) {
    keep({&image}, measure([&] {
           image = mirl::io::loadImage(file, type);
           return MIRL_SUCCESS;
         }));
  }
  return image;
}

MirlImage Stage::like(const MirlImage& image, MirlType type) {
  MirlImage made;
  check(made.create(image.size(), type), "can't make an image");
  return made;
}

MirlImage Stage::in(MirlType type, const MirlImage& image, float scale, float shift) const {
  MirlImage out;
  check(image.convertTo(out, type, scale, shift, stream), "convertTo");
  stream.sync();
  return out;
}

MirlImage Stage::difference(const MirlImage& a, const MirlImage& b, float gain) const {
  MirlImage out;
  check(mirl::arithmeticLogical::absDiff(a, b, out, stream), "absDiff");
  return in(out.type(), out, gain);
}

}  // namespace gallery
