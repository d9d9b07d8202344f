#include "sheet.h"

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <stdexcept>

namespace gallery {
namespace {

constexpr int kColumns = 6;
constexpr int kCellWidth = 360;
constexpr int kPictureHeight = 270;
constexpr int kCaptionHeight = 66;
constexpr int kGap = 24;
constexpr int kTitleHeight = 80;
constexpr int kHeadingHeight = 56;

const cv::Scalar kPaper(250, 250, 250);
const cv::Scalar kInk(40, 36, 32);
const cv::Scalar kFaint(135, 128, 120);
const cv::Scalar kMat(236, 236, 236);

/// Text with its baseline at y, made smaller if it is wider than the room for it.
void write(cv::Mat& sheet, const std::string& text, int x, int y, double scale,
           const cv::Scalar& color, int room, int thickness = 1) {
  const int width = cv::getTextSize(text, cv::FONT_HERSHEY_DUPLEX, scale, thickness, nullptr).width;
  cv::putText(sheet, text, {x, y}, cv::FONT_HERSHEY_DUPLEX,
              width > room ? scale * room / width : scale, color, thickness, cv::LINE_AA);
}

/// The picture with 8 bits and 3 channels in host memory.
cv::Mat onHost(const MirlImage& picture) {
  const double range = picture.depth() == 8 ? 1.0 : picture.depth() == 16 ? 1.0 / 257 : 255.0;
  MirlImage bytes;
  check(picture.convertTo(bytes, 8, static_cast<float>(range), 0.0f), "convertTo");
  cv::Mat pixels(bytes.height(), bytes.width(), CV_8UC(bytes.channels()));
  check(bytes.download(pixels.data, static_cast<int>(pixels.step[0])), "download");
  if (pixels.channels() == 1) cv::cvtColor(pixels, pixels, cv::COLOR_GRAY2BGR);
  return pixels;
}

void drawCell(cv::Mat& sheet, const Exhibit& exhibit, int x, int y) {
  const cv::Rect frame(x, y, kCellWidth, kPictureHeight);
  cv::rectangle(sheet, frame, kMat, cv::FILLED);
  const cv::Mat pixels = onHost(exhibit.picture);
  const double scale = std::min({static_cast<double>(frame.width) / pixels.cols,
                                 static_cast<double>(frame.height) / pixels.rows, 1.0});
  const cv::Size size(std::max(1, static_cast<int>(pixels.cols * scale)),
                      std::max(1, static_cast<int>(pixels.rows * scale)));
  cv::Mat small;
  cv::resize(pixels, small, size, 0, 0, cv::INTER_AREA);
  small.copyTo(sheet({frame.x + (frame.width - size.width) / 2,
                      frame.y + (frame.height - size.height) / 2, size.width, size.height}));
  const int captionTop = y + kPictureHeight;
  write(sheet, exhibit.operation, x, captionTop + 24, 0.6, kInk, kCellWidth);
  write(sheet, exhibit.caption, x, captionTop + 46, 0.5, kFaint, kCellWidth);
}

/// Calls `cell(exhibit, x, y)` and `heading(text, y)` down the sheet, and gives its height.
template <class Cell, class Heading>
int layOut(const std::vector<Exhibit>& exhibits, const Cell& cell, const Heading& heading) {
  int y = kTitleHeight;
  for (std::size_t i = 0; i < exhibits.size();) {
    const std::string& section = exhibits[i].section;
    heading(section, y);
    y += kHeadingHeight;
    int column = 0;
    for (; i < exhibits.size() && exhibits[i].section == section; ++i, ++column) {
      if (column == kColumns) {
        column = 0;
        y += kPictureHeight + kCaptionHeight;
      }
      cell(exhibits[i], kGap + column * (kCellWidth + kGap), y);
    }
    y += kPictureHeight + kCaptionHeight;
  }
  return y + kGap;
}

}  // namespace

void writeContactSheet(const std::vector<Exhibit>& exhibits, const std::string& title,
                       const std::string& file) {
  const int height = layOut(
      exhibits, [](const Exhibit&, int, int) {}, [](const std::string&, int) {});
  const int width = kGap + kColumns * (kCellWidth + kGap);
  cv::Mat sheet(height, width, CV_8UC3, kPaper);
  write(sheet, title, kGap, 52, 0.95, kInk, width - 2 * kGap);
  layOut(
      exhibits, [&](const Exhibit& exhibit, int x, int y) { drawCell(sheet, exhibit, x, y); },
      [&](const std::string& text, int y) {
        write(sheet, text, kGap, y + 34, 0.8, kInk, width - 2 * kGap);
      });
  if (!cv::imwrite(file, sheet)) throw std::runtime_error("can't write " + file);
}

}  // namespace gallery
