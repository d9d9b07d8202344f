#pragma once

#include <mirl/export.h>

/// Up to four numbers, one for each channel of a pixel.
///
/// The four doubles stand in a page-locked block that the scalar owns and takes from a pool, so
/// making one costs well under a microsecond once the pool is warm. If no block can be had, `vals`
/// gives null and every entry reads 0. A moved-from scalar is such a scalar too; assigning to it
/// gives it a block again.
class MIRL_API MirlScalar {
 public:
  /// Zeros; `isInteger` is true.
  MirlScalar();
  /// One value for all four entries; `isInteger` is true.
  MirlScalar(int v);  // NOLINT(google-explicit-constructor)
  /// Three values, the fourth 0; `isInteger` is true.
  MirlScalar(int a, int b, int c);
  /// Four values; `isInteger` is true.
  MirlScalar(int a, int b, int c, int d);
  /// As with integers; `isInteger` is false.
  MirlScalar(double v);  // NOLINT(google-explicit-constructor)
  MirlScalar(double a, double b, double c);
  MirlScalar(double a, double b, double c, double d);

  MirlScalar(const MirlScalar& other);
  MirlScalar(MirlScalar&& other) noexcept;
  MirlScalar& operator=(const MirlScalar& other);
  MirlScalar& operator=(MirlScalar&& other) noexcept;
  ~MirlScalar();

  /// Entry i. Outside 0 to 3, and without a block, a spare double that is set to 0 first.
  double& operator[](int i);
  const double& operator[](int i) const;

  /// The block of four doubles.
  double* vals() { return values_; }
  const double* vals() const { return values_; }

  /// Whether the scalar was built from integers.
  bool isInteger() const { return integer_; }

  /// The four values with the sign flipped, as a scalar built from doubles.
  MirlScalar operator-() const;

 private:
  void assign(double a, double b, double c, double d);

  double* values_ = nullptr;
  bool integer_ = true;
};
