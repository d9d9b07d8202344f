#pragma once

#include <mirl/export.h>
#include <mirl/image.h>
#include <mirl/records.h>
#include <mirl/status.h>
#include <mirl/types.h>

#include <memory>

/// Images of one scene in sizes that fall by a fixed ratio, level 0 being the largest.
///
/// With a scale below 1 the size that is given is level 0's, and each further level is smaller. With
/// a scale of 1 or more it is the last level's, and each level before it is larger. A side of the
/// next level is trunc(float(side) * scale) of the level just made, so 101 with 0.5 gives 50, 25,
/// 12. A level whose size comes to 0, or above what an int holds, stays an empty image, and so do
/// those that would be made after it.
///
/// Copies of a pyramid share its levels, which are freed with the last of them; moving hands them
/// over. Filling is queued on the default stream of the images' device, with scratch allocated once
/// a call, and isn't waited for. Pyramids have no lock.
class MIRL_API MirlPyramid {
 public:
  /// A pyramid without levels.
  MirlPyramid() = default;
  /// Each of these calls `create` with the same arguments; `isInitialized` tells how it went.
  MirlPyramid(const MirlSize& size, MirlType type, int levels, float scale);
  MirlPyramid(const MirlImage& image, int levels, float scale, MirlInterpolationType interpolation);

  MirlPyramid(const MirlPyramid& other) = default;
  MirlPyramid& operator=(const MirlPyramid& other) = default;
  /// The other object has no levels afterwards.
  MirlPyramid(MirlPyramid&& other) noexcept;
  MirlPyramid& operator=(MirlPyramid&& other) noexcept;
  ~MirlPyramid();

  /// Allocates the levels on the current device, without clearing them. A pyramid that has levels is
  /// left as it is and `MIRL_SUCCESS` returned, whatever the arguments.
  ///
  /// `MIRL_INVALID_ARGUMENT` for less than 1 level or more than 1048576, and unless `scale` is
  /// greater than 0. That is the only failure here and below: a level whose image can't be had is
  /// empty, and an image whose type an operation doesn't serve gives levels with no content.
  MirlStatus create(const MirlSize& size, MirlType type, int levels, float scale);
  /// The same in the size, in the type and on the device of an image, from which every level is
  /// scaled directly, as `mirl::geometryTransforms::resize` does: with a scale below 1 by
  /// `interpolation`, else linearly. An empty image gives empty levels.
  MirlStatus create(const MirlImage& image, int levels, float scale,
                    MirlInterpolationType interpolation);

  /// Makes each level of the one before it: with a scale below 1 blurred by
  /// `MirlSpecialFilters::gaussian(filterSize, sigma)` and then scaled, else scaled and then
  /// blurred. The first one is a copy of the image, with its `channelSeq` and `dataBits`.
  ///
  /// In a pyramid that has levels those are filled, `levels` of them from level 0 on or as many as
  /// there are, in the direction that `scale` says and whatever their sizes; the first one takes the
  /// image's size and type, for which it waits if it had others. Less than 1 level fills nothing.
  MirlStatus createGaussian(const MirlImage& image, int levels, float scale,
                            const MirlSize& filterSize, float sigma,
                            MirlInterpolationType interpolation);
  /// Makes the levels like that, and takes from each what is left of it when it is blurred and
  /// scaled to the level after it and back: with a scale of 1 or more, scaled to the level after it,
  /// blurred and scaled back. The level made last goes through half its size, or twice, instead. The
  /// image can't be restored from that, as what is left of the last level isn't kept.
  ///
  /// Differences are those of `mirl::arithmeticLogical::subtract`, so unsigned levels have nothing
  /// of what is darker than its surroundings; floats have all. A level without one after it that
  /// could be made has its own blurred copy taken off; with a scale of 1 or more it is left as it is.
  MirlStatus createLaplacian(const MirlImage& image, int levels, float scale,
                             const MirlSize& filterSize, float sigma,
                             MirlInterpolationType interpolation);

  /// Gives the levels back, or this object's share of them. Always `MIRL_SUCCESS`.
  MirlStatus release();

  /// A level. Out of range an empty image, one for each thread, on which whatever a caller does is
  /// undone by the next such access through a pyramid that isn't const.
  MirlImage& operator[](int index);
  const MirlImage& operator[](int index) const;
  /// Level 0 and the last one; that empty image if there are none.
  const MirlImage& largest() const { return (*this)[0]; }
  const MirlImage& smallest() const { return (*this)[levelCount_ - 1]; }
  int levels() const { return levelCount_; }
  float scale() const { return scaleFactor_; }
  bool isInitialized() const { return images_ != nullptr; }

 private:
  MirlStatus allocate(int levels, float scale);
  MirlStatus createLike(const MirlImage& image, int levels, float scale);

  std::shared_ptr<MirlImage[]> images_;
  int levelCount_ = 0;
  float scaleFactor_ = 0;
};
