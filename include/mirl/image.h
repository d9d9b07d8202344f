#pragma once

#include <mirl/export.h>
#include <mirl/records.h>
#include <mirl/scalar.h>
#include <mirl/status.h>
#include <mirl/stream.h>
#include <mirl/types.h>

#include <string>

/// A two-dimensional buffer of interleaved pixels in device memory, with its format.
///
/// An image is empty or live. `create` makes it live on the calling thread's current device, where
/// it stays until `release`; the image owns its buffer and copies are deep. Element (x, y, c)
/// stands at byte `y * pitch() + (x * channels() + c) * depth() / 8` behind `ptr()`.
///
/// Operations that take an empty output image create it, on the device of their inputs. A live
/// output is never reallocated (only `convertTo` does that): it must fit, else `MIRL_MISMATCH`. All
/// images of one call, and its stream, must belong to one device, else `MIRL_MISMATCH`.
///
/// Where the library speaks of 8-bit and 16-bit images without a sign it means unsigned elements,
/// and by float those of 32 bits. Operations that take signed ones as well say so.
///
/// Images have no lock. Different threads may read one image's fields and use it as an input at
/// once; what changes it must be alone.
class MIRL_API MirlImage {
 public:
  /// An empty image.
  MirlImage();
  /// Each of these makes an empty image and calls `create` with the same arguments. A failure
  /// leaves the image empty, which `isInitialized` tells.
  MirlImage(int width, int height, int depth, int channels);
  MirlImage(int width, int height, int pitch, int depth, int channels);
  MirlImage(int width, int height, MirlType type);
  MirlImage(const MirlSize& size, int depth, int channels);
  MirlImage(const MirlSize& size, MirlType type);
  MirlImage(const std::string& file, MirlLoadType load);
  /// A deep copy on the other image's device, with its `channelSeq` and `dataBits`. Waits for the
  /// copy. Empty if the other image is empty or memory runs out.
  MirlImage(const MirlImage& other);
  /// Takes the buffer over; the other image is empty afterwards.
  MirlImage(MirlImage&& other) noexcept;
  ~MirlImage();

  /// Becomes a deep copy of the other image, as the copy constructor makes it. Assigning an empty
  /// image or the image itself changes nothing.
  MirlImage& operator=(const MirlImage& other);
  /// Gives its own buffer back and takes the other's over. Assigning an empty image or the image
  /// itself changes nothing, as with a copy.
  MirlImage& operator=(MirlImage&& other) noexcept;

  /// A copy of an empty image.
  static const MirlImage null();

  /// Allocates an image on the current device, without clearing it. A live image is left as it is,
  /// whatever the arguments, and `MIRL_SUCCESS` returned.
  ///
  /// `depth` is the bits of an element, 8, 16, 32 or 64, negative for signed integers. `channelSeq`
  /// becomes blue-first for 3 and 4 channels and none otherwise, `dataBits` the depth.
  ///
  /// In this order: `MIRL_INVALID_ARGUMENT` for a width or height below 1,
  /// `MIRL_CHANNELS_NOT_SUPPORTED` outside 1 to 4 channels, `MIRL_DEPTH_NOT_SUPPORTED` for a depth
  /// that isn't a power of two of at least 8, `MIRL_INVALID_ARGUMENT` for rows longer than a
  /// pitch can say (2147483647 bytes), `MIRL_DEVICE_ALLOC_FAILED` without memory.
  MirlStatus create(int width, int height, int depth, int channels);
  /// The same with rows `pitch` bytes apart, any number from a row's bytes up
  /// (`MIRL_INVALID_ARGUMENT` below that).
  MirlStatus create(int width, int height, int pitch, int depth, int channels);
  MirlStatus create(const MirlSize& size, int depth, int channels);
  /// A type outside 0 to 27 gives `MIRL_CHANNELS_NOT_SUPPORTED`.
  MirlStatus create(int width, int height, MirlType type);
  MirlStatus create(const MirlSize& size, MirlType type);
  /// Reads an image file; see mirl/io.h for formats and `load`. A live image must have the file's
  /// size, depth and channels (`MIRL_MISMATCH`) and is overwritten.
  ///
  /// `MIRL_INVALID_ARGUMENT` if the file can't be read as an image, `MIRL_DEPTH_NOT_SUPPORTED` for
  /// signed elements, what `create` and `upload` return, `MIRL_OPERATION_FAILED` in a build without
  /// image files. A failure leaves the image as it was.
  MirlStatus create(const std::string& file, MirlLoadType load);

  /// Frees the buffer; the image is empty afterwards, while `type` and `isSigned` keep their last
  /// values. `MIRL_IMAGE_NOT_INITIALIZED` on an empty image. `MIRL_DEVICE_FREE_FAILED` if the
  /// device refuses, the image then being as it was.
  MirlStatus release();

