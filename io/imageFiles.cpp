#include <mirl/io.h>

#include "core/access.h"

#include <fstream>
#include <stdexcept>
#include <utility>
#include <vector>

#if MIRL_WITH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#endif

#if MIRL_WITH_OPENCV

namespace {

int readFlags(MirlLoadType load) {
  switch (load) {
    case MIRL_LOAD_GRAYSCALE:
      return cv::IMREAD_GRAYSCALE;
    case MIRL_LOAD_COLOR:
      return cv::IMREAD_COLOR;
    case MIRL_LOAD_ANYDEPTH:
      return cv::IMREAD_ANYDEPTH;
    case MIRL_LOAD_ANYDEPTH_ANYCOLOR:
      return cv::IMREAD_ANYDEPTH | cv::IMREAD_ANYCOLOR;
  }
  return cv::IMREAD_UNCHANGED;
}

/// Empty for a file that can't be read as an image, for whatever reason.
cv::Mat read(const std::string& file, MirlLoadType load) {
  try {
    return cv::imread(file, readFlags(load));
  } catch (const std::exception&) {
    return {};
  }
}

/// Unsigned integers and floats of a matrix as a depth, 0 for all other elements.
int depthOf(const cv::Mat& pixels) {
  switch (pixels.depth()) {
    case CV_8U:
      return 8;
    case CV_16U:
      return 16;
    case CV_32F:
      return 32;
    case CV_64F:
      return 64;
    default:
      return 0;
  }
}

MirlStatus put(const cv::Mat& pixels, MirlImage& image) {
  const int depth = depthOf(pixels);
  if (depth == 0) return MIRL_DEPTH_NOT_SUPPORTED;
  const auto step = static_cast<int>(pixels.step[0]);
  if (image.isInitialized()) {
    if (image.width() != pixels.cols || image.height() != pixels.rows ||
        mirl::core::signedDepth(image) != depth || image.channels() != pixels.channels()) {
      return MIRL_MISMATCH;
    }
    return image.upload(pixels.data, step);
  }
  MirlImage made;
  MirlStatus status = made.create(pixels.cols, pixels.rows, depth, pixels.channels());
  if (status == MIRL_SUCCESS) status = made.upload(pixels.data, step);
  if (status == MIRL_SUCCESS) image = std::move(made);
  return status;
}

int matrixDepth(const MirlImage& image) {
  switch (image.depth()) {
    case 8:
      return CV_8U;
    case 16:
      return CV_16U;
    case 32:
      return CV_32F;
    case 64:
      return CV_64F;
    default:
      return -1;
  }
}

MirlStatus write(const MirlImage& image, const std::string& file) {
  const int depth = matrixDepth(image);
  if (depth < 0) return MIRL_DEPTH_NOT_SUPPORTED;
  try {
    cv::Mat pixels(image.height(), image.width(), CV_MAKETYPE(depth, image.channels()));
    const MirlStatus status = image.download(pixels.data, static_cast<int>(pixels.step[0]));
    if (status != MIRL_SUCCESS) return status;

    // Encoded first: `imwrite` destroys the old file before it finds that it can't write the new
    // one, and doesn't notice a full disk in all formats.
    const std::size_t dot = file.rfind('.');
    if (dot == std::string::npos) return MIRL_OPERATION_FAILED;
    std::vector<unsigned char> encoded;
    if (!cv::imencode(file.substr(dot), pixels, encoded)) return MIRL_OPERATION_FAILED;
    std::ofstream out(file, std::ios::binary);
    out.write(reinterpret_cast<const char*>(encoded.data()),
              static_cast<std::streamsize>(encoded.size()));
    out.close();
    return out ? MIRL_SUCCESS : MIRL_OPERATION_FAILED;
  } catch (const std::exception&) {
    return MIRL_OPERATION_FAILED;
  }
}

}  // namespace

MirlStatus MirlImage::create(const std::string& file, MirlLoadType load) {
  const cv::Mat pixels = read(file, load);
  return pixels.empty() ? MIRL_INVALID_ARGUMENT : put(pixels, *this);
}

namespace mirl::io {

MirlImage loadImage(const std::string& file, MirlLoadType load) {
  const cv::Mat pixels = read(file, load);
  if (pixels.empty()) throw std::runtime_error("Image Not Found");
  MirlImage image;
  put(pixels, image);
  return image;
}

}  // namespace mirl::io

#else  // without OpenCV

namespace {

MirlStatus write(const MirlImage&, const std::string&) {
  return MIRL_OPERATION_FAILED;
}

}  // namespace

MirlStatus MirlImage::create(const std::string&, MirlLoadType) {
  return MIRL_OPERATION_FAILED;
}

namespace mirl::io {

MirlImage loadImage(const std::string&, MirlLoadType) {
  throw std::runtime_error("mirl was built without OpenCV: build with MIRL_OPENCV to read images");
}

}  // namespace mirl::io

#endif

namespace mirl::io {

MirlStatus saveImage(MirlImage& image, const std::string& file) {
  if (!core::isLive(image)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (image.isSigned() || image.type() == -1) return MIRL_DEPTH_NOT_SUPPORTED;
  if (image.type() != MIRL_32F_C1 && image.type() != MIRL_32F_C3) return write(image, file);
  MirlImage bytes;
  const MirlStatus status = image.convertTo(bytes, 8, 255.0f, 0.0f);
  return status == MIRL_SUCCESS ? write(bytes, file) : status;
}

MirlVideoReader& MirlVideoReader::operator=(const MirlVideoReader&) {
  return *this;
}

}  // namespace mirl::io
