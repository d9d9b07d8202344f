#pragma once

#include "stage.h"

#include <span>
#include <vector>

namespace gallery {

/// One thing that the gallery shows. A new operation is a new entry in the table of its family: the
/// picture runs it once through Stage::run, which keeps its time, and returns what is to be seen.
struct Show {
  const char* section;    ///< the heading that it stands under
  const char* operation;  ///< its name in the library
  const char* caption;    ///< what one sees
  const char* photo;      ///< the default photo that shows it best, by the start of its name
  bool pair;              ///< whether it takes two photos
  /// The picture: 8 or 16 bits, or float from 0 to 1.
  MirlImage (*picture)(Stage&);
};

/// The tables, one for each family.
std::span<const Show> basicShows();
std::span<const Show> colorShows();
std::span<const Show> enhancementShows();
std::span<const Show> filteringShows();
std::span<const Show> flowShows();
std::span<const Show> geometryShows();
std::span<const Show> sensorShows();
std::span<const Show> statisticsShows();
std::span<const Show> toneShows();
std::span<const Show> transformShows();
std::span<const Show> visionShows();

/// All of them, in the order of the page.
std::vector<Show> shows();

}  // namespace gallery