  int width() const { return width_; }
  int height() const { return height_; }
  /// Bytes from one row to the next.
  int pitch() const { return pitch_; }
  /// Bits of an element, without the sign.
  int depth() const { return depth_; }
  int channels() const { return channels_; }
  /// Significant bits in each element, for content of 10, 12 or 14 bits in a 16-bit image. More
  /// than the depth, as after a conversion in place, count as the depth wherever they matter;
  /// `bitConversion` alone refuses them.
  int dataBits() const { return dataBits_; }
  MirlType type() const { return type_; }
  MirlChannelSeq channelSeq() const { return channelSeq_; }
  bool isInitialized() const { return initialized_; }
  bool isSigned() const { return isSigned_; }
  MirlSize size() const { return {width_, height_}; }
  /// The first byte of row 0, in the memory of the image's device.
  void* ptr() const { return data_; }
  /// The number of the device on which the image was created, -1 on an empty image.
  int device() const { return device_; }

  void setChannelSequence(MirlChannelSeq sequence) { channelSeq_ = sequence; }
  /// `MIRL_INVALID_ARGUMENT` outside 0 to `depth()`.
  MirlStatus setDataBits(int bits);

  /// Copies host pixels into the image, and back with `download`. Without a stream the call waits
  /// for the copy; with one it is queued, and the host memory must stay valid and unchanged until
  /// the stream is synchronised. Images have any type; nothing is converted.
  ///
  /// The forms without a pitch move `pitch() * height()` bytes as one block, so the host memory
  /// must have the image's own pitch. Pitches are in bytes and rectangles in pixels. Note the order
  /// of arguments: the rectangle comes before the pitch in `upload` and behind it in `download`.
  ///
  /// In this order: `MIRL_IMAGE_NOT_INITIALIZED`; `MIRL_NULL_POINTER` for null host memory;
  /// `MIRL_INVALID_ARGUMENT` for a rectangle with negative numbers or one that leaves the image, a
  /// negative corner on the host side, or a host pitch below the bytes of a row that is moved;
  /// `MIRL_MISMATCH` for a stream of another device and `MIRL_INVALID_ARGUMENT` for a dead one;
  /// `MIRL_COPY_H2D_FAILED` or `MIRL_COPY_D2H_FAILED`. A rectangle without pixels moves nothing.
  MirlStatus upload(const void* src);
  MirlStatus upload(const void* src, const MirlStream& stream);
  MirlStatus upload(const void* src, int hostPitch);
  MirlStatus upload(const void* src, int hostPitch, const MirlStream& stream);
  MirlStatus upload(const void* src, MirlRect srcRect, int hostPitch, MirlPoint2D<int> dstOrigin);
  MirlStatus upload(const void* src, MirlRect srcRect, int hostPitch, MirlPoint2D<int> dstOrigin,
                    const MirlStream& stream);
  MirlStatus download(void* dst) const;
  MirlStatus download(void* dst, const MirlStream& stream) const;
  MirlStatus download(void* dst, int hostPitch) const;
  MirlStatus download(void* dst, int hostPitch, const MirlStream& stream) const;
  MirlStatus download(void* dst, MirlPoint2D<int> dstOrigin, int hostPitch, MirlRect srcRect);
  MirlStatus download(void* dst, MirlPoint2D<int> dstOrigin, int hostPitch, MirlRect srcRect,
                      const MirlStream& stream);

  /// Copies the pixels of `srcRect` to `dstOrigin` of another image, queued on the stream. An empty
  /// `dst` is created with the rectangle's size and this image's type. A live one may have any
  /// format: the bytes are copied as they are. It may be this image; where the two rectangles then
  /// overlap, the result is `MIRL_IN_PLACE_NOT_SUPPORTED`.
  ///
  /// In this order: `MIRL_IMAGE_NOT_INITIALIZED`; `MIRL_MISMATCH` for images or a stream of two
  /// devices and `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_INVALID_ARGUMENT` for a rectangle
  /// with negative numbers, one that leaves this image, or one that doesn't fit into `dst` at
  /// `dstOrigin`; what `create` returns; `MIRL_COPY_D2D_FAILED`.
  MirlStatus copyTo(MirlImage& dst, MirlPoint2D<int> dstOrigin, MirlRect srcRect,
                    const MirlStream& stream = MirlStream()) const;

  /// One element as double, for inspection: each call waits for a copy of its own. Outside the
  /// image 0.
  double get(int x, int y, int channel) const;
  /// All channels of a pixel; entries beyond the channel count are 0.
  MirlScalar get(int x, int y) const;
  /// Writes one element, clamped to the range of an integer element and truncated toward zero; NaN
  /// becomes 0. Waits for the copy. `MIRL_INVALID_ARGUMENT` outside the image,
  /// `MIRL_DEPTH_NOT_SUPPORTED` for a depth that has no type, `MIRL_COPY_H2D_FAILED`.
  MirlStatus set(int x, int y, int channel, double value);
  /// Writes all channels of a pixel.
  MirlStatus set(int x, int y, const MirlScalar& value);

