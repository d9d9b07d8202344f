// Scalars, streams, filters, histograms, timers, devices, statuses and types: each row of a class
// is a random walk over its members.

#include <climits>
#include <cstring>
#include <string_view>
#include <utility>

#include "rows.h"

namespace mirl::fuzz {

namespace {

constexpr MirlStatus ok = MIRL_SUCCESS;

MirlStatus scalars(Draw& draw) {
  MirlScalar one = draw.scalar(false), other = draw.scalar(false);
  const int steps = 1 + draw.upTo(6);
  return draw.call([&] {
    for (int i = 0; i < steps; ++i) {
      const int k = draw.integer(), form = draw.upTo(12);
      draw.tell(" %d(%d)", form, k);
      if (form == 0) one = MirlScalar();
      if (form == 1) one = MirlScalar(k, 2, 3);
      if (form == 2) one = MirlScalar(k, 2, 3, 4);
      if (form == 3) one = MirlScalar(draw.real(), 2.0, 3.0);
      if (form == 4) one = MirlScalar(draw.real(), 2.0, 3.0, 4.0);
      if (form == 5) one = MirlScalar(other);
      if (form == 6) other = one;
      if (form == 7) one = std::move(other);
      if (form == 8) one = *&one;
      if (form == 9) other = -one;
      if (form == 10) one[k] = draw.real();
      if (form == 11) draw.result(std::as_const(one)[k]);
    }
    for (int i = 0; i < 4; ++i) draw.result(one[i]);
    return ok;
  });
}

MirlStatus streams(Draw& draw) {
  const int steps = 1 + draw.upTo(8);
  return draw.call([&] {
    MirlStream all[] = {MirlStream(), MirlStream(true), MirlStream(true)};
    for (int i = 0; i < steps; ++i) {
      MirlStream &stream = all[draw.upTo(3)], &other = all[draw.upTo(3)];
      const int form = draw.upTo(7);
      draw.tell(" %d", form);
      if (form == 0) stream.create();
      if (form == 1) stream.destroy();
      if (form == 2) stream.sync();
      if (form == 3) draw.result(stream.finished() ? 1 : 0);
      if (form == 4) stream = other;
      if (form == 5) stream = std::move(other);
      if (form == 6 && draw.chance(6)) device::resetCurrentDevice();
      if (stream.isDefault() && (stream.ptr() != nullptr || stream.id() != 0)) {
        draw.broken("a default stream has a handle or a number");
      }
    }
    return ok;
  });
}

MirlFilter special(Draw& draw) {
  const MirlSize size(draw.chance(6) ? -draw.upTo(3) : 1 + draw.upTo(12), 1 + draw.upTo(12));
  const auto number = static_cast<float>(draw.real());
  const int which = draw.upTo(7);
  draw.tell(" special %d (%dx%d %g)", which, size.width, size.height, static_cast<double>(number));
  if (which == 0) return MirlSpecialFilters::average(size);
  if (which == 1) return MirlSpecialFilters::gaussian(size, number);
  if (which == 2) return MirlSpecialFilters::laplacian(number);
  if (which == 3) return MirlSpecialFilters::unsharp(number);
  if (which == 4) return MirlSpecialFilters::prewitt();
  return which == 5 ? MirlSpecialFilters::scharr() : MirlSpecialFilters::sobel();
}

MirlStatus filters(Draw& draw) {
  const int steps = 1 + draw.upTo(8);
  const std::vector<float> values(144, 0.5f);
  return draw.call([&] {
    MirlFilter one, other = special(draw);
    for (int i = 0; i < steps; ++i) {
      // Only a product that no memory holds, or that wraps, is hostile here.
      MirlSize size{1 + draw.upTo(12), 1 + draw.upTo(12)};
      if (draw.chance(4)) size = {INT_MAX, draw.oneOf({INT_MAX, -1, 0, INT_MIN})};
      const Point anchor(draw.integer(), draw.integer());
      const float* const from = draw.chance(3) ? nullptr : values.data();
      const int k = draw.integer(), form = draw.upTo(16);
      draw.tell(" %d(%dx%d %d)", form, size.width, size.height, k);
      if (form == 0) one.create(size);
      if (form == 1) one.create(size, anchor);
      if (form == 2) one.create(size, anchor, from);
      if (form == 3) one.create(size, from);
      if (form == 4) one.create(size.width, size.height, from);
      if (form == 5) one = MirlFilter(size);
      if (form == 6) one = MirlFilter(size.width, size.height, anchor);
      if (form == 7) one = MirlFilter(size, from);
      if (form == 8) one.release();
      if (form == 9) one = other;
      if (form == 10) one = std::move(other);
      if (form == 11) one = *&one;
      if (form == 12) other = special(draw);
      if (form == 13) one[k] = 2;
      if (form == 14) one(k, draw.integer()) = 3;
      if (form == 15) other = MirlFilter(one);
      if (one.isInitialized() != (one.coeffs() != nullptr)) draw.broken("a filter is half made");
    }
    const int count = one.isInitialized() ? one.width() * one.height() : 0;
    for (int i = 0; i < count; ++i) draw.result(static_cast<double>(one[i]));
    return ok;
  });
}

MirlStatus pyramids(Draw& draw) {
  const MirlImage &first = draw.input(), &second = draw.input();
  const int steps = 1 + draw.upTo(6);
  // Each level may be as large as all before it together.
  const auto levels = [&] { return draw.chance(8) ? -draw.upTo(3) : draw.upTo(5); };
  const auto scale = [&] { return draw.oneOf({0.5f, 0.7f, 1.0f, 1.5f, 0.0f, -1.0f, 0.01f}); };
  const MirlStatus status = draw.call([&] {
    MirlPyramid one, other;
    for (int i = 0; i < steps; ++i) {
      const MirlImage& image = draw.chance(2) ? first : second;
      const auto way = static_cast<MirlInterpolationType>(draw.chance(8) ? draw.integer()
                                                                         : draw.oneOf({1, 2, 4}));
      const MirlSize window(draw.upTo(8), draw.upTo(8)), size(draw.upTo(70), draw.upTo(70));
      const auto sigma = static_cast<float>(draw.real());
      const int count = levels(), form = draw.upTo(11), k = draw.chance(4) ? draw.integer() : 1;
      const float ratio = scale();
      draw.tell(" %d(%d by %g)", form, count, static_cast<double>(ratio));
      if (form == 0) one.create(size, static_cast<MirlType>(draw.upTo(12)), count, ratio);
      if (form == 1) one.create(image, count, ratio, way);
      if (form == 2) one = MirlPyramid(image, count, ratio, way);
      if (form == 3) one.createGaussian(image, count, ratio, window, sigma, way);
      if (form == 4) one.createLaplacian(image, count, ratio, window, sigma, way);
      if (form == 5) one.createLaplacian(one[k], count, ratio, window, sigma, way);
      if (form == 6) other = one;
      if (form == 7) one = std::move(other);
      if (form == 8) one.release();
      if (form == 9) one[k].release();
      if (form == 10) one = MirlPyramid(size, MIRL_8U_C1, count, ratio);
      if (one.isInitialized() != (one.levels() > 0)) draw.broken("a pyramid is half made");
    }
    return ok;
  });
  draw.differs();  // levels that nothing was written to
  return status;
}

MirlStatus histograms(Draw& draw) {
  const int steps = 1 + draw.upTo(8);
  return draw.call([&] {
    MirlHistogram one, other(256, static_cast<MirlPointerType>(draw.upTo(3)));
    for (int i = 0; i < steps; ++i) {
      const int count = draw.oneOf({1, 2, 256, 768, 65536, 0, -1, INT_MIN});
      const auto location =
          static_cast<MirlPointerType>(draw.chance(6) ? draw.integer() : draw.upTo(3));
      const auto type = static_cast<MirlType>(draw.chance(4) ? draw.integer() : draw.upTo(12));
      const int form = draw.upTo(10);
      draw.tell(" %d(%d at %d, %d)", form, count, static_cast<int>(location),
                static_cast<int>(type));
      MirlStatus status = ok;
      if (form < 2) status = one.create(count, location);
      if (form == 2) status = one.create(type, location);
      if (form == 3) one = MirlHistogram(count, location);
      if (form == 4) one = MirlHistogram(type, location);
      if (form == 5) status = one.release();
      if (form == 6) one = other;
      if (form == 7) one = std::move(other);
      if (form == 8) other = MirlHistogram(one);
      if (form == 9 && draw.chance(6)) device::resetCurrentDevice();
      draw.result(static_cast<double>(status) + 1000.0 * one.binCount());
      if (one.isInitialized() != (one.hist() != nullptr)) draw.broken("a histogram is half made");
    }
    return ok;
  });
}

MirlStatus devices(Draw& draw) {
  const int id = draw.chance(2) ? draw.upTo(device::getDeviceCount()) : draw.integer();
  const bool known = id >= 0 && id < device::getDeviceCount();
  draw.tell(" device %d", id);
  return draw.call([&] {
    MirlDeviceProperties properties{};
    const MirlStatus described = device::getDeviceProperties(id, properties);
    if ((described == ok) != known) draw.broken("a description of no device");
    if (described == ok && properties.name[0] == 0) draw.broken("a device without a name");
    const MirlStatus set = device::setCurrentDevice(id);
    if ((set == ok) != known) draw.broken("a current device that isn't");
    if (device::getCurentDevice() != (known ? id : draw.device())) draw.broken("not the current");
    device::syncCurrentDevice();
    device::resetCurrentDevice();
    device::setCurrentDevice(draw.device());
    return ok;
  });
}

MirlStatus numbers(Draw& draw) {
  const int status = draw.chance(2) ? -draw.upTo(45) : draw.integer();
  const int type = draw.chance(2) ? draw.upTo(30) - 1 : draw.integer();
  const bool known = type >= 0 && type < 28;
  draw.tell(" status %d type %d", status, type);
  return draw.call([&] {
    if (std::string_view(statusMessage(status)).empty()) draw.broken("a status without a text");
    int depth = -5, channels = -5;
    typeToDepthAndChannels(type, depth, channels);
    const auto back = depthAndChannelsToType(std::abs(depth), channels, depth < 0);
    if (back != (known ? type : -1)) draw.broken("a type that comes back as another one");
    if (depthAndChannelsToType(draw.integer(), draw.integer(), draw.chance(2)) > 27) {
      draw.broken("a type above 27");
    }
    MirlTimer timer;
    if (draw.chance(2)) timer.Start();
    if (draw.chance(2)) timer.Reset();
    timer.Stop();
    draw.broken(timer.GetElapsedTime() >= 0 ? "" : "time runs backward");
    io::MirlVideoReader reader, another;
    reader = another;
    return ok;
  });
}

}  // namespace

Rows rowsOfClasses() {
  return {
      {"MirlScalar: MirlScalar operator= operator[] operator-", scalars},
      {"MirlStream: MirlStream operator= create destroy finished sync", streams},
      {"MirlFilter: MirlFilter operator= create release operator[] operator()", filters},
      {"MirlSpecialFilters: average gaussian laplacian unsharp prewitt scharr sobel", filters},
      {"MirlPyramid: MirlPyramid operator= create createGaussian createLaplacian release "
       "operator[]",
       pyramids},
      {"MirlHistogram: MirlHistogram operator= create release", histograms},
      {"device: getCurentDevice getDeviceCount getDeviceProperties setCurrentDevice "
       "syncCurrentDevice resetCurrentDevice",
       devices,
       {.rare = true}},
      {"others: statusMessage typeToDepthAndChannels depthAndChannelsToType", numbers},
      {"MirlTimer: MirlTimer Start Stop Reset GetElapsedTime", numbers},
      {"MirlVideoReader: operator=", numbers},
  };
}

}  // namespace mirl::fuzz
