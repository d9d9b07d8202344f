#include "shows.h"

namespace gallery {

std::vector<Show> shows() {
  std::vector<Show> all;
  for (const std::span<const Show>& table :
       {basicShows(), colorShows(), toneShows(), enhancementShows(), sensorShows(),
        filteringShows(), geometryShows(), transformShows(), visionShows(), flowShows(),
        statisticsShows()}) {
    all.insert(all.end(), table.begin(), table.end());
  }
  return all;
}

}  // namespace gallery
