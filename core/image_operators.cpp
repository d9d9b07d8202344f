#include <mirl/arithmeticLogical.h>
#include <mirl/operators.h>

#include "core/outputs.h"

namespace ops = mirl::arithmeticLogical;

namespace {

// How the result's type and the missing operations come about for each kind of number.

bool makesFloat(int) {
  return false;
}
bool makesFloat(double) {
  return true;
}
bool makesFloat(const MirlScalar& s) {
  return !s.isInteger();
}

double negative(double c) {
  return -c;
}
MirlScalar negative(const MirlScalar& s) {
  return -s;
}

double reciprocal(double c) {
  return 1.0 / c;
}
MirlScalar reciprocal(const MirlScalar& s) {
  return {1.0 / s[0], 1.0 / s[1], 1.0 / s[2], 1.0 / s[3]};
}

/// What an operation makes of an empty image.
template <class Operation>
MirlImage made(const Operation& operation) {
  MirlImage out;
  operation(out);
  return out;
}

/// The same of an image and a number, which decides whether the result is to be float.
template <class Number, class Operation>
MirlImage made(const MirlImage& image, const Number& number, const Operation& operation) {
  MirlImage out;
  mirl::runtime::Device* const device = ImageAccess::device(image);
  if (device == nullptr) return out;
  const mirl::core::Format real = mirl::core::like(image, {.depth = 32});
  if (makesFloat(number) && mirl::core::create(*device, out, real) != MIRL_SUCCESS) return out;
  operation(out);
  return out;
}

template <class Number>
MirlImage sum(const MirlImage& a, const Number& x) {
  return made(a, x, [&](MirlImage& out) { ops::add(a, x, out); });
}
template <class Number>
MirlImage difference(const MirlImage& a, const Number& x) {
  return made(a, x, [&](MirlImage& out) { ops::add(a, negative(x), out); });
}
template <class Number>
MirlImage difference(const Number& x, const MirlImage& a) {
  return made(a, x, [&](MirlImage& out) { ops::subtract(x, a, out); });
}
template <class Number>
MirlImage product(const MirlImage& a, const Number& x) {
  return made(a, x, [&](MirlImage& out) { ops::multiply(a, x, out); });
}
template <class Number>
MirlImage quotient(const MirlImage& a, const Number& x) {
  return made(a, x, [&](MirlImage& out) { ops::multiply(a, reciprocal(x), out); });
}
template <class Number>
MirlImage quotient(const Number& x, const MirlImage& a) {
  return made(a, x, [&](MirlImage& out) { ops::divide(x, a, out); });
}

}  // namespace

MirlImage operator+(const MirlImage& a, const MirlImage& b) {
  return made([&](MirlImage& out) { ops::add(a, b, out); });
}
MirlImage operator+(const MirlImage& a, const MirlScalar& s) {
  return sum(a, s);
}
MirlImage operator+(const MirlImage& a, int c) {
  return sum(a, c);
}
MirlImage operator+(const MirlImage& a, double c) {
  return sum(a, c);
}

MirlImage operator-(const MirlImage& a, const MirlImage& b) {
  return made([&](MirlImage& out) { ops::subtract(a, b, out); });
}
MirlImage operator-(const MirlImage& a, const MirlScalar& s) {
  return difference(a, s);
}
MirlImage operator-(const MirlImage& a, int c) {
  return difference(a, c);
}
MirlImage operator-(const MirlImage& a, double c) {
  return difference(a, c);
}
MirlImage operator-(const MirlScalar& s, const MirlImage& a) {
  return difference(s, a);
}
MirlImage operator-(int c, const MirlImage& a) {
  return difference(c, a);
}
MirlImage operator-(double c, const MirlImage& a) {
  return difference(c, a);
}

MirlImage operator*(const MirlImage& a, const MirlImage& b) {
  return made([&](MirlImage& out) { ops::multiply(a, b, out); });
}
MirlImage operator*(const MirlImage& a, const MirlScalar& s) {
  return product(a, s);
}
MirlImage operator*(const MirlImage& a, int c) {
  return product(a, c);
}
MirlImage operator*(const MirlImage& a, double c) {
  return product(a, c);
}

MirlImage operator/(const MirlImage& a, const MirlImage& b) {
  return made([&](MirlImage& out) { ops::divide(a, b, out); });
}
MirlImage operator/(const MirlImage& a, const MirlScalar& s) {
  return quotient(a, s);
}
MirlImage operator/(const MirlImage& a, int c) {
  return quotient(a, c);
}
MirlImage operator/(const MirlImage& a, double c) {
  return quotient(a, c);
}
MirlImage operator/(const MirlScalar& s, const MirlImage& a) {
  return quotient(s, a);
}
MirlImage operator/(int c, const MirlImage& a) {
  return quotient(c, a);
}
MirlImage operator/(double c, const MirlImage& a) {
  return quotient(c, a);
}

