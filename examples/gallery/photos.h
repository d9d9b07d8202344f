#pragma once

// The photos that the gallery works on.

#include <mirl/mirl.h>

#include <string>
#include <vector>

namespace gallery {

/// What an operation is shown on: a photo, and a pair of photos of one size.
struct Subject {
  std::string name;      ///< the photo's file name
  std::string pairName;  ///< both file names
  MirlImage photo;       ///< 8-bit, 3 channels
  MirlImage gray;        ///< 8-bit, 1 channel
  MirlImage first;       ///< the photo, cut to the size that the pair has in common
  MirlImage second;      ///< the photo that goes with it
};

/// A photo as a file name and the one that goes with it, which may be empty.
struct PhotoFile {
  std::string file;
  std::string partner;
};

/// Photos and frame pairs of Debian's package opencv-doc.
std::vector<PhotoFile> defaultPhotos();

/// Each photo with the one behind it, the last with the first.
std::vector<PhotoFile> inTurn(const std::vector<std::string>& files);

/// Reads the photos. One that can't be read is left out, with a line on stderr that says why;
/// `complete` is false then. A photo without a partner goes with itself, shifted a little.
std::vector<Subject> readSubjects(const std::vector<PhotoFile>& files, bool& complete);

}  // namespace gallery
