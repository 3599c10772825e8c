#include "fcx/screen_capture.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <linux/fb.h>
#include <selinux/android.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <new>
#include <optional>
#include <utility>

#include "common/files.h"
#include "common/log.h"
#include "common/programs.h"
#include "platform/device_home.h"
#include "services/screen/pixels.h"
#include "services/screen/raw_image.h"
#include "services/screen/rectangle.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
struct ScreenCapture::Layout {
  static constexpr size_t kPointer = sizeof(void*);
  static constexpr size_t kWord = sizeof(int32_t);
  static constexpr size_t kCaptured = 2 * kPointer + 10 * kWord;
  static constexpr size_t kBitmap = kCaptured + 2 * kPointer;

  static_assert(sizeof captured_ == kPointer && sizeof captured_bw_ == kPointer);
  static_assert(offsetof(ScreenCapture, initialised_) == kPointer);
  static_assert(offsetof(ScreenCapture, framebuffer_) == kPointer + kWord);
  static_assert(offsetof(ScreenCapture, map_) == kPointer + 2 * kWord);
  static_assert(offsetof(ScreenCapture, map_length_) == 2 * kPointer + 2 * kWord);
  static_assert(offsetof(ScreenCapture, screen_width_) == 2 * kPointer + 3 * kWord);
  static_assert(offsetof(ScreenCapture, bits_per_pixel_) == 2 * kPointer + 5 * kWord);
  static_assert(offsetof(ScreenCapture, top_) == 2 * kPointer + 6 * kWord);
  static_assert(offsetof(ScreenCapture, height_) == 2 * kPointer + 9 * kWord);
  static_assert(offsetof(ScreenCapture, captured_) == kCaptured);
  static_assert(offsetof(ScreenCapture, captured_size_) == kCaptured + kPointer);
  static_assert(offsetof(ScreenCapture, captured_bw_) == kBitmap);
  static_assert(offsetof(ScreenCapture, captured_bw_size_) == kBitmap + kPointer);
  static_assert(offsetof(ScreenCapture, compositor_mode_) == kBitmap + kPointer + kWord);
  static_assert(sizeof(ScreenCapture) == kBitmap + kPointer + 2 * kWord);
};
#pragma GCC diagnostic pop

namespace {

constexpr char kFramebuffer[] = "/dev/graphics/fb0";
constexpr char kFolder[] = "/data/screencap/";
constexpr char kImage[] = "/data/screencap/screencapTemp.raw";

/// Zero-filled memory, or null when there is none.
std::unique_ptr<char[]> zeros(size_t size) {
  return std::unique_ptr<char[]>(new (std::nothrow) char[size]());
}

/// Makes the folder for the image where there is none.
fcx::Result make_folder() {
  if (fcx::presence_of(kFolder) == fcx::Presence::absent) {
    const fcx::Result made = fcx::make_device_directory(kFolder, 0744);
    if (!made.ok()) {
      DOMAIN_ERROR("captureScreen: Can not create %s!\n", kFolder);
      return made;
    }
  }
  if (selinux_android_restorecon(kFolder, 0) != 0) {
    DOMAIN_ERROR("ScreenCapture: selinux_android_restorecon fail!\n");
  }
  return {};
}

/// Removes the image; an old one must not be taken for a new one.
fcx::Result remove_image() {
  const fcx::Result removed = fcx::remove_device_file(kImage);
  if (!removed.ok()) {
    DOMAIN_ERROR("captureScreenSF: %s cannot be removed: %s\n", kImage, removed.reason());
  }
  return removed;
}

/// The header of an image; nothing, which is logged, when the file has none.
std::optional<fcx::RawHeader> read_header(fcx::DeviceFile& file) {
  std::array<char, fcx::kRawHeaderSize> bytes{};
  const fcx::ReadResult read = file.read(bytes.data(), bytes.size());
  const auto header = fcx::parse_raw_header({bytes.data(), read.size()});
  if (!header.has_value()) {
    DOMAIN_ERROR("captureScreenSF: the image has no header: %s\n",
                 read.has_content() ? "too short" : read.reason());
  }
  return header;
}

/// The pixels after the header; null, which is logged, when they are not all there.
std::unique_ptr<char[]> read_pixels(fcx::DeviceFile& file, const fcx::RawHeader& header,
                                    const fcx::Rectangle& rectangle) {
  const auto size = fcx::pixels_to_read(header, rectangle, file.size());
  if (!size.has_value()) {
    DOMAIN_ERROR("captureScreenSF: the image does not have the pixels\n");
    return nullptr;
  }
  std::unique_ptr<char[]> pixels(new (std::nothrow) char[*size]);
  if (pixels == nullptr) {
    DOMAIN_ERROR("captureScreenSF: no memory for the image\n");
    return nullptr;
  }
  const fcx::ReadResult read = file.read(pixels.get(), *size);
  if (read.size() == *size) return pixels;
  DOMAIN_ERROR("captureScreenSF: the image cannot be read: %s\n",
               read.has_content() ? "it has become shorter" : read.reason());
  return nullptr;
}

void log_not_executed() { DOMAIN_ERROR("ScreenCapture: Can not excute screencap!\n"); }

}  // namespace

