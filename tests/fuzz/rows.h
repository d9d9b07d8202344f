#pragma once

// One row for each operation: its name and a random call of it.

#include <functional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "draw.h"

namespace mirl::fuzz {

/// The first word of the name is the operation, as `MirlImage::create` for members. A row of many
/// members names them behind the class: `MirlStream: create destroy`.
struct Row {
  std::string name;
  std::function<MirlStatus(Draw&)> run;
  Traits traits = {};
};
using Rows = std::vector<Row>;

Rows rowsOfArithmetic();
Rows rowsOfColor();
Rows rowsOfData();
Rows rowsOfImages();
Rows rowsOfClasses();

using In = const MirlImage&;
using Out = MirlImage&;
using Stream = const MirlStream&;
using Scalar = const MirlScalar&;

/// One of several functions of a name, whose arguments end in a stream.
template <class... Args>
constexpr auto of(std::type_identity_t<MirlStatus (*)(Args..., Stream)> function) {
  return function;
}

/// A row that draws each argument by its type.
template <class... Args>
Row row(std::string name, MirlStatus (*function)(Args...), const Traits& traits = {}) {
  return {std::move(name),
          [function](Draw& draw) {
            // Braces, because their order is that of the arguments.
            std::tuple<Args...> arguments{draw.argument<Args>()...};
            return draw.call([&] { return std::apply(function, arguments); });
          },
          traits};
}

/// The same of a function that returns an image and no status.
template <class... Args>
Row makes(std::string name, MirlImage (*function)(Args...), Traits traits = {}) {
  traits.unset = true;
  return {std::move(name),
          [function](Draw& draw) {
            std::tuple<Args...> arguments{draw.argument<Args>()...};
            return draw.call([&] {
              draw.result(std::apply(function, arguments));
              return MIRL_SUCCESS;
            });
          },
          traits};
}

}  // namespace mirl::fuzz
