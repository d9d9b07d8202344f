#pragma once

#include <mirl/export.h>
#include <mirl/records.h>

/// A small matrix of float coefficients with an anchor, for `mirl::imageFiltering::imageFilter`.
///
/// The entry of column i and row j stands at index `j * width() + i` of the buffer, which is
/// page-locked and belongs to the filter: copies have one of their own, and moving hands it over.
/// The anchor is added to the coordinates of an output pixel to give the position of the first tap.
class MIRL_API MirlFilter {
 public:
  /// A filter that isn't initialised; `imageFilter` gives zeros for it.
  MirlFilter() = default;
  /// Each of these calls `create` with the same arguments; `isInitialized` tells how it went.
  explicit MirlFilter(const MirlSize& size);
  MirlFilter(const MirlSize& size, const MirlPoint2D<int>& anchor);
  MirlFilter(const MirlSize& size, const MirlPoint2D<int>& anchor, const float* values);
  MirlFilter(const MirlSize& size, const float* values);
  MirlFilter(int width, int height);
  MirlFilter(int width, int height, const MirlPoint2D<int>& anchor);
  MirlFilter(int width, int height, const MirlPoint2D<int>& anchor, const float* values);
  MirlFilter(int width, int height, const float* values);

  MirlFilter(const MirlFilter& other);
  MirlFilter(MirlFilter&& other) noexcept;
  /// Gives the own matrix back and becomes a copy of the other. If there is no memory for one, or
  /// the other isn't initialised, this filter isn't initialised afterwards.
  MirlFilter& operator=(const MirlFilter& other);
  MirlFilter& operator=(MirlFilter&& other) noexcept;
  ~MirlFilter();

  /// Makes a matrix of zeros, or of `width * height` values that are copied from `values` (null
  /// means zeros). Without an anchor it is ((1 - width) / 2, (1 - height) / 2), truncated toward
  /// zero: a window of even size reaches one further to the right and down. False, with nothing
  /// changed, if the filter is initialised already, for a width or height below 1, and if there is
  /// no memory.
  bool create(const MirlSize& size);
  bool create(const MirlSize& size, const MirlPoint2D<int>& anchor);
  bool create(const MirlSize& size, const MirlPoint2D<int>& anchor, const float* values);
  bool create(const MirlSize& size, const float* values);
  bool create(int width, int height);
  bool create(int width, int height, const MirlPoint2D<int>& anchor);
  bool create(int width, int height, const MirlPoint2D<int>& anchor, const float* values);
  bool create(int width, int height, const float* values);

  /// Gives the matrix back; the anchor stays. False if there is none, and if the memory could not
  /// be given back, the filter then being as it was.
  bool release();

  int width() const { return width_; }
  int height() const { return height_; }
  /// The buffer, which a const filter lets be written too.
  float* coeffs() const { return coefficients_; }
  MirlPoint2D<int> anchor() const { return anchor_; }
  bool isInitialized() const { return initialized_; }

  /// Entry k of the buffer. Out of range, a spare float that is set to 0 first.
  float& operator[](int k) const;
  /// The entry of column i and row j, likewise.
  float& operator()(int i, int j) const;

 private:
  int width_ = 0;
  int height_ = 0;
  float* coefficients_ = nullptr;
  MirlPoint2D<int> anchor_;
  bool initialized_ = false;
};

/// The usual filters, with the default anchor. `imageFilter` takes the coefficients with y running
/// fastest, so the three derivatives act along x: left column less right column.
struct MIRL_API MirlSpecialFilters {
  /// The mean over a window: every entry is 1 / (width * height).
  static MirlFilter average(const MirlSize& size);
  /// Samples of exp(-(x^2 + y^2) / (2 sigma^2)) around the matrix's middle, divided by their sum
  /// unless that is 0 or NaN.
  static MirlFilter gaussian(const MirlSize& size, float sigma);
  /// 3 by 3: corners alpha / (alpha + 1), edges (1 - alpha) / (1 + alpha), centre -4 / (1 + alpha);
  /// alpha is limited to 0 to 1.
  static MirlFilter laplacian(float alpha);
  /// The identity less `laplacian(alpha)`, which sharpens.
  static MirlFilter unsharp(float alpha);
  /// 3 by 3, rows 1 1 1, 0 0 0, -1 -1 -1.
  static MirlFilter prewitt();
  /// 3 by 3, rows 3 10 3, 0 0 0, -3 -10 -3.
  static MirlFilter scharr();
  /// 3 by 3, rows 1 2 1, 0 0 0, -1 -2 -1.
  static MirlFilter sobel();
};