ScreenCapture::ScreenCapture() = default;

ScreenCapture::~ScreenCapture() {
  if (initialised_ != 0) deinit();
}

int ScreenCapture::init() {
  if (initialised_ != 0) {
    DOMAIN_INFO("Already initialized!\n");
    return 0;
  }
  fcx::DeviceFile device(kFramebuffer, O_RDONLY, 0, fcx::Devices::block_or_character);
  if (!device.is_open()) {
    DOMAIN_ERROR("Cannot open fb0!\n");
    DOMAIN_ERROR("FD open fail : %s\n", device.reason());
    return -1;
  }
  fb_fix_screeninfo fixed{};
  fb_var_screeninfo variable{};
  if (!device.control(FBIOGET_FSCREENINFO, &fixed).ok() ||
      !device.control(FBIOGET_VSCREENINFO, &variable).ok()) {
    DOMAIN_ERROR("failed to get fb0 info!\n");
    return -1;
  }
  map_length_ = fixed.smem_len;
  screen_width_ = static_cast<int32_t>(variable.xres);
  screen_height_ = static_cast<int32_t>(variable.yres);
  bits_per_pixel_ = static_cast<int32_t>(variable.bits_per_pixel);
  if (compositor_mode_ != 0) return 0;

  fcx::DeviceMapping mapping;
  if (!device.map(map_length_, mapping).ok()) {
    DOMAIN_ERROR("Failed to mmap framebuffer!\n");
    return -1;
  }
  map_ = mapping.release();
  framebuffer_ = device.release();
  DOMAIN_INFO("ScreenCapture: initialized");
  DOMAIN_INFO("ScreenCapture: xres:%d, yres:%d, bitsPerPixel:%d\n", screen_width_, screen_height_,
              bits_per_pixel_);
  initialised_ = 1;
  return 0;
}

void ScreenCapture::deinit() {
  const android::base::unique_fd framebuffer(std::exchange(framebuffer_, -1));
  const fcx::DeviceMapping mapping(std::exchange(map_, nullptr), map_length_);
  initialised_ = 0;
}

int ScreenCapture::captureScreen() {
  // What it could not find out it has logged; the fields stay as they were.
  if (initialised_ == 0) static_cast<void>(init());
  return captureScreen(0, 0, screen_width_, screen_height_, 16);
}

int ScreenCapture::captureScreen(int left, int top, int width, int height, int bpp) {
  captured_.reset();
  captured_size_ = 0;
  if (initialised_ == 0) static_cast<void>(init());  // likewise
  const fcx::Rectangle rectangle{top, left, width, height};
  if (!rectangle.is_valid() || !rectangle.is_within(screen_width_, screen_height_)) {
    DOMAIN_ERROR("Invalid capture request!!!!!\n");
    return 0;
  }
  return compositor_mode_ != 0 ? captureScreenSF(left, top, width, height, bpp)
                               : captureScreenFB(left, top, width, height, bpp);
}

/// Forgets the last capture and keeps the rectangle of a new one. False when there is no such.
bool ScreenCapture::begin(int left, int top, int width, int height) {
  captured_.reset();
  captured_size_ = 0;
  if (!fcx::Rectangle{top, left, width, height}.is_valid()) {
    DOMAIN_ERROR("Invalid capture request!!!!!\n");
    return false;
  }
  top_ = top;
  left_ = left;
  width_ = width;
  height_ = height;
  DOMAIN_INFO("captureScreen: left=%d, top=%d, width=%d, height=%d\n", left, top, width, height);
  return true;
}