  /// Fills the image with one value, or with one for each channel: unsigned 8-bit and 16-bit and
  /// float images with 1 or 3 channels. In integer images the value is limited to the type's range
  /// and truncated, NaN becoming 0. Queued on the stream.
  ///
  /// In this order: `MIRL_IMAGE_NOT_INITIALIZED`; `MIRL_TYPE_NOT_SUPPORTED`; `MIRL_MISMATCH` for a
  /// stream of another device and `MIRL_INVALID_ARGUMENT` for a dead one.
  MirlStatus set(double value, const MirlStream& stream = MirlStream());
  MirlStatus set(const MirlScalar& value, const MirlStream& stream = MirlStream());
  /// Fills one channel. Here an integer image takes the low bits of the truncated value, so 300 is
  /// 44 in 8 bits; NaN and infinity give 0. After the type `MIRL_INVALID_ARGUMENT` for a channel
  /// that the image doesn't have.
  MirlStatus set(int channel, double value, const MirlStream& stream = MirlStream());

  /// One channel of 3 or 4 as a new image, see `mirl::dataExchange::getChannel`. Empty where that
  /// fails.
  MirlImage operator[](int channel) const;

  /// Converts to another element type: `element * scale + shift` with one rounding, integer results
  /// clamped to the type's range and truncated toward zero, as `mirl::dataExchange::convertScale`
  /// does. `dst` may be empty, of another type (then it is replaced) or this image itself, which
  /// then keeps its `channelSeq` and `dataBits`. Queued on the stream.
  ///
  /// `MIRL_IMAGE_NOT_INITIALIZED` if this image is empty. Into a live image of the type, what
  /// `convertScale` returns. Else in this order: `MIRL_CHANNELS_NOT_SUPPORTED` for a type of
  /// another channel count; `MIRL_MISMATCH` for images or a stream of two devices and
  /// `MIRL_INVALID_ARGUMENT` for a dead stream; what `release` and `create` return;
  /// `MIRL_TYPE_NOT_SUPPORTED`, `dst` having the new type by then. If the creation fails, another
  /// `dst` has been released; this image itself is as it was.
  MirlStatus convertTo(MirlImage& dst, MirlType type, float scale, float shift,
                       const MirlStream& stream = MirlStream()) const;
  /// The same by depth, negative for signed integers. First of all `MIRL_DEPTH_NOT_SUPPORTED` for a
  /// depth that has no type with this image's channels, so also if this image is empty.
  MirlStatus convertTo(MirlImage& dst, int depth, float scale, float shift,
                       const MirlStream& stream = MirlStream()) const;

  /// The operators of mirl/operators.h onto the image itself: it keeps its type, and nothing is
  /// allocated. `x - c` adds -c, and `x / c` multiplies by 1 / c in double precision, also for
  /// scalars. The work is queued on the default stream; a failure leaves the image as it was.
  MirlImage& operator+=(const MirlImage& other);
  MirlImage& operator+=(const MirlScalar& s);
  MirlImage& operator+=(int c);
  MirlImage& operator+=(double c);
  MirlImage& operator-=(const MirlImage& other);
  MirlImage& operator-=(const MirlScalar& s);
  MirlImage& operator-=(int c);
  MirlImage& operator-=(double c);
  MirlImage& operator*=(const MirlImage& other);
  MirlImage& operator*=(const MirlScalar& s);
  MirlImage& operator*=(int c);
  MirlImage& operator*=(double c);
  MirlImage& operator/=(const MirlImage& other);
  MirlImage& operator/=(const MirlScalar& s);
  MirlImage& operator/=(int c);
  MirlImage& operator/=(double c);
  MirlImage& operator&=(const MirlImage& other);
  MirlImage& operator&=(int c);
  MirlImage& operator|=(const MirlImage& other);
  MirlImage& operator|=(int c);
  MirlImage& operator^=(const MirlImage& other);
  MirlImage& operator^=(int c);
  MirlImage& operator<<=(int n);
  MirlImage& operator>>=(int n);
  /// Adds 1 or takes 1 away. The forms behind the image return what it was, in a deep copy, for
  /// which they wait.
  MirlImage& operator++();
  MirlImage& operator--();
  MirlImage operator++(int);
  MirlImage operator--(int);
  /// The image times -1, in its own type: zeros if that is unsigned.
  MirlImage operator-() const;

 private:
  friend struct ImageAccess;

  bool initialized_ = false;
  bool isSigned_ = false;
  void* data_ = nullptr;
  int width_ = 0;
  int height_ = 0;
  int pitch_ = 0;
  int depth_ = 0;
  int channels_ = 0;
  int dataBits_ = 0;
  MirlChannelSeq channelSeq_ = MIRL_CHANNELSEQ_UNSET;
  MirlType type_ = static_cast<MirlType>(-1);
  int device_ = -1;
  unsigned deviceEpoch_ = 0;
};
