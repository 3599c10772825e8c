// What the display shows, as pixels: a rectangle of it, and that in black and white.
//
// The pixels come from the device's program "screencap", which asks the display's compositor and
// writes a file; where that fails, from the framebuffer, "/dev/graphics/fb0". One object serves one
// caller at a time, who waits until the program has ended.
//
// Example:
//
//   #include <cstdio>
//
//   ScreenCapture screen;
//   const int size = screen.captureScreen();  // all of it, RGB565
//   if (size > 0) fwrite(screen.getCaptured(), static_cast<size_t>(size), 1, stdout);
#pragma once

#include <cstdint>
#include <memory>

namespace fcx {
struct PixelForm;
}

#pragma GCC visibility push(default)

/// Captures, each of which replaces the one before, and the bitmap made of one.
class ScreenCapture {
 public:
  ScreenCapture();
  /// Frees what was captured, and deinit() where the framebuffer is in use.
  virtual ~ScreenCapture();
  ScreenCapture(const ScreenCapture&) = delete;
  ScreenCapture& operator=(const ScreenCapture&) = delete;

  /// Reads the screen's size and depth from the framebuffer. With the framebuffer as the source it
  /// stays open and mapped, until deinit(); otherwise it is closed, and the next call reads anew.
  /// @return 0, also when it is in use already; -1 when it cannot be opened, asked or mapped: the
  ///         size and depth stay what they were then where they could not be read
  int init();
  /// Unmaps and closes the framebuffer, if it is in use.
  void deinit();

  // Captures. Each begins by freeing what was captured before, and logs every failure. A rectangle
  // is in pixels of the screen. `bpp` is 32 for the source's own 32-bit pixels, 4 bytes each, red
  // in the lowest; anything else gives RGB565, 2 bytes each. Rows are packed, from top to bottom.
  // The size in bytes is width * height * bytes per pixel; it is 0, getCapturedSize() too, when
  //   - a number is negative, or the pixels would pass 31 bits;
  //   - the rectangle is not within what the source has;
  //   - the source has not 32 bits per pixel but `bpp` is 32, or neither 16 nor 32;
  //   - there is no memory for it.

  /// Captures the whole screen as RGB565.
  /// @return the size in bytes, or 0
  int captureScreen();
  /// Captures a rectangle, which must be within the screen as init() finds it; when that fails,
  /// as it was found before.
  /// @return the size in bytes, or 0
  int captureScreen(int left, int top, int width, int height, int bpp);
  /// Captures from the framebuffer, which init() must have left mapped.
  /// @return the size in bytes, or 0
  int captureScreenFB(int left, int top, int width, int height, int bpp);
  /// Captures with "screencap" by way of "/data/screencap/screencapTemp.raw", which is removed in
  /// any case; the folder is made where it is missing. When there is no such image, captures from
  /// the framebuffer. The screen's size and depth become the image's.
  /// @return the size in bytes, or 0
  int captureScreenSF(int left, int top, int width, int height, int bpp);

  // The rectangle of the last capture, out of a whole picture at `src` into packed rows at `dst`.
  // Row for row `src` has as many pixels as the screen is wide; where the framebuffer is the
  // source, 16- and 32-bit rows of 256 pixels or more are rounded up to a multiple of the bits per
  // pixel. Both are the caller's, and neither needs an alignment: `src` reaches to the rectangle's
  // last pixel, `dst` has as many bytes as are returned. 0 for null, which is logged, and for an
  // empty rectangle.

  /// 32-bit pixels to RGB565. @return width * height * 2
  int getRectangle32(char* src, char* dst);
  /// 16-bit pixels as they are. @return width * height * 2
  int getRectangle16(char* src, char* dst);
  /// 32-bit pixels as they are. @return width * height * 4
  int getRectangleTrue32(char* src, char* dst);

  /// Makes a black-and-white bitmap of what was captured, which is taken for RGB565: one bit a
  /// pixel, the leftmost in the highest bit, set where it is bright. A row is padded with zeros to
  /// a multiple of 32 pixels. A pixel is bright when its brightness, 0 to 187, is above
  /// threshold * 3 / 4; it is that of the pixel with its two bytes swapped, on purpose: stations
  /// compare with such bitmaps.
  /// @return the bitmap's size in bytes; 0, without a bitmap, when nothing was captured, or there
  ///         is no memory
  int convertToBW(int threshold);

  /// Has "screencap" write the screen to a device file.
  /// @param png  not 0 for a PNG picture, 0 for a raw image: width, height and format (3: 24 bits,
  ///             4: RGB565, other: 32 bits) as little-endian words of 32 bits, then packed rows
  /// @param path NUL-terminated; null and empty fail
  /// @return 0; -1 when the program cannot be run, exits with 1, stops or is killed, with errno
  ///         set. Any other exit status is success, on purpose.
  int saveScreenToFile(int png, const char* path);

  /// What was captured last, getCapturedSize() bytes; owned by this object, until the next capture.
  /// After a capture that failed the size is 0, and the pointer is for nobody to read from.
  char* getCaptured();
  int getCapturedSize();
  /// The last bitmap, getCapturedBWSize() bytes; owned by this object, until the next
  /// convertToBW(). Null, and 0, without one; a capture leaves it.
  char* getCapturedBW();
  int getCapturedBWSize();
  /// The screen's size in pixels, after init(), or as the last image had it where that fails.
  int getScreenWidth();
  int getScreenHeight();

 private:
  struct Layout;

  [[gnu::visibility("hidden")]] bool begin(int left, int top, int width, int height);
  [[gnu::visibility("hidden")]] int capture(const char* function, char* pixels, uint64_t size,
                                            int bpp);
  [[gnu::visibility("hidden")]] bool request_image();
  [[gnu::visibility("hidden")]] int fall_back(int left, int top, int width, int height, int bpp);
  [[gnu::visibility("hidden")]] int copy(const char* src, char* dst, uint64_t stride,
                                         const fcx::PixelForm& form) const;
  /// Pixels from one row of the source to the next.
  [[gnu::visibility("hidden")]] uint64_t plain_stride() const;
  [[gnu::visibility("hidden")]] uint64_t row_stride() const;

  // Their order and sizes are part of the interface.
  int32_t initialised_ = 0;
  int32_t framebuffer_ = -1;    ///< open descriptor, or -1
  void* map_ = nullptr;         ///< of the framebuffer
  uint32_t map_length_ = 0;     ///< in bytes
  int32_t screen_width_ = 0;    ///< in pixels
  int32_t screen_height_ = 0;   ///< in pixels
  int32_t bits_per_pixel_ = 0;  ///< of the source
  int32_t top_ = 0;             ///< of the last capture's rectangle
  int32_t left_ = 0;
  int32_t width_ = 0;
  int32_t height_ = 0;
  std::unique_ptr<char[]> captured_;
  int32_t captured_size_ = 0;  ///< in bytes
  std::unique_ptr<char[]> captured_bw_;
  int32_t captured_bw_size_ = 0;  ///< in bytes
  int32_t compositor_mode_ = 1;   ///< 1: screencap is the source, 0: the framebuffer
};

#pragma GCC visibility pop
