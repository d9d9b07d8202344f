#pragma once

// The GPU vendor's primitives as tables: an operation's name, its images, and a routine with its
// arguments, in which images and sizes have stand-ins:
//
//   {"add 8u C1", {{k8, k8}, {k8}}, call(nppiAdd_8u_C1RSfs_Ctx, kA, kB, kOut, kSize, 0)}
//
// The routine's last argument, the stream, is added.

#include "bench.h"

#include <nppcore.h>

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace mirl::bench::npp {

inline constexpr MirlType k8 = MIRL_8U_C1, k8c = MIRL_8U_C3, k16 = MIRL_16U_C1, k16c = MIRL_16U_C3,
                          k32 = MIRL_32F_C1, k32c = MIRL_32F_C3;

struct Shape {
  std::vector<MirlType> in;
  std::vector<MirlType> out;
  double scale = 1;     ///< of the outputs' sides
  int pad = 0;          ///< by which outputs are larger on each side
  bool waits = false;   ///< for results in `Found`, as ours does
  MirlType table = k8;  ///< what `kTable` holds
  bool turned = false;  ///< outputs have the rows' length as height
};

/// The images of one peer, all on the current GPU.
struct Images {
  std::vector<MirlImage> in;
  std::vector<MirlImage> out;
  MirlImage table;
  MirlImage scratch;
  MirlImage found;
  NppStreamContext context;
  // Addresses of all inputs, outputs and so on, for routines that take them in arrays.
  std::array<void*, 3> inPlanes, outPlanes, tables, foundPlanes;
};

using Call = std::function<NppStatus(Images&)>;

struct Peer {
  std::string operation;
  Shape shape;
  Call call;
};

/// A pointer of whatever type the routine wants.
struct Address {
  void* at;
  template <class T>
  operator T*() const {
    return static_cast<T*>(at);
  }
};

inline Address addressIn(const MirlImage& image, int x, int y, int element) {
  const int bytes = image.depth() / 8;
  return {static_cast<char*>(image.ptr()) + std::ptrdiff_t{y} * image.pitch() +
          std::ptrdiff_t{x} * bytes * image.channels() + std::ptrdiff_t{element} * bytes};
}

// --- stand-ins
// ------------------------------------------------------------------------------------

/// An image's address, from a pixel or element on, and its pitch.
struct Source {
  std::size_t index;
  int x = 0, y = 0, element = 0;
};
struct Target {
  std::size_t index;
  int x = 0, y = 0, element = 0;
};
inline constexpr Source kA{0}, kB{1};
inline constexpr Target kOut{0};

/// The input's size less a margin on each side; without inputs the output's.
struct Size {
  int margin;
};
inline constexpr Size kSize{0};

inline constexpr struct OutSize {
} kOutSize;
inline constexpr struct InRect {
} kInRect;
inline constexpr struct OutRect {
} kOutRect;
/// Rows with their padding as one signal: how many elements, and where they are.
inline constexpr struct Length {
} kLength;
inline constexpr struct InSignal {
} kInSignal;
inline constexpr struct OutSignal {
} kOutSignal;
/// All inputs or outputs, one for each channel, with their common pitch.
inline constexpr struct InPlanes {
} kInPlanes;
inline constexpr struct OutPlanes {
} kOutPlanes;
/// A table in device memory, and the same for each channel.
inline constexpr struct Table {
} kTable;
inline constexpr struct Tables {
} kTables;
inline constexpr struct Scratch {
} kScratch;
/// Where results go, so many bytes from the start, and a place for those of each channel.
struct Found {
  int at = 0;
};
inline constexpr int kFoundBytes = 2048;  // of a channel's
inline constexpr struct FoundPlanes {
} kFoundPlanes;

/// Three of a constant, in host memory.
template <class T>
std::array<T, 3> three(T value) {
  return {value, value, value};
}

struct Matrix {
  float of[3][4];
};

// --- what a stand-in comes to, as a tuple of arguments
// --------------------------------------------

inline NppiSize sizeOf(const MirlImage& image) {
  return {image.width(), image.height()};
}
inline auto expand(Images& i, const Source& s) {
  return std::tuple(addressIn(i.in[s.index], s.x, s.y, s.element), i.in[s.index].pitch());
}
inline auto expand(Images& i, const Target& t) {
  return std::tuple(addressIn(i.out[t.index], t.x, t.y, t.element), i.out[t.index].pitch());
}
inline auto expand(Images& i, const Size& s) {
  const NppiSize size = sizeOf(i.in.empty() ? i.out[0] : i.in[0]);
  return std::tuple(NppiSize{size.width - 2 * s.margin, size.height - 2 * s.margin});
}
inline auto expand(Images& i, OutSize) {
  return std::tuple(sizeOf(i.out[0]));
}
inline auto expand(Images& i, InRect) {
  return std::tuple(NppiRect{0, 0, i.in[0].width(), i.in[0].height()});
}
inline auto expand(Images& i, OutRect) {
  return std::tuple(NppiRect{0, 0, i.out[0].width(), i.out[0].height()});
}
inline auto expand(Images& i, Length) {
  const MirlImage& in = i.in[0];
  return std::tuple(static_cast<std::size_t>(in.pitch() / (in.depth() / 8)) *
                    static_cast<std::size_t>(in.height()));
}
inline auto expand(Images& i, InSignal) {
  return std::tuple(Address{i.in[0].ptr()});
}
inline auto expand(Images& i, OutSignal) {
  return std::tuple(Address{i.out[0].ptr()});
}
inline auto expand(Images& i, InPlanes) {
  return std::tuple(Address{i.inPlanes.data()}, i.in[0].pitch());
}
inline auto expand(Images& i, OutPlanes) {
  return std::tuple(Address{i.outPlanes.data()}, i.out[0].pitch());
}
inline auto expand(Images& i, Table) {
  return std::tuple(Address{i.table.ptr()});
}
inline auto expand(Images& i, Tables) {
  return std::tuple(Address{i.tables.data()});
}
inline auto expand(Images& i, Scratch) {
  return std::tuple(Address{i.scratch.ptr()});
}
inline auto expand(Images& i, const Found& f) {
  return std::tuple(addressIn(i.found, f.at, 0, 0));
}
inline auto expand(Images& i, FoundPlanes) {
  return std::tuple(Address{i.foundPlanes.data()});
}
/// Some routines take constants by pointers to what they don't change, without saying so.
template <class T, std::size_t N>
auto expand(Images&, const std::array<T, N>& values) {
  return std::tuple(const_cast<T*>(values.data()));
}
inline auto expand(Images&, const Matrix& matrix) {
  return std::tuple(&matrix.of[0]);
}
/// All else is meant as it stands.
template <class T>
auto expand(Images&, const T& value) {
  return std::tuple(value);
}

template <class Routine, class... Arguments>
NppStatus invoke(Images& images, Routine routine, const Arguments&... arguments) {
  return std::apply([&](const auto&... all) { return routine(all..., images.context); },
                    std::tuple_cat(expand(images, arguments)...));
}

template <class Routine, class... Arguments>
Call call(Routine routine, Arguments... arguments) {
  return [=](Images& images) { return invoke(images, routine, arguments...); };
}

// --- the tables
// -----------------------------------------------------------------------------------

std::vector<Peer> arithmeticPeers();
std::vector<Peer> colorPeers();
std::vector<Peer> dataPeers();
std::vector<Peer> geometryPeers();
std::vector<Peer> orthogonalPeers();
std::vector<Peer> statisticsPeers();

}  // namespace mirl::bench::npp
