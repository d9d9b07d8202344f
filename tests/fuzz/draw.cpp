#include "draw.h"

#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <limits>
#include <utility>

#include "core/access.h"
#include "held.h"

namespace mirl::fuzz {

using test::Bytes;
using test::Format;

namespace {

/// Whether a sequence is one that operations on colour compute with.
bool belongs(MirlChannelSeq sequence, int channels) {
  if (channels == 3) return sequence == MIRL_CHANNELSEQ_RGB || sequence == MIRL_CHANNELSEQ_BGR;
  if (channels == 4) return sequence == MIRL_CHANNELSEQ_RGBA || sequence == MIRL_CHANNELSEQ_BGRA;
  return true;
}

}  // namespace

Draw::Draw(std::uint64_t seed, int device, const Traits& traits, bool tells)
    : traits_(traits), state_(seed), device_(device), tells_(tells) {
  device::setCurrentDevice(device);
  format_ = test::allFormats()[static_cast<std::size_t>(
      traits.in[static_cast<std::size_t>(upTo(static_cast<int>(traits.in.size())))])];
  const MirlSize sizes[] = {
      {1, 1}, {1 + upTo(300), 1}, {1, 1 + upTo(70)}, {1 + upTo(150), 1 + upTo(12)}};
  const int kind = upTo(8);
  size_ = kind < 4 ? sizes[kind] : MirlSize(1 + upTo(40), 1 + upTo(20));
  // From here on rows are shared out over threads.
  if (chance(1500)) size_ = {300 + upTo(400), 200 + upTo(100)};
  pitchKind_ = 1 + upTo(4);
  pitchMore_ = 1 + upTo(7);
  pastCaches_ = chance(8);
  if (pastCaches_) tell(" past caches;");
  if (chance(12)) {
    const Format format = formatOf(chance(2));
    deadImage_.create(size_, format.depth, format.channels);
    deadHistogram_.create(256, MIRL_POINTER_DEVICE);
    device::resetCurrentDevice();
  }
  if (chance(6)) {
    fault_ = upTo(static_cast<int>(runtime::kCallKinds));
    faultAt_ = 1 + upTo(chance(3) ? 8 : 2);
    static const char* const names[] = {"allocate", "free",   "copy",  "fill",
                                        "stream",   "pinned", "launch"};
    tell(" %s %d fails;", names[fault_], faultAt_);
  }
}

Draw::~Draw() = default;

std::uint64_t Draw::bits() {  // splitmix64
  std::uint64_t z = state_ += 0x9E3779B97F4A7C15u;
  z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
  z = (z ^ z >> 27) * 0x94D049BB133111EBu;
  return z ^ z >> 31;
}

void Draw::tell(const char* format, ...) {
  if (!tells_) return;
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  told_ += text;
}

int Draw::integer() {
  static const int hostile[] = {INT_MIN, INT_MIN + 1, -65536, -256,  -32,     -2,         -1,
                                INT_MAX, INT_MAX - 1, 65535,  65536, 1 << 24, 715827883,  255,
                                256,     31,          32,     33,    0x5A5A,  -0x5A5A5A5A};
  return chance(3) ? hostile[upTo(static_cast<int>(std::size(hostile)))] : upTo(9);
}

double Draw::real() {
  constexpr double inf = std::numeric_limits<double>::infinity();
  static const double hostile[] = {NAN,     -NAN,      inf,        -inf,   -0.0,    1e-45,
                                   -1e-45,  1e-310,    1e300,      -1e300, 1e38,    -1e38,
                                   0x1p31,  -0x1p31,   0x1p63,     1e-20,  INT_MIN, 255.5,
                                   65535.5, 254.99999, 0.99999994, 90,     -360};
  if (chance(3)) return hostile[upTo(static_cast<int>(std::size(hostile)))];
  const double scale = oneOf({1.0, 10.0, 300.0, 70000.0});
  const double value = (static_cast<double>(upTo(2001)) - 500.0) / 1500.0 * scale;
  return chance(3) ? std::floor(value) : value;
}

int Draw::coordinate(int extent) {
  const int value = chance(10) ? integer() : upTo(extent + 1 + (chance(8) ? 3 : 0));
  tell(" %d", value);
  return value;
}

MirlRect Draw::rect() {
  if (chance(3)) return {0, 0, size_.width, size_.height};
  const int x = coordinate(size_.width), y = coordinate(size_.height);
  const int right = x >= 0 && x < size_.width ? size_.width - x : size_.width;
  const int below = y >= 0 && y < size_.height ? size_.height - y : size_.height;
  const int width = coordinate(right);
  return {x, y, width, coordinate(below)};
}

Point Draw::point() {
  if (chance(3)) return {0, 0};
  const int x = coordinate(size_.width);
  return {x, coordinate(size_.height)};
}

MirlSize Draw::window() {
  const int width = chance(2) ? oneOf({3, 5, 7, 9}) : integer();
  const int height = chance(2) ? width : integer();
  tell(" window %dx%d", width, height);
  return {width, height};
}

MirlType Draw::type() {
  if (chance(6)) return static_cast<MirlType>(integer());
  const int first = chance(4) ? upTo(7) : oneOf({0, 2, 4});
  const int type = 4 * first + (chance(8) ? upTo(4) : format_.channels - 1);
  tell(" type %d", type);
  return static_cast<MirlType>(type);
}

MirlSize Draw::size() {
  return {1 + upTo(40), 1 + upTo(20)};
}

Format Draw::anyFormat() {
  // Deeper than any type, which an image may be.
  if (chance(60)) return {static_cast<MirlType>(-1), oneOf({128, -64, 1024}), 1 + upTo(4)};
  return test::allFormats()[static_cast<std::size_t>(upTo(28))];
}

void Draw::tellImage(const HeldImage& held) {
  if (!tells_) return;
  const MirlImage& image = held.image;
  tell(" %s%zu(", held.written ? "out" : "in", static_cast<std::size_t>(images_.size()));
  if (!image.isInitialized()) return tell("empty)");
  tell("%d%s C%d %dx%d pitch %d bits %d seq %d device %d%s)", image.depth(),
       image.isSigned() ? "S" : "", image.channels(), image.width(), image.height(), image.pitch(),
       image.dataBits(), static_cast<int>(image.channelSeq()), image.device(),
       core::isLive(image) ? "" : " dead");
}

void Draw::fill(HeldImage& held) {
  if (tooMuch(held.image)) {
    comparable_ = false;
    return;
  }
  // The same pixels whatever the pitch is, which devices choose differently.
  Bytes block(test::blockBytes(held.image), test::kGuard);
  const auto pitch = static_cast<std::size_t>(held.image.pitch());
  const auto row = static_cast<std::size_t>(test::rowBytes(held.image));
  const int kind = upTo(5);
  const auto constant = static_cast<unsigned char>(oneOf({0, 0, 255, 7}));
  for (std::size_t at = 0; at < row * (block.size() / pitch); at += 8) {
    std::uint64_t random = kind == 0 ? constant * 0x0101010101010101u : bits();
    if (isFloat(held.image) && kind > 1) {
      float two[2];
      for (int k = 0; k < 2; ++k, random >>= 32) {
        two[k] = static_cast<float>(static_cast<int>(random & 0xFFFF)) / (kind == 2 ? 65535 : 256);
        if (kind == 4) two[k] = static_cast<float>(real());
      }
      std::memcpy(&random, two, sizeof random);
    }
    for (std::size_t i = at; i < at + 8 && i < row * (block.size() / pitch); ++i, random >>= 8) {
      block[i / row * pitch + i % row] = static_cast<unsigned char>(random);
    }
  }
  held.image.upload(block.data());
}

MirlImage& Draw::image(const Format& format, const MirlSize& size, int pitch, bool written) {
  HeldImage& held = images_.emplace_back();
  held.written = written;
  MirlImage& made = held.image;
  if (pitch == 0) {
    made.create(size, format.depth, format.channels);
  } else {
    made.create(size.width, size.height, pitch, format.depth, format.channels);
  }
  if (!made.isInitialized()) return made;
  fill(held);
  if (chance(4)) {
    const int sequence = chance(10) ? integer() : upTo(4);
    made.setChannelSequence(static_cast<MirlChannelSeq>(sequence));
  }
  if (chance(4)) made.setDataBits(upTo(made.depth() + 1));
  if (!belongs(made.channelSeq(), made.channels())) comparable_ = false;
  return made;
}

Format Draw::formatOf(bool written) {
  if (!written) return format_;
  const int depth = traits_.depth != 0 ? traits_.depth : format_.depth;
  // Most operations that take several depths write them into deeper ones, too.
  return {format_.type, chance(8) ? oneOf({8, 16, 32}) : depth,
          traits_.channels != 0 ? traits_.channels : format_.channels};
}

MirlImage& Draw::anyImage(bool written) {
  if (!images_.empty() && chance(14)) {  // the same image twice
    const auto number = static_cast<std::size_t>(upTo(static_cast<int>(images_.size())));
    images_[number].written |= written;
    tell(" again(%zu)", number + 1);
    return images_[number].image;
  }
  if (deadImage_.isInitialized() && chance(3)) {
    images_.push_back({std::move(deadImage_), written});
    tellImage(images_.back());
    return images_.back().image;
  }
  const Format format = chance(9) ? anyFormat() : formatOf(written);
  if (chance(written && !traits_.live ? 2 : 30)) {
    HeldImage& held = images_.emplace_back();
    held.written = written;
    tellImage(held);
    return held.image;
  }
  const bool elsewhere = chance(40) && device::getDeviceCount() > 1;
  if (elsewhere) device::setCurrentDevice((device_ + 1) % device::getDeviceCount());
  const MirlSize size = chance(12) ? this->size() : size_;
  const int row = size.width * format.channels * std::abs(format.depth) / 8;
  // Where pitches matter they are mostly alike.
  const int kind = !traits_.pitch ? upTo(5) : chance(8) ? 1 + upTo(4) : pitchKind_;
  const int pitches[] = {0, row, row + pitchMore_, (row + 63) / 64 * 64, (row + 127) / 64 * 64};
  const bool toItself = chance(24) && format.depth == 32 && (format.channels % 2) == 1;
  MirlImage& made = image(format, size, pitches[kind], written);
  // Then its data bits may be above the depth.
  if (toItself) made.convertTo(made, oneOf({8, 16}), 1.0f, 0.0f);
  if (elsewhere) device::setCurrentDevice(device_);
  if (chance(80)) device::resetCurrentDevice();  // and all that was drawn so far dies
  tellImage(images_.back());
  return made;
}

const MirlImage& Draw::input() {
  return anyImage(false);
}

MirlImage& Draw::output() {
  return anyImage(true);
}

const MirlStream& Draw::stream() {
  const int kind = upTo(24);
  if (kind < 12) return streams_.emplace_back();
  const bool elsewhere = kind == 12 && device::getDeviceCount() > 1;
  if (elsewhere) device::setCurrentDevice((device_ + 1) % device::getDeviceCount());
  MirlStream& stream = streams_.emplace_back(true);
  if (elsewhere) device::setCurrentDevice(device_);
  if (kind == 13) stream.destroy();
  if (kind == 14) device::resetCurrentDevice();
  tell(elsewhere ? " stream elsewhere" : kind == 13 || kind == 14 ? " dead stream" : " stream");
  return stream;
}

MirlScalar& Draw::scalar(bool written) {
  if (!scalars_.empty() && chance(10)) {
    HeldScalar& held = scalars_[static_cast<std::size_t>(upTo(static_cast<int>(scalars_.size())))];
    held.written |= written;
    tell(" the same scalar");
    return held.scalar;
  }
  MirlScalar drawn = chance(4) ? MirlScalar(integer()) : MirlScalar(real());
  for (int i = 1; i < 4 && chance(2); ++i) drawn[i] = real();
  tell(" scalar(%g %g %g %g)", drawn[0], drawn[1], drawn[2], drawn[3]);
  HeldScalar& held = scalars_.emplace_back();
  held.written = written;
  if (chance(40)) {
    [[maybe_unused]] const MirlScalar taken(std::move(held.scalar));  // leaves it without a block
    tell(" without a block");
  } else {
    held.scalar = drawn;
  }
  return held.scalar;
}

MirlHistogram& Draw::histogram() {
  if (deadHistogram_.isInitialized() && chance(2)) {
    tell(" dead histogram");
    histograms_.push_back({std::move(deadHistogram_)});
    return histograms_.back().histogram;
  }
  MirlHistogram& made = histograms_.emplace_back().histogram;
  const auto location = static_cast<MirlPointerType>(upTo(3));
  const int count = oneOf({0, 0, 0, 256, 256, 768, 768, 1, 255, 769, 4096});
  if (count > 0) made.create(count, location);
  tell(" histogram(%d bins at %d)", count, static_cast<int>(location));
  return made;
}

const MirlFilter& Draw::filter() {
  MirlFilter& made = filters_.emplace_back().filter;
  MirlSize size{1 + upTo(5), 1 + upTo(5)};
  if (chance(10)) size = {1 + upTo(40), 1 + upTo(20)};  // 512 coefficients are the most
  std::vector<float> values;
  for (int i = size.width * size.height; i > 0; --i) {
    values.push_back(chance(20) ? static_cast<float>(real()) : static_cast<float>(upTo(9) - 3) / 4);
  }
  if (chance(3)) {
    const int x = oneOf({integer(), -1, 0, -2}), y = oneOf({integer(), -1, 0, -2});
    made.create(size, {x, y}, values.data());
  } else if (!chance(20)) {
    made.create(size, values.data());
  }
  tell(" filter(%dx%d at %d %d)", made.width(), made.height(), made.anchor().x, made.anchor().y);
  return made;
}

float* Draw::floats() {
  if (chance(20)) {
    tell(" null");
    return nullptr;
  }
  std::vector<float>& values = floats_.emplace_back();
  for (int i = 0; i < 12; ++i) values.push_back(static_cast<float>(real()));
  tell(" floats(%g %g %g %g ...)", static_cast<double>(values[0]), static_cast<double>(values[1]),
       static_cast<double>(values[2]), static_cast<double>(values[3]));
  return values.data();
}

double (*Draw::matrix())[3] {
  if (chance(20)) {
    tell(" null");
    return nullptr;
  }
  // Near to the identity, so that there is something to see, but for some of its numbers.
  const bool hostile = chance(3);
  for (int i = 0; i < 9; ++i) {
    const double slight = (i % 4 == 0 ? 1.0 : 0.0) + (upTo(201) - 100) * (i < 6 ? 0.01 : 1e-4);
    matrix_[i / 3][i % 3] = hostile && chance(3) ? real() : slight;
    tell("%s%g", i == 0 ? " matrix(" : i % 3 == 0 ? "; " : " ", matrix_[i / 3][i % 3]);
  }
  tell(")");
  return matrix_;
}

unsigned short* Draw::words() {
  static std::vector<unsigned short> tables[3];
  std::vector<unsigned short>& table = tables[upTo(3)];
  if (table.empty()) {
    const auto factor = static_cast<unsigned>(&table - tables) * 6 + 1;
    for (unsigned i = 0; i < 65536; ++i) table.push_back(static_cast<unsigned short>(i * factor));
  }
  return chance(20) ? nullptr : table.data();
}

}  // namespace mirl::fuzz
