#pragma once

#include <mirl/export.h>
#include <mirl/image.h>
#include <mirl/scalar.h>

/// Operators on images, so that arithmetic can be written as expressions. Those that change an
/// image, such as `+=`, are its members.
///
/// Each forwards to a function of `mirl::arithmeticLogical` on the default stream, without waiting,
/// and drops its status: a failure yields an empty image, or one of undefined content if it came
/// after the image's creation. The result is on the device of its operands.
///
/// Two images make the type that the function makes: the deeper one of the two. An image and an
/// `int`, or a scalar built from integers, make the image's type. An image and a `double`, or a
/// scalar built from doubles, make a float image. So for 8 bits `a + 1` is 255 at most, while
/// `a + 1.0` may be 256; `a / 2` of 5 is 2, `a / 2.0` is 2.5.
///
/// `a - c` adds -c, and `a / c` multiplies by 1 / c, taken in double precision.

MIRL_API MirlImage operator+(const MirlImage& a, const MirlImage& b);
MIRL_API MirlImage operator+(const MirlImage& a, const MirlScalar& s);
MIRL_API MirlImage operator+(const MirlImage& a, int c);
MIRL_API MirlImage operator+(const MirlImage& a, double c);
inline MirlImage operator+(const MirlScalar& s, const MirlImage& a) {
  return a + s;
}
inline MirlImage operator+(int c, const MirlImage& a) {
  return a + c;
}
inline MirlImage operator+(double c, const MirlImage& a) {
  return a + c;
}

MIRL_API MirlImage operator-(const MirlImage& a, const MirlImage& b);
MIRL_API MirlImage operator-(const MirlImage& a, const MirlScalar& s);
MIRL_API MirlImage operator-(const MirlImage& a, int c);
MIRL_API MirlImage operator-(const MirlImage& a, double c);
MIRL_API MirlImage operator-(const MirlScalar& s, const MirlImage& a);
MIRL_API MirlImage operator-(int c, const MirlImage& a);
MIRL_API MirlImage operator-(double c, const MirlImage& a);

MIRL_API MirlImage operator*(const MirlImage& a, const MirlImage& b);
MIRL_API MirlImage operator*(const MirlImage& a, const MirlScalar& s);
MIRL_API MirlImage operator*(const MirlImage& a, int c);
MIRL_API MirlImage operator*(const MirlImage& a, double c);
inline MirlImage operator*(const MirlScalar& s, const MirlImage& a) {
  return a * s;
}
inline MirlImage operator*(int c, const MirlImage& a) {
  return a * c;
}
inline MirlImage operator*(double c, const MirlImage& a) {
  return a * c;
}

MIRL_API MirlImage operator/(const MirlImage& a, const MirlImage& b);
MIRL_API MirlImage operator/(const MirlImage& a, const MirlScalar& s);
MIRL_API MirlImage operator/(const MirlImage& a, int c);
MIRL_API MirlImage operator/(const MirlImage& a, double c);
MIRL_API MirlImage operator/(const MirlScalar& s, const MirlImage& a);
MIRL_API MirlImage operator/(int c, const MirlImage& a);
MIRL_API MirlImage operator/(double c, const MirlImage& a);

/// Bit by bit, for unsigned images of 8 and 16 bits.
MIRL_API MirlImage operator&(const MirlImage& a, const MirlImage& b);
MIRL_API MirlImage operator&(const MirlImage& a, int n);
inline MirlImage operator&(int n, const MirlImage& a) {
  return a & n;
}
MIRL_API MirlImage operator|(const MirlImage& a, const MirlImage& b);
MIRL_API MirlImage operator|(const MirlImage& a, int n);
inline MirlImage operator|(int n, const MirlImage& a) {
  return a | n;
}
MIRL_API MirlImage operator^(const MirlImage& a, const MirlImage& b);
MIRL_API MirlImage operator^(const MirlImage& a, int n);
inline MirlImage operator^(int n, const MirlImage& a) {
  return a ^ n;
}
MIRL_API MirlImage operator~(const MirlImage& a);
/// `SHL` and `SHR`: the left one saturates.
MIRL_API MirlImage operator<<(const MirlImage& a, int n);
MIRL_API MirlImage operator>>(const MirlImage& a, int n);
