#pragma once

#include "exhibit.h"

#include <string>
#include <vector>

namespace gallery {

/// Writes a web page with all pictures, their captions and their times. It needs nothing but the
/// pictures beside it.
void writePage(const std::vector<Exhibit>& exhibits, const std::string& title,
               const std::string& file);

}  // namespace gallery