/// Captures the rectangle out of `size` bytes of the source.
int ScreenCapture::capture(const char* function, char* pixels, uint64_t size, int bpp) {
  const bool is_whole = bpp == 32;
  const fcx::PixelForm* form = fcx::form_of(bits_per_pixel_, is_whole);
  if (form != nullptr && pixels == nullptr) return getRectangleTrue32(pixels, pixels);  // it logs
  const fcx::Rectangle rectangle{top_, left_, width_, height_};
  const uint64_t stride = is_whole ? plain_stride() : row_stride();
  const auto bytes_per_pixel = static_cast<size_t>(std::max(bits_per_pixel_ / 8, 1));
  if (form != nullptr && !rectangle.is_within_bytes(size, stride, bytes_per_pixel)) {
    DOMAIN_ERROR("%s: the source does not have the pixels\n", function);
    return 0;
  }
  const size_t count = static_cast<size_t>(width_) * static_cast<size_t>(height_);
  captured_ = zeros(count * (is_whole ? fcx::kBytes32 : fcx::kBytes16));
  if (captured_ == nullptr) {
    DOMAIN_ERROR("%s: no memory for the capture\n", function);
  } else if (form == nullptr) {
    DOMAIN_ERROR("%s: no conversion of %d bits per pixel to %d\n", function, bits_per_pixel_,
                 is_whole ? 32 : 16);
  } else {
    captured_size_ = static_cast<int32_t>(
        fcx::copy_rectangle(pixels, captured_.get(), rectangle, stride, *form));
  }
  return captured_size_;
}

int ScreenCapture::captureScreenFB(int left, int top, int width, int height, int bpp) {
  if (!begin(left, top, width, height)) return 0;
  return capture(__func__, static_cast<char*>(map_), map_length_, bpp);
}

/// Has the image made. False, with errno set, when there is none.
bool ScreenCapture::request_image() {
  fcx::Result ready = make_folder();
  if (ready.ok()) ready = remove_image();
  if (!ready.ok()) {
    errno = ready.error();
    return false;
  }
  if (saveScreenToFile(0, kImage) == 0) return true;
  const int error = errno;
  DOMAIN_ERROR("ScreenCapture: Can not save temp image file!\n");
  errno = error;
  return false;
}

int ScreenCapture::captureScreenSF(int left, int top, int width, int height, int bpp) {
  if (!begin(left, top, width, height)) return 0;
  if (!request_image()) return fall_back(left, top, width, height, bpp);
  fcx::DeviceFile file(kImage, O_RDONLY);
  if (!file.is_open()) {
    errno = file.error();
    return fall_back(left, top, width, height, bpp);
  }
  DOMAIN_INFO("captureScreen: next!");
  if (const auto header = read_header(file)) {
    DOMAIN_INFO("ScreenCapture: X:%d, Y:%d, Format:%d\n", header->width, header->height,
                header->format);
    screen_width_ = header->width;
    screen_height_ = header->height;
    bits_per_pixel_ = header->bits_per_pixel();
    const auto pixels = read_pixels(file, *header, {top, left, width, height});
    if (pixels != nullptr) capture(__func__, pixels.get(), header->pixel_bytes().value_or(0), bpp);
  }
  DOMAIN_INFO("ScreenCapture: captureScreenSF is done.\n");
  static_cast<void>(file.close());    // it was only read
  static_cast<void>(remove_image());  // it has logged its failure
  // Each time, though the folder is no mount point as a rule, on purpose.
  fcx::platform_unmount(kFolder);
  return captured_size_;
}

/// Captures from the framebuffer instead; errno says why.
int ScreenCapture::fall_back(int left, int top, int width, int height, int bpp) {
  const int error = errno;
  static_cast<void>(remove_image());  // it has logged its failure
  DOMAIN_ERROR("ScreenCapture: Fail to get image data from SF.[err = %s]\n", strerror(error));
  compositor_mode_ = 0;
  static_cast<void>(init());  // without a map nothing is captured
  captureScreenFB(left, top, width, height, bpp);
  deinit();
  compositor_mode_ = 1;
  return captured_size_;
}

