#pragma once

#include "exhibit.h"

#include <string>
#include <vector>

namespace gallery {

/// Writes all pictures with their captions side by side into one picture file.
void writeContactSheet(const std::vector<Exhibit>& exhibits, const std::string& title,
                       const std::string& file);

}  // namespace gallery
