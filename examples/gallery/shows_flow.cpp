#include "shows.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

// What moves between two photos: colours of a flow, arrows of tracks.

namespace gallery {
namespace {

using namespace mirl::computerVision;

constexpr const char* kVision = "Computer vision";

MirlImage grayOf(Stage& s, const MirlImage& photo) {
  MirlImage gray;
  check(mirl::colorOperations::rgb2gray(photo, gray, s.stream), "rgb2gray");
  s.stream.sync();
  return gray;
}

/// Two numbers a pixel, to the right and downwards.
struct Flow {
  MirlSize size;
  std::vector<float> x, y;

  explicit Flow(const MirlSize& its) : size(its), x(count(its)), y(x) {}

 private:
  static std::size_t count(const MirlSize& size) {
    return static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
  }
};

/// The direction as hue, the length as strength of colour.
cv::Vec3b colourOf(float x, float y, float longest) {
  const double angle = std::atan2(static_cast<double>(y), static_cast<double>(x)) * 90 / CV_PI;
  const double length =
      std::sqrt(static_cast<double>(x * x + y * y)) / static_cast<double>(longest);
  return {static_cast<unsigned char>(angle < 0 ? angle + 180 : angle),
          static_cast<unsigned char>(255 * std::min(length, 1.0)), 255};
}

/// A flow in colours, with the wheel of all of them in the corner.
MirlImage coloured(const Flow& flow) {
  std::vector<float> lengths;
  for (std::size_t i = 0; i < flow.x.size(); ++i) {
    lengths.push_back(std::hypot(flow.x[i], flow.y[i]));
  }
  const auto most = lengths.begin() + static_cast<std::ptrdiff_t>(lengths.size() * 49 / 50);
  std::nth_element(lengths.begin(), most, lengths.end());
  const float longest = std::max(*most, 1e-3f);
  cv::Mat picture(flow.size.height, flow.size.width, CV_8UC3);
  const int radius = std::min(picture.rows, picture.cols) / 10;
  for (int y = 0; y < picture.rows; ++y) {
    for (int x = 0; x < picture.cols; ++x) {
      const int left = x - (picture.cols - 1 - radius), top = y - (picture.rows - 1 - radius);
      const std::size_t i = static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.cols) +
                            static_cast<std::size_t>(x);
      const bool inWheel = left * left + top * top <= radius * radius;
      picture.at<cv::Vec3b>(y, x) =
          inWheel ? colourOf(static_cast<float>(left), static_cast<float>(top),
                             static_cast<float>(radius))
                  : colourOf(flow.x[i], flow.y[i], longest);
    }
  }
  cv::cvtColor(picture, picture, cv::COLOR_HSV2BGR);
  cv::circle(picture, {picture.cols - 1 - radius, picture.rows - 1 - radius}, radius, {0, 0, 0}, 1,
             cv::LINE_AA);
  MirlImage image(flow.size, MIRL_8U_C3);
  check(image.upload(picture.data, static_cast<int>(picture.step[0])), "upload");
  return image;
}

/// Runs `find(first, second, flow, stream)` on the pair, with its time.
template <class Find>
MirlImage flowOf(Stage& s, const Find& find) {
  const MirlImage first = grayOf(s, s.first), second = grayOf(s, s.second);
  Flow flow(first.size());
  s.run(
      [&](const MirlImage& a, const MirlImage& b, MirlImage& out, const MirlStream& stream) {
        if (!out.isInitialized()) out = a;
        return find(a, b, flow, stream);
      },
      first, second);
  return coloured(flow);
}

/// Points on a grid and where they have come to.
MirlImage arrowsOf(Stage& s) {
  using Feature = MirlPointValue2D<float, float>;
  const MirlImage first = grayOf(s, s.first), second = grayOf(s, s.second);
  std::vector<Feature> points;
  const int step = std::max(8, first.width() / 40);
  for (int y = step / 2; y < first.height(); y += step) {
    for (int x = step / 2; x < first.width(); x += step) {
      Feature point;
      point.x = static_cast<float>(x);
      point.y = static_cast<float>(y);
      points.push_back(point);
    }
  }
  const auto count = static_cast<int>(points.size());
  std::unique_ptr<Feature[]> tracked;
  s.run(
      [&](const MirlImage& a, const MirlImage& b, MirlImage& out, const MirlStream& stream) {
        if (!out.isInitialized()) out = a;
        Feature* made = nullptr;
        const MirlStatus status =
            trackFeatures(a, b, points.data(), made, count, {3, {21, 21}}, stream);
        tracked.reset(made);
        return status;
      },
      first, second);
  cv::Mat picture(first.height(), first.width(), CV_8UC3);
  check(s.first.download(picture.data, static_cast<int>(picture.step[0])), "download");
  for (int i = 0; i < count; ++i) {
    const Feature &from = points[static_cast<std::size_t>(i)], &to = tracked[i];
    const cv::Point2f begin(from.x, from.y), end(to.x, to.y);
    if (to.value == 0.0f) {
      cv::arrowedLine(picture, begin, end, {60, 255, 60}, 1, cv::LINE_AA, 0, 0.3);
    } else {
      cv::circle(picture, begin, 1, {60, 60, 255}, -1, cv::LINE_AA);
    }
  }
  MirlImage image(first.size(), MIRL_8U_C3);
  check(image.upload(picture.data, static_cast<int>(picture.step[0])), "upload");
  return image;
}

const Show kShows[] = {
    {kVision, "trackFeatures", "tracks of a grid of points; red: lost, or too different",
     "basketball1", true, arrowsOf},
    {kVision, "opticalFlowPyrLKDense", "direction as hue, length as strength, as in the wheel",
     "rubberwhale1", true,
     [](Stage& s) {
       return flowOf(
           s, [](const MirlImage& a, const MirlImage& b, Flow& flow, const MirlStream& stream) {
             const MirlStatus status =
                 opticalFlowPyrLKDense(a, b, flow.x.data(), flow.y.data(), {3, {7, 7}}, stream);
             for (float& x : flow.x) x -= 0.5f;  // what the operation adds to a motion
             for (float& y : flow.y) y -= 0.5f;
             return status;
           });
     }},
    {kVision, "opticalFlowHS", "each pixel by itself", "rubberwhale1", true,
     [](Stage& s) {
       return flowOf(
           s, [](const MirlImage& a, const MirlImage& b, Flow& flow, const MirlStream& stream) {
             return opticalFlowHS(a, b, flow.y.data(), flow.x.data(), false, 15.0f, 100, stream);
           });
     }},
};

}  // namespace

std::span<const Show> flowShows() {
  return kShows;
}

}  // namespace gallery
