#pragma once

#include "stage.h"

#include <string>
#include <vector>

namespace gallery {

/// One thing that was shown, with its picture and its time.
struct Exhibit {
  std::string section;
  std::string operation;
  std::string caption;
  std::string subject;  ///< the photos that it was made from
  std::string file;     ///< the picture in the gallery's folder
  MirlImage picture;
  std::vector<Timing> timings;
};

}  // namespace gallery
