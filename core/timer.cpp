#include <mirl/timer.h>

#include <chrono>

namespace {

using Clock = std::chrono::steady_clock;

std::int64_t counter() {
  return Clock::now().time_since_epoch().count();
}

}  // namespace

MirlTimer::MirlTimer()
    : frequency_(Clock::period::den / Clock::period::num), elapsed_(0), start_(0) {}

void MirlTimer::Start() {
  start_ = counter();
}

void MirlTimer::Stop() {
  elapsed_ += counter() - start_;
  start_ = 0;
}

void MirlTimer::Reset() {
  elapsed_ = 0;
}

double MirlTimer::GetElapsedTime() {
  return static_cast<double>(elapsed_) / static_cast<double>(frequency_);
}
