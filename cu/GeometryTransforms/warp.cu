#include <mirl/geometryTransforms.h>

#include "core/outputs.h"
#include "engine/dispatch.h"
#include "engine/paint.h"
#include "engine/resample.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace mirl::geometryTransforms {
namespace {

using engine::Channels;
using engine::Combination;

using Rows = double (*)[3];

/// (a, b, c) . (x, y, 1); what a row has in common comes first.
struct Form {
  double a;
  double b;
  double c;

  MIRL_HD double at(int x, int y) const {
    return a * static_cast<double>(x) + (b * static_cast<double>(y) + c);
  }
};

/// From a destination pixel to its place in the source.
struct kernel_affine {
  static constexpr bool kKeepsOrder = true;
  Form x;
  Form y;

  MIRL_HD engine::FinePoint operator()(int column, int row) const {
    return {x.at(column, row), y.at(column, row)};
  }
};

struct kernel_perspective {
  static constexpr bool kKeepsOrder = false;  // only up to the rounding
  Form x;
  Form y;
  Form w;

  MIRL_HD engine::FinePoint operator()(int column, int row) const {
    const double divisor = w.at(column, row);
    const double reciprocal = 1.0 / divisor;
    return {engine::dividedBy(x.at(column, row), divisor, reciprocal),
            engine::dividedBy(y.at(column, row), divisor, reciprocal)};
  }
};

/// a * b - c * d, off by little even where the products are nearly the same.
double differenceOfProducts(double a, double b, double c, double d) {
  const double product = c * d;
  return std::fma(a, b, -product) + std::fma(-c, d, product);
}

struct Matrix {
  double m[3][3];

  /// The two or three rows of a caller.
  static Matrix of(Rows rows, int count) {
    Matrix made{{{0, 0, 0}, {0, 0, 0}, {0, 0, 1}}};
    for (int i = 0; i < count; ++i) std::copy_n(rows[i], 3, made.m[i]);
    return made;
  }

  bool isFinite() const {
    const auto finite = [](double coefficient) { return std::isfinite(coefficient); };
    return std::all_of(&m[0][0], &m[0][0] + 9, finite);
  }

  /// The same map of the plane with no coefficient above 1, by a power of two.
  Matrix scaled() const {
    double greatest = 0;
    for (const auto& row : m) {
      for (const double coefficient : row) greatest = std::max(greatest, std::fabs(coefficient));
    }
    Matrix made = *this;
    const int exponent = greatest > 0 ? std::ilogb(greatest) + 1 : 0;
    for (auto& row : made.m) {
      for (double& coefficient : row) coefficient = std::ldexp(coefficient, -exponent);
    }
    return made;
  }

  /// The determinant times the inverse.
  Matrix adjugate() const {
    Matrix made;
    for (int i = 0; i < 3; ++i) {
      const auto &u = m[(i + 1) % 3], &v = m[(i + 2) % 3];
      for (int k = 0; k < 3; ++k) {
        const int j = (k + 1) % 3, l = (k + 2) % 3;
        made.m[k][i] = differenceOfProducts(u[j], v[l], u[l], v[j]);
      }
    }
    return made;
  }

  /// By its adjugate.
  double determinant(const Matrix& adjugate) const {
    double sum = 0;
    for (int i = 0; i < 3; ++i) sum += m[0][i] * adjugate.m[i][0];
    return sum;
  }

  Form row(int i) const { return {m[i][0], m[i][1], m[i][2]}; }
};

enum class Direction { forward, back };

/// A map from destination to source; nothing if the coefficients describe none. A map of the plane
/// is one that has an inverse, whichever way it is given.
std::optional<kernel_affine> affineMap(Rows rows, Direction direction) {
  Matrix given = Matrix::of(rows, 2);
  if (!given.isFinite()) return {};
  const Matrix adjugate = given.adjugate();
  const double determinant = adjugate.m[2][2];
  if (determinant == 0 || !std::isfinite(determinant)) return {};
  if (direction == Direction::forward) {
    for (int i = 0; i < 2; ++i) {
      for (int k = 0; k < 3; ++k) given.m[i][k] = adjugate.m[i][k] / determinant;
    }
    if (!given.isFinite()) return {};
  }
  return kernel_affine{given.row(0), given.row(1)};
}

std::optional<kernel_perspective> perspectiveMap(Rows rows, Direction direction) {
  Matrix given = Matrix::of(rows, 3);
  if (!given.isFinite()) return {};
  given = given.scaled();
  const Matrix adjugate = given.adjugate();
  if (given.determinant(adjugate) == 0) return {};
  const Matrix& map = direction == Direction::forward ? adjugate.scaled() : given;
  return kernel_perspective{map.row(0), map.row(1), map.row(2)};
}

/// The warp by what `mapOf` makes of the coefficients.
template <class MapOf>
MirlStatus warp(const MirlImage& source, MirlImage& destination, Rows coefficients,
                Direction direction, const MirlStream& stream, const MapOf& mapOf) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (coefficients == nullptr) return MIRL_NULL_POINTER;
  if (&source == &destination) return MIRL_IN_PLACE_NOT_SUPPORTED;
  const core::Format format = core::like(source);
  const MirlStatus fits = core::compare(destination, format, {core::kDepth, core::kChannels});
  if (fits != MIRL_SUCCESS) return fits;
  runtime::Queue queue;
  const MirlStatus ready = core::prepare(stream, {&source}, {&destination}, format, queue, {});
  if (ready != MIRL_SUCCESS) return ready;

  const auto map = mapOf(coefficients, direction);
  const auto run = [&]<class T, int C>(Combination<T>, Channels<C>) {
    if (map) {
      engine::resampleMap<engine::Bilinear, engine::WithinBorder>(
          queue, *map, engine::PlainElements<T>{}, engine::pixelsOf<T, C>(destination),
          engine::pixelsOf<const T, C>(source));
    } else {
      engine::fill(queue, engine::bytesOf<unsigned char>(destination), engine::Pattern{});
    }
  };
  if (!engine::visitPixels<1, 3>(engine::AllElements{}, engine::typesOf(source), run)) {
    return MIRL_MISMATCH;
  }
  return map ? MIRL_SUCCESS : MIRL_NPP_FAILED;
}

}  // namespace

MirlStatus warpAffine(const MirlImage& source, MirlImage& destination,
                      double (*const coefficients)[3], const MirlStream& stream) {
  return warp(source, destination, coefficients, Direction::forward, stream, affineMap);
}

MirlStatus warpAffineBack(const MirlImage& source, MirlImage& destination,
                          double (*const coefficients)[3], const MirlStream& stream) {
  return warp(source, destination, coefficients, Direction::back, stream, affineMap);
}

MirlStatus warpPerspective(const MirlImage& source, MirlImage& destination,
                           double (*const coefficients)[3], const MirlStream& stream) {
  return warp(source, destination, coefficients, Direction::forward, stream, perspectiveMap);
}

MirlStatus warpPerspectiveBack(const MirlImage& source, MirlImage& destination,
                               double (*const coefficients)[3], const MirlStream& stream) {
  return warp(source, destination, coefficients, Direction::back, stream, perspectiveMap);
}

}  // namespace mirl::geometryTransforms