MirlImage operator&(const MirlImage& a, const MirlImage& b) {
  return made([&](MirlImage& out) { ops::AND(a, b, out); });
}
MirlImage operator&(const MirlImage& a, int n) {
  return made([&](MirlImage& out) { ops::AND(a, n, out); });
}
MirlImage operator|(const MirlImage& a, const MirlImage& b) {
  return made([&](MirlImage& out) { ops::OR(a, b, out); });
}
MirlImage operator|(const MirlImage& a, int n) {
  return made([&](MirlImage& out) { ops::OR(a, n, out); });
}
MirlImage operator^(const MirlImage& a, const MirlImage& b) {
  return made([&](MirlImage& out) { ops::XOR(a, b, out); });
}
MirlImage operator^(const MirlImage& a, int n) {
  return made([&](MirlImage& out) { ops::XOR(a, n, out); });
}

MirlImage operator~(const MirlImage& a) {
  return made([&](MirlImage& out) { ops::NOT(a, out); });
}
MirlImage operator<<(const MirlImage& a, int n) {
  return made([&](MirlImage& out) { ops::SHL(a, n, out); });
}
MirlImage operator>>(const MirlImage& a, int n) {
  return made([&](MirlImage& out) { ops::SHR(a, n, out); });
}
MirlImage MirlImage::operator-() const {
  return made([&](MirlImage& out) { ops::multiply(*this, -1.0, out); });
}

MirlImage& MirlImage::operator+=(const MirlImage& other) {
  ops::add(*this, other, *this);
  return *this;
}
MirlImage& MirlImage::operator+=(const MirlScalar& s) {
  ops::add(*this, s, *this);
  return *this;
}
MirlImage& MirlImage::operator+=(int c) {
  ops::add(*this, c, *this);
  return *this;
}
MirlImage& MirlImage::operator+=(double c) {
  ops::add(*this, c, *this);
  return *this;
}

MirlImage& MirlImage::operator-=(const MirlImage& other) {
  ops::subtract(*this, other, *this);
  return *this;
}
MirlImage& MirlImage::operator-=(const MirlScalar& s) {
  ops::add(*this, negative(s), *this);
  return *this;
}
MirlImage& MirlImage::operator-=(int c) {
  ops::add(*this, negative(c), *this);
  return *this;
}
MirlImage& MirlImage::operator-=(double c) {
  ops::add(*this, negative(c), *this);
  return *this;
}

MirlImage& MirlImage::operator*=(const MirlImage& other) {
  ops::multiply(*this, other, *this);
  return *this;
}
MirlImage& MirlImage::operator*=(const MirlScalar& s) {
  ops::multiply(*this, s, *this);
  return *this;
}
MirlImage& MirlImage::operator*=(int c) {
  ops::multiply(*this, c, *this);
  return *this;
}
MirlImage& MirlImage::operator*=(double c) {
  ops::multiply(*this, c, *this);
  return *this;
}

MirlImage& MirlImage::operator/=(const MirlImage& other) {
  ops::divide(*this, other, *this);
  return *this;
}
MirlImage& MirlImage::operator/=(const MirlScalar& s) {
  ops::multiply(*this, reciprocal(s), *this);
  return *this;
}
MirlImage& MirlImage::operator/=(int c) {
  ops::multiply(*this, reciprocal(c), *this);
  return *this;
}
MirlImage& MirlImage::operator/=(double c) {
  ops::multiply(*this, reciprocal(c), *this);
  return *this;
}

MirlImage& MirlImage::operator&=(const MirlImage& other) {
  ops::AND(*this, other, *this);
  return *this;
}
MirlImage& MirlImage::operator&=(int c) {
  ops::AND(*this, c, *this);
  return *this;
}
MirlImage& MirlImage::operator|=(const MirlImage& other) {
  ops::OR(*this, other, *this);
  return *this;
}
MirlImage& MirlImage::operator|=(int c) {
  ops::OR(*this, c, *this);
  return *this;
}
MirlImage& MirlImage::operator^=(const MirlImage& other) {
  ops::XOR(*this, other, *this);
  return *this;
}
MirlImage& MirlImage::operator^=(int c) {
  ops::XOR(*this, c, *this);
  return *this;
}
MirlImage& MirlImage::operator<<=(int n) {
  ops::SHL(*this, n, *this);
  return *this;
}
MirlImage& MirlImage::operator>>=(int n) {
  ops::SHR(*this, n, *this);
  return *this;
}

MirlImage& MirlImage::operator++() {
  return *this += 1;
}
MirlImage& MirlImage::operator--() {
  return *this -= 1;
}
MirlImage MirlImage::operator++(int) {
  MirlImage before(*this);
  ++*this;
  return before;
}
MirlImage MirlImage::operator--(int) {
  MirlImage before(*this);
  --*this;
  return before;
}
