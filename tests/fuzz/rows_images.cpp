// Images: their life, transfers, elements, and their files.

#include <algorithm>
#include <climits>
#include <cmath>

#include "files.h"
#include "rows.h"

namespace mirl::fuzz {

namespace {

constexpr MirlStatus ok = MIRL_SUCCESS;

int dimension(Draw& draw) {
  return draw.chance(3) ? draw.oneOf({0, -1, INT_MIN, INT_MAX, 65536, 715827883, 1 << 28})
                        : 1 + draw.upTo(60);
}

/// Calls make(arguments...) in one of the five ways to describe an image.
template <class Make>
void described(Draw& draw, const Make& make) {
  const int width = dimension(draw);
  int height = dimension(draw);
  const int depth =
      draw.oneOf({8, -8, 16, -16, 32, -32, 64, 128, 0, 7, 24, -1, 1 << 30, INT_MAX, INT_MIN});
  const int channels = draw.chance(4) ? draw.integer() : 1 + draw.upTo(4);
  const int pitch = draw.chance(4) ? draw.integer() : draw.upTo(4000);
  const auto type = static_cast<MirlType>(draw.chance(4) ? draw.integer() : draw.upTo(28));
  const int form = draw.upTo(5);
  // What some machines have and others haven't costs a sanitizer seconds.
  const double ofType = 32.0 * width, ofDepth = std::fabs(depth) / 8 * std::fabs(channels) * width;
  const double ofPitch = pitch;
  for (const double row : {form == 1 ? ofPitch : ofType, form == 1 ? 0.0 : ofDepth}) {
    if (row * height > 0x1p21 && row * height < 0x1p44) height = 0;
  }
  draw.tell(" form %d: %dx%d depth %d channels %d pitch %d type %d", form, width, height, depth,
            channels, pitch, static_cast<int>(type));
  if (form == 0) make(width, height, depth, channels);
  if (form == 1) make(width, height, pitch, depth, channels);
  if (form == 2) make(MirlSize(width, height), depth, channels);
  if (form == 3) make(width, height, type);
  if (form == 4) make(MirlSize(width, height), type);
}

MirlStatus create(Draw& draw) {
  MirlImage& image = draw.output();
  MirlStatus status = ok;
  described(draw, [&](auto... arguments) {
    status = draw.call([&] { return image.create(arguments...); });
  });
  return status;
}

MirlStatus construct(Draw& draw) {
  described(draw, [&](auto... arguments) {
    draw.call([&] { return draw.result(MirlImage(arguments...)), ok; });
  });
  return ok;
}

MirlStatus copies(Draw& draw) {
  const MirlImage& from = draw.input();
  return draw.call([&] { return draw.result(MirlImage(from)), ok; });
}

MirlStatus assigns(Draw& draw) {
  MirlImage &to = draw.output(), &from = draw.output();
  const bool moves = draw.chance(2);
  draw.tell(moves ? " moved" : " copied");
  return draw.call([&] { return moves ? to = std::move(from) : to = from, ok; });
}

/// Host memory of the size that a transfer needs, or null. A transfer that needs more than a bit is
/// made one that is refused.
struct HostSide {
  test::Bytes bytes;
  int pitch = 0;
  bool null = false;

