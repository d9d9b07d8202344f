#pragma once

// The arguments of one random call, all drawn from its seed, and what is checked around it.

#include <mirl/mirl.h>

#include <concepts>
#include <cstdint>
#include <deque>
#include <exception>
#include <string>
#include <type_traits>
#include <vector>

#include "../fixture.h"
#include "runtime/fault.h"

namespace mirl::fuzz {

using Types = std::vector<MirlType>;
using Point = MirlPoint2D<int>;

/// A set of statuses.
template <class... S>
constexpr std::uint64_t statuses(S... status) {
  return ((std::uint64_t{1} << -static_cast<int>(status)) | ... | std::uint64_t{0});
}

inline const Types kServed = {MIRL_8U_C1,  MIRL_8U_C3,  MIRL_16U_C1,
                              MIRL_16U_C3, MIRL_32F_C1, MIRL_32F_C3};

/// What an operation takes, so that most calls come through, and what its comment excepts from the
/// rule that a failure changes nothing.
struct Traits {
  Types in = kServed;         ///< of inputs, as a rule
  int channels = 0;           ///< of outputs, 0 being the input's
  int depth = 0;              ///< likewise
  bool live = false;          ///< an empty output makes no sense
  bool unset = false;         ///< a created output isn't filled
  bool loose = false;         ///< outputs get other buffers, or their padding is written
  bool pitch = false;         ///< the result depends on pitches, so devices don't choose them
  bool rounds = false;        ///< devices agree within rounding only
  bool rare = false;          ///< slow
  bool futile = false;        ///< can't succeed in this build
  std::uint64_t changes = 0;  ///< statuses with which outputs may have changed
  std::uint64_t also = 0;     ///< statuses other than those of wrong arguments, without a fault
};

/// One call: draws its arguments, runs it, and remembers the first thing that went wrong.
class Draw {
 public:
  Draw(std::uint64_t seed, int device, const Traits& traits, bool tells);
  ~Draw();
  Draw(const Draw&) = delete;
  Draw& operator=(const Draw&) = delete;

  // Numbers. The hostile ones are the limits of types and what lies beside them.
  std::uint64_t bits();
  int upTo(int n) { return static_cast<int>(bits() % static_cast<unsigned>(n)); }
  bool chance(int n) { return upTo(n) == 0; }
  int integer();
  double real();
  /// Mostly a part of `extent`.
  int coordinate(int extent);
  template <class T>
  T oneOf(std::initializer_list<T> values) {
    return values.begin()[upTo(static_cast<int>(values.size()))];
  }

  /// An image that the call reads, one that it may write, and a stream of any condition.
  const MirlImage& input();
  MirlImage& output();
  /// A live image with a pitch.
  MirlImage& image(const test::Format& format, const MirlSize& size, int pitch, bool written);
  const MirlStream& stream();
  MirlScalar& scalar(bool written);
  MirlHistogram& histogram();
  const MirlFilter& filter();
  MirlRect rect();
  Point point();
  MirlSize size();
  /// That filters look through.
  MirlSize window();
  MirlType type();
  /// A dozen numbers, or null.
  float* floats();
  unsigned short* words();
  /// Three rows of three numbers, or null.
  double (*matrix())[3];
  test::Format anyFormat();
  const MirlSize& baseSize() const { return size_; }

  /// An argument by its type.
  template <class T>
  T argument();

  /// Runs the call proper, which begins when all arguments have been drawn.
  template <class Call>
  MirlStatus call(const Call& run);
  /// What the call has made, an image or a number, takes part in the comparison of devices.
  void result(MirlImage&& made);
  void result(double made);
  void result(const test::Bytes& made);
  /// A broken promise.
  void broken(const std::string& what);

  void tell(const char* format, ...) __attribute__((format(printf, 2, 3)));
  const std::string& problem() const { return problem_; }
  const std::string& told() const { return told_; }
  MirlStatus status() const { return status_; }
  int device() const { return device_; }
  /// What the call has done, the same on each device; 0 if that can't be said.
  std::uint64_t digest() const { return comparable_ ? digest_ : 0; }
  /// What the call gives depends on what is the device's own choice.
  void differs() { comparable_ = false; }
  /// Whether the call may have left behind what a free that failed was to take.
  bool leaksBuffers() const { return fault_ == 1 || fault_ == 4; }
  bool leaksPinned() const { return fault_ == 5; }

