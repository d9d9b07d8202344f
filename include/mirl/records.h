#pragma once

#include <mirl/types.h>

/// A position in an image, in pixels.
template <class T>
struct MirlPoint2D {
  T x;
  T y;

  MirlPoint2D() : x(0), y(0) {}
  MirlPoint2D(T x_, T y_) : x(x_), y(y_) {}
};

/// A position with a value, such as a feature with its strength.
template <class T, class V>
struct MirlPointValue2D {
  T x;
  T y;
  V value;

  MirlPointValue2D() : x(0), y(0), value(0) {}
};

/// Width and height in pixels.
struct MirlSize {
  int width;
  int height;

  MirlSize() : width(0), height(0) {}
  MirlSize(int width_, int height_) : width(width_), height(height_) {}
};

/// A rectangle of pixels by its upper left corner and its size.
struct MirlRect {
  int x;
  int y;
  int width;
  int height;

  MirlRect() : x(0), y(0), width(0), height(0) {}
  MirlRect(int x_, int y_, int width_, int height_)
      : x(x_), y(y_), width(width_), height(height_) {}

  MirlPoint2D<int> origin() const { return {x, y}; }
};

/// Parameters of the enhancement of underwater images.
struct MirlEnhancementParams {
  bool autoColor;
  unsigned int clipPercent;
  double weightBias;

  MirlEnhancementParams(bool autoColor_ = true, unsigned int clipPercent_ = 2,
                        double weightBias_ = 0.1333)
      : autoColor(autoColor_), clipPercent(clipPercent_), weightBias(weightBias_) {}
};

/// Parameters of feature detection.
struct MirlFeaturesCriteria {
  MirlFeaturesAlgorithm algorithm;
  float quality;
  int minDistance;
  int windowSize;
  float harrisK;

  MirlFeaturesCriteria(MirlFeaturesAlgorithm algorithm_ = MIRL_FEATURES_KLT,
                       float quality_ = 0.006f, int minDistance_ = 5, int windowSize_ = 3,
                       float harrisK_ = -0.2f)
      : algorithm(algorithm_),
        quality(quality_),
        minDistance(minDistance_),
        windowSize(windowSize_),
        harrisK(harrisK_) {}
};

/// Parameters of feature tracking and of pyramidal optical flow.
struct MirlTrackingCriteria {
  int levels;
  MirlSize window;
  int maxIterations;
  float maxResidual;
  float minDisplacement;
  float scale;

  MirlTrackingCriteria(int levels_ = 3, const MirlSize& window_ = MirlSize(3, 3),
                       int maxIterations_ = 10, float maxResidual_ = 20.0f,
                       float minDisplacement_ = 0.01f, float scale_ = 0.5f)
      : levels(levels_),
        window(window_),
        maxIterations(maxIterations_),
        maxResidual(maxResidual_),
        minDisplacement(minDisplacement_),
        scale(scale_) {}
};