  unsigned char* data() { return null ? nullptr : bytes.data(); }
};

HostSide hostOf(Draw& draw, const MirlImage& image, const MirlRect& part, const Point& corner) {
  HostSide host;
  const std::int64_t pixel = test::pixelBytes(image);
  const std::int64_t row = (std::int64_t{corner.x} + part.width) * pixel;
  host.pitch = draw.chance(6) ? draw.integer() : static_cast<int>(row + draw.upTo(9));
  const std::int64_t rows = std::int64_t{corner.y} + part.height;
  std::int64_t needed = rows > 0 && host.pitch > 0 ? (rows - 1) * host.pitch + row : 0;
  if (needed > 1 << 20 || row > 1 << 20) {
    needed = 0;
    host.pitch = -1;
  }
  host.bytes.resize(static_cast<std::size_t>(std::max<std::int64_t>(needed, 0)), test::kGuard);
  for (unsigned char& byte : host.bytes) byte = static_cast<unsigned char>(draw.bits());
  host.null = draw.chance(20) || host.bytes.empty();
  draw.tell(" host pitch %d%s", host.pitch, host.null ? " null" : "");
  return host;
}

/// All six forms of a transfer in one direction.
MirlStatus transfer(Draw& draw, bool up) {
  MirlImage& image = draw.output();
  const MirlStream& stream = draw.stream();
  const int form = draw.upTo(6);
  const bool block = form < 2, whole = form < 4;
  draw.tell(" form %d", form);
  const MirlRect part = whole ? MirlRect(0, 0, image.width(), image.height()) : draw.rect();
  const Point corner = whole ? Point() : Point(draw.coordinate(5), 0), at(part.x, part.y);
  HostSide host = hostOf(draw, image, part, corner);
  if (block) {
    host.bytes.resize(test::blockBytes(image));
    draw.differs();  // by the pitch
  }
  unsigned char* const data = host.data();
  const MirlRect onHost(corner.x, corner.y, part.width, part.height);
  const MirlStatus status = draw.call([&]() -> MirlStatus {
    if (up) {
      if (form == 0) return image.upload(data);
      if (form == 1) return image.upload(data, stream);
      if (form == 2) return image.upload(data, host.pitch);
      if (form == 3) return image.upload(data, host.pitch, stream);
      if (form == 4) return image.upload(data, onHost, host.pitch, at);
      return image.upload(data, onHost, host.pitch, at, stream);
    }
    if (form == 0) return image.download(data);
    if (form == 1) return image.download(data, stream);
    if (form == 2) return image.download(data, host.pitch);
    if (form == 3) return image.download(data, host.pitch, stream);
    if (form == 4) return image.download(data, corner, host.pitch, part);
    return image.download(data, corner, host.pitch, part, stream);
  });
  // Signalling NaN of a float image's bytes and all: these are moved, not computed.
  draw.result(host.bytes);
  return status;
}

MirlStatus reads(Draw& draw) {
  const MirlImage& image = draw.input();
  const int x = draw.coordinate(image.width()), y = draw.coordinate(image.height());
  const int channel = draw.coordinate(4);
  return draw.call([&] {
    draw.result(image.get(x, y, channel));
    const MirlScalar pixel = image.get(x, y);
    for (int i = 0; i < 4; ++i) draw.result(pixel[i]);
    return ok;
  });
}

MirlStatus writes(Draw& draw) {
  MirlImage& image = draw.output();
  const MirlScalar& scalar = draw.scalar(false);
  const double number = draw.argument<double>();
  const int x = draw.coordinate(image.width()), y = draw.coordinate(image.height());
  const int channel = draw.coordinate(4);
  const MirlStream& stream = draw.stream();
  const int form = draw.upTo(5);
  draw.tell(" form %d", form);
  return draw.call([&] {
    if (form == 0) return image.set(x, y, channel, number);
    if (form == 1) return image.set(x, y, scalar);
    if (form == 2) return image.set(number, stream);
    if (form == 3) return image.set(scalar, stream);
    return image.set(channel, number, stream);
  });
}

/// A file that was an image before something happened to it.
template <class Read>
MirlStatus readsFile(Draw& draw, const Read& read) {
  MirlImage& image = draw.output();
  const std::string file = damagedFile(draw);
  const auto load = draw.argument<MirlLoadType>();
  const Quiet quiet;
  return draw.call([&] { return read(image, file, load); });
}

MirlStatus loads(Draw& draw) {
  return readsFile(draw, [&](MirlImage&, const std::string& file, MirlLoadType load) {
    try {
      draw.result(io::loadImage(file, load));
    } catch (const std::exception& error) {
      // Without that text in a build that reads no files.
    }
    return ok;
  });
}

MirlStatus saves(Draw& draw) {
  MirlImage& image = draw.output();
  const std::string file = newFile(draw);
  const Quiet quiet;
  return draw.call([&] { return io::saveImage(image, file); });
}

}  // namespace

Rows rowsOfImages() {
  const std::uint64_t noMemory = statuses(MIRL_DEVICE_ALLOC_FAILED);
  const std::uint64_t copyFails = statuses(MIRL_COPY_H2D_FAILED),
                      fails = statuses(MIRL_OPERATION_FAILED);
  const Traits converts{.loose = true,
                        .changes = statuses(MIRL_TYPE_NOT_SUPPORTED, MIRL_DEVICE_ALLOC_FAILED,
                                            MIRL_INVALID_ARGUMENT)};
  constexpr bool noFiles = MIRL_WITH_OPENCV == 0;
  using S = Stream;
  return {
      {"MirlImage::create", create, {.unset = true, .pitch = true, .also = noMemory}},
      {"MirlImage::MirlImage", construct, {.unset = true, .also = noMemory}},
      {"MirlImage::MirlImage copy", copies},
      {"MirlImage::operator=", assigns, {.live = true, .loose = true}},
      makes(
          "MirlImage::null", +[]() -> MirlImage { return MirlImage::null(); }),
      row("MirlImage::release", +[](Out image) { return image.release(); },
          {.loose = true, .also = statuses(MIRL_DEVICE_FREE_FAILED)}),
      row(
          "MirlImage::setDataBits", +[](Out image, int bits) { return image.setDataBits(bits); }),
      {"MirlImage::upload",
       [](Draw& d) { return transfer(d, true); },
       {.live = true, .loose = true, .pitch = true}},
      {"MirlImage::download",
       [](Draw& d) { return transfer(d, false); },
       {.live = true, .pitch = true}},
      row(
          "MirlImage::copyTo",
          +[](In a, Out b, Point at, const MirlRect& r, S s) { return a.copyTo(b, at, r, s); }),
      {"MirlImage::get", reads},
      {"MirlImage::set", writes, {.live = true, .changes = copyFails}},
      makes("MirlImage::operator[]", +[](In image, int channel) { return image[channel]; },
            {.in = {MIRL_8U_C3, MIRL_16U_C4, MIRL_32F_C3}}),
      row(
          "MirlImage::convertTo",
          +[](In a, Out b, MirlType type, float scale, float shift, S s) {
            return a.convertTo(b, type, scale, shift, s);
          },
          converts),
      row(
          "MirlImage::convertTo depth",
          +[](In a, Out b, int depth, float scale, float shift, S s) {
            const int depths[] = {8, 16, 32, 64, -8, -16, -32, 128, 0};
            const bool known = depth >= 0 && depth < 9;
            return a.convertTo(b, known ? depths[depth] : depth, scale, shift, s);
          },
          converts),
      {"MirlImage::create file",
       [](Draw& draw) {
         return readsFile(draw, [](MirlImage& image, const std::string& file, MirlLoadType load) {
           return image.create(file, load);
         });
       },
       {.rare = true, .futile = noFiles, .also = fails}},
      {"MirlImage::MirlImage file",
       [](Draw& draw) {
         return readsFile(draw, [&](MirlImage&, const std::string& file, MirlLoadType load) {
           return draw.result(MirlImage(file, load)), ok;
         });
       },
       {.rare = true}},
      {"loadImage", loads, {.rare = true}},
      {"saveImage",
       saves,
       {.in = {MIRL_8U_C1, MIRL_8U_C3, MIRL_8U_C4, MIRL_16U_C3, MIRL_32F_C1, MIRL_32F_C3},
        .live = true,
        .rare = true,
        .futile = noFiles,
        .also = fails}},
  };
}

}  // namespace mirl::fuzz