 private:
  struct HeldImage;
  struct HeldScalar;
  struct HeldHistogram;
  struct HeldFilter;

  test::Format formatOf(bool written);
  MirlImage& anyImage(bool written);
  void fill(HeldImage& held);
  void tellImage(const HeldImage& held);
  void arm();
  void disarm(MirlStatus status);
  void check(const HeldImage& held, std::size_t number, bool mayChange);
  void add(std::uint64_t value);
  void add(const test::Bytes& bytes, bool floats);
  void addImage(const MirlImage& image, bool filled);

  const Traits& traits_;
  std::uint64_t state_;
  int device_;
  bool tells_;
  bool comparable_ = true;
  bool pastCaches_ = false;
  int fault_ = -1;  // a runtime::Call
  int faultAt_ = 0;
  MirlStatus status_ = MIRL_SUCCESS;
  test::Format format_{};
  MirlSize size_;
  int pitchKind_ = 0, pitchMore_ = 0;
  std::string told_, problem_;
  std::uint64_t digest_ = 0x9E3779B97F4A7C15u;

  // Dead from the start, so that what is drawn before them may live.
  MirlImage deadImage_;
  MirlHistogram deadHistogram_;
  // Deques, because arguments are references into them.
  std::deque<HeldImage> images_;
  std::deque<HeldScalar> scalars_;
  std::deque<HeldHistogram> histograms_;
  std::deque<HeldFilter> filters_;
  std::deque<MirlStream> streams_;
  std::deque<std::vector<float>> floats_;
  double matrix_[3][3] = {};
};

template <class T>
T Draw::argument() {
  if constexpr (std::is_same_v<T, const MirlImage&>) {
    return input();
  } else if constexpr (std::is_same_v<T, MirlImage&>) {
    return output();
  } else if constexpr (std::is_same_v<T, const MirlStream&>) {
    return stream();
  } else if constexpr (std::is_same_v<T, const MirlScalar&>) {
    return scalar(false);
  } else if constexpr (std::is_same_v<T, MirlScalar&>) {
    return scalar(true);
  } else if constexpr (std::is_same_v<T, MirlHistogram&>) {
    return histogram();
  } else if constexpr (std::is_same_v<T, const MirlFilter&>) {
    return filter();
  } else if constexpr (std::is_same_v<T, MirlRect> || std::is_same_v<T, const MirlRect&>) {
    static thread_local MirlRect drawn;
    return drawn = rect();
  } else if constexpr (std::is_same_v<T, const MirlSize&>) {
    static thread_local MirlSize drawn;
    return drawn = window();
  } else if constexpr (std::is_same_v<T, Point>) {
    return point();
  } else if constexpr (std::is_same_v<T, const float*> || std::is_same_v<T, float*>) {
    return floats();
  } else if constexpr (std::is_same_v<T, unsigned short*>) {
    return words();
  } else if constexpr (std::is_same_v<T, double(*)[3]>) {
    return matrix();
  } else if constexpr (std::is_same_v<T, MirlType>) {
    return type();
  } else if constexpr (std::is_enum_v<T>) {
    const int value = chance(8) ? integer() : upTo(5);
    tell(" enum %d", value);
    return static_cast<T>(value);
  } else if constexpr (std::is_same_v<T, bool>) {
    return chance(2);
  } else if constexpr (std::floating_point<T>) {
    const T value = static_cast<T>(real());
    tell(" %.9g", static_cast<double>(value));
    return value;
  } else {
    static_assert(std::is_same_v<T, int>);
    const int value = integer();
    tell(" %d", value);
    return value;
  }
}

template <class Call>
MirlStatus Draw::call(const Call& run) {
  arm();
  MirlStatus status = MIRL_SUCCESS;
  try {
    status = run();
  } catch (const std::exception& error) {
    broken(std::string("threw ") + error.what());
  }
  disarm(status);
  return status;
}

}  // namespace mirl::fuzz
