#pragma once

#include <mirl/export.h>
#include <mirl/image.h>
#include <mirl/status.h>
#include <mirl/types.h>

#include <string>

/// Image files, in the formats that OpenCV's imgcodecs reads and writes, chosen by content on
/// reading and by the file name's extension on writing. Colour stands blue first in memory, as a
/// new 3-channel image says. All of this blocks. In a build without OpenCV reading and writing
/// fail.
namespace mirl::io {

/// Reads a file into a new image on the current device. Throws a `std::exception`, with the text
/// "Image Not Found" for a file that can't be read as an image; no other operation throws. An image
/// that can't be created (signed elements, no memory) comes back empty. An orientation stored in a
/// photo is applied, except where it is read as stored.
MIRL_API MirlImage loadImage(const std::string& file, MirlLoadType load);

/// Writes an image. Float images of 1 or 3 channels are taken to run from 0.0 to 1.0 and are
/// written with 8 bits (`value * 255`, clamped and truncated); all others are written as they are,
/// except that elements that the format doesn't hold are clamped to 8 bits, and a fourth channel
/// that it doesn't hold is left out.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED`; `MIRL_DEPTH_NOT_SUPPORTED` for signed elements and
/// for depths that have no type; a failed conversion's or download's status;
/// `MIRL_OPERATION_FAILED` if the file can't be written: an unknown extension, a path that isn't
/// there, channels that the format can't hold, a full disk. A file that was there before is only
/// touched in the last of these cases.
MIRL_API MirlStatus saveImage(MirlImage& image, const std::string& file);

/// Reserved: there is no video input.
class MIRL_API MirlVideoReader {
 public:
  MirlVideoReader& operator=(const MirlVideoReader& other);
};

}  // namespace mirl::io