int ScreenCapture::saveScreenToFile(int png, const char* path) {
  errno = EINVAL;
  if (path == nullptr) return -1;
  if (path[0] == '\0') {
    DOMAIN_ERROR("saveScreenToFile: an empty path names nothing\n");
    errno = ENOENT;
    return -1;
  }
  const bool is_png = png != 0;
  const char* const arguments[] = {"screencap", is_png ? "-p" : path, is_png ? path : nullptr,
                                   nullptr};
  int status = 0;
  const fcx::Result ended =
      fcx::run_program(fcx::LibraryThread::screencap, arguments, log_not_executed, status);
  if (!ended.ok()) {
    DOMAIN_ERROR("saveScreenToFile: screencap cannot be run: %s\n", ended.reason());
    errno = ended.error();
    return -1;
  }
  DOMAIN_INFO("captureScreen: status(%d)\n", status);
  // Only 1 is a failure, on purpose.
  if (WIFEXITED(status) && WEXITSTATUS(status) != 1) return 0;
  DOMAIN_ERROR("captureScreen: screencap did not exit clearly!\n");
  errno = EIO;
  return -1;
}

uint64_t ScreenCapture::plain_stride() const {
  return static_cast<uint64_t>(std::max(screen_width_, 0));
}

uint64_t ScreenCapture::row_stride() const {
  constexpr int32_t kNarrowest = 256;
  const uint64_t width = plain_stride();
  const bool is_plain = compositor_mode_ != 0 || screen_width_ < kNarrowest || bits_per_pixel_ <= 0;
  if (is_plain) return width;
  // Rounded up by the depth, though that is no number of pixels, on purpose.
  const auto depth = static_cast<uint64_t>(bits_per_pixel_);
  return (width + depth - 1) / depth * depth;
}

int ScreenCapture::getRectangle32(char* src, char* dst) {
  return copy(src, dst, row_stride(), fcx::rgb565_form());
}

int ScreenCapture::getRectangle16(char* src, char* dst) {
  return copy(src, dst, row_stride(), fcx::kForm16);
}

int ScreenCapture::getRectangleTrue32(char* src, char* dst) {
  return copy(src, dst, plain_stride(), fcx::kForm32);
}

int ScreenCapture::copy(const char* src, char* dst, uint64_t stride,
                        const fcx::PixelForm& form) const {
  if (src == nullptr || dst == nullptr) {
    DOMAIN_ERROR("Used null buffer!");
    return 0;
  }
  const fcx::Rectangle rectangle{top_, left_, width_, height_};
  return static_cast<int>(fcx::copy_rectangle(src, dst, rectangle, stride, form));
}

int ScreenCapture::convertToBW(int threshold) {
  captured_bw_.reset();
  captured_bw_size_ = 0;
  const auto width = static_cast<size_t>(width_);
  const auto height = static_cast<size_t>(height_);
  if (captured_size_ == 0 || static_cast<size_t>(captured_size_) < width * height * fcx::kBytes16) {
    DOMAIN_ERROR("convertToBW: nothing was captured\n");
    return 0;
  }
  // Of what has 31 bits of pixels, each of 4 bytes, the bitmap has no more.
  const size_t row_size =
      (width + fcx::kBitRowPixels - 1) / fcx::kBitRowPixels * (fcx::kBitRowPixels / 8);
  const size_t size = row_size * height;
  auto bitmap = zeros(size);
  if (bitmap == nullptr) {
    DOMAIN_ERROR("convertToBW: no memory for the bitmap\n");
    return 0;
  }
  const int64_t limit = int64_t{threshold} * 3 / 4;
  for (size_t row = 0; row < height; ++row) {
    fcx::pixel_routines().to_bits(captured_.get() + row * width * fcx::kBytes16,
                                  bitmap.get() + row * row_size, width, limit);
  }
  captured_bw_ = std::move(bitmap);
  captured_bw_size_ = static_cast<int32_t>(size);
  return captured_bw_size_;
}

char* ScreenCapture::getCaptured() { return captured_.get(); }

int ScreenCapture::getCapturedSize() { return captured_size_; }

char* ScreenCapture::getCapturedBW() { return captured_bw_.get(); }

int ScreenCapture::getCapturedBWSize() { return captured_bw_size_; }

int ScreenCapture::getScreenWidth() {
  if (initialised_ == 0) static_cast<void>(init());  // the field stays what it was
  return screen_width_;
}

int ScreenCapture::getScreenHeight() {
  if (initialised_ == 0) static_cast<void>(init());  // likewise
  return screen_height_;
}
