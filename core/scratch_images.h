#pragma once

// Images for the length of one call.

#include "core/access.h"
#include "core/outputs.h"
#include "runtime/scratch.h"

#include <array>
#include <cstddef>
#include <optional>

namespace mirl::core {

/// Up to three images at a time in one block of scratch, each of them taking many formats one after
/// the other: one allocation for a call that works on many sizes, and no wait to free it.
class ScratchImages {
 public:
  static constexpr std::size_t kImages = 3;

  /// Makes room for an image of this format in the place of the `i`th; before the first `get`.
  void reserve(std::size_t i, const Format& format);
  /// The `i`th image, from now on in a format that there is room for. Empty if that has no pixels
  /// or there is no memory.
  MirlImage& get(const runtime::Queue& queue, std::size_t i, const Format& format);

  ScratchImages() = default;
  ScratchImages(const ScratchImages&) = delete;
  ScratchImages& operator=(const ScratchImages&) = delete;
  ~ScratchImages();

 private:
  std::array<std::size_t, kImages> bytes_{};
  std::array<MirlImage, kImages> images_;
  std::optional<runtime::Scratch> scratch_;
};

}  // namespace mirl::core
