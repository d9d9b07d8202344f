#include <mirl/scalar.h>

#include "runtime/pinned_pool.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t kEntries = 4;
constexpr std::size_t kBytes = kEntries * sizeof(double);

double* allocateValues() {
  return static_cast<double*>(mirl::runtime::allocatePinned(kBytes));
}

/// What stands in for an entry that isn't there. One for each thread, so that threads don't race.
double& spare() {
  thread_local double value;
  value = 0.0;
  return value;
}

}  // namespace

MirlScalar::MirlScalar() : MirlScalar(0) {}

MirlScalar::MirlScalar(int v) : MirlScalar(v, v, v, v) {}

MirlScalar::MirlScalar(int a, int b, int c) : MirlScalar(a, b, c, 0) {}

MirlScalar::MirlScalar(int a, int b, int c, int d) : values_(allocateValues()), integer_(true) {
  assign(a, b, c, d);
}

MirlScalar::MirlScalar(double v) : MirlScalar(v, v, v, v) {}

MirlScalar::MirlScalar(double a, double b, double c) : MirlScalar(a, b, c, 0.0) {}

MirlScalar::MirlScalar(double a, double b, double c, double d)
    : values_(allocateValues()), integer_(false) {
  assign(a, b, c, d);
}

MirlScalar::MirlScalar(const MirlScalar& other)
    : values_(allocateValues()), integer_(other.integer_) {
  assign(other[0], other[1], other[2], other[3]);
}

MirlScalar::MirlScalar(MirlScalar&& other) noexcept
    : values_(std::exchange(other.values_, nullptr)), integer_(other.integer_) {}

MirlScalar& MirlScalar::operator=(const MirlScalar& other) {
  if (this == &other) return *this;
  if (values_ == nullptr) values_ = allocateValues();
  integer_ = other.integer_;
  assign(other[0], other[1], other[2], other[3]);
  return *this;
}

MirlScalar& MirlScalar::operator=(MirlScalar&& other) noexcept {
  // By way of a third one: the other must end without a block, and a move to itself change nothing.
  MirlScalar taken(std::move(other));
  std::swap(values_, taken.values_);
  integer_ = taken.integer_;
  return *this;
}

MirlScalar::~MirlScalar() {
  mirl::runtime::freePinned(values_, kBytes);
}

double& MirlScalar::operator[](int i) {
  return values_ == nullptr || i < 0 || i > 3 ? spare() : values_[i];
}

const double& MirlScalar::operator[](int i) const {
  return values_ == nullptr || i < 0 || i > 3 ? spare() : values_[i];
}

MirlScalar MirlScalar::operator-() const {
  const MirlScalar& s = *this;
  return {-s[0], -s[1], -s[2], -s[3]};
}

void MirlScalar::assign(double a, double b, double c, double d) {
  if (values_ == nullptr) return;
  const double values[kEntries] = {a, b, c, d};
  std::copy_n(values, kEntries, values_);
}
