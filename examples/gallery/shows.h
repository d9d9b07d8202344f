#pragma once

#include "stage.h"

#include <span>

namespace gallery {

/// One thing that the gallery shows.
struct Show {
  const char* section;    ///< the heading that it stands under
  const char* operation;  ///< its name in the library
  const char* caption;    ///< what one sees
  const char* photo;      ///< the default photo that shows it best, by the start of its name
  bool pair;              ///< whether it takes two photos
  /// The picture: 8 or 16 bits, or float from 0 to 1.
  MirlImage (*picture)(Stage&);
};

/// All of them, in the order of the page.
std::span<const Show> shows();

}  // namespace gallery
