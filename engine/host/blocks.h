#pragma once

#include "engine/functor.h"
#include "engine/host/rows.h"
#include "engine/view.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace mirl::engine::host {

template <class F, class Out, class In>
void mapRun(const F& f, std::ptrdiff_t count, char* out, const char* in) {
  std::ptrdiff_t i = 0;
  if constexpr (hasVectors<F>) i = f.vectors(count, out, in);
  for (; i < count; ++i) {
    In from;
    std::memcpy(&from, in + i * std::ptrdiff_t{sizeof from}, sizeof from);
    const Out to = f(from);
    std::memcpy(out + i * std::ptrdiff_t{sizeof to}, &to, sizeof to);
  }
}

template <class F, class Out, class In>
void mapBlocks(const F& f, const View<Out>& out, const View<const In>& in) {
  constexpr std::ptrdiff_t kRun = 128;  // whole cache lines of any block
  const auto rowBytes = static_cast<std::size_t>(out.width) * (sizeof(Out) + sizeof(In));
  forRows(out.height, rowBytes, [&](const Rows& rows) {
    Outlet<kRun * sizeof(Out)> outlet(rows.pastCaches);
    for (int y = rows.begin; y < rows.end; ++y) {
      for (std::ptrdiff_t x = 0; x < out.width; x += kRun) {
        const std::ptrdiff_t count = std::min<std::ptrdiff_t>(kRun, out.width - x);
        char* const to = reinterpret_cast<char*>(rowOf(out, y)) + x * std::ptrdiff_t{sizeof(Out)};
        const auto* from =
            reinterpret_cast<const char*>(rowOf(in, y)) + x * std::ptrdiff_t{sizeof(In)};
        mapRun<F, Out, In>(f, count, outlet.open(to), from);
        outlet.close(to, static_cast<std::size_t>(count) * sizeof(Out));
      }
    }
  });
}

}  // namespace mirl::engine::host
