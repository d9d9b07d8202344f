#pragma once

// Image files in a folder of the process's own, most of them damaged.

#include <string>

#include "draw.h"

namespace mirl::fuzz {

/// The path of a file that was an image before bytes were changed, cut off or put in; sometimes of
/// a sound one, of one that isn't there or of a folder.
std::string damagedFile(Draw& draw);

/// A path to write to, some of which can't be written.
std::string newFile(Draw& draw);

/// While it lives, libraries' complaints about files go nowhere; reports of sanitizers don't.
class Quiet {
 public:
  Quiet();
  ~Quiet();
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;
};

}  // namespace mirl::fuzz
