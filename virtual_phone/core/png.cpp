#include "virtual_phone/core/png.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <png.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "virtual_phone/core/error.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;

/// libpng's picture, which tells by its message what went wrong, and jumps nowhere.
struct PngImage : png_image {
  PngImage() : png_image{} { version = PNG_IMAGE_VERSION; }
  PngImage(const PngImage&) = delete;
  PngImage& operator=(const PngImage&) = delete;
  ~PngImage() { png_image_free(this); }
};

using Stream = std::unique_ptr<FILE, int (*)(FILE*)>;

/// Without waiting for a pipe.
Stream open_to_read(const fs::path& file) {
  android::base::unique_fd fd(open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat found {};
  if (!fd.ok() || fstat(fd.get(), &found) != 0) throw Error(file.string() + ": " + strerror(errno));
  if (!S_ISREG(found.st_mode)) throw Error(file.string() + " is no file");
  Stream stream(android::base::Fdopen(std::move(fd), "rb"), fclose);
  if (stream == nullptr) throw Error(file.string() + ": " + strerror(errno));
  return stream;
}

}  // namespace

Picture read_png(const fs::path& file) {
  const Stream stream = open_to_read(file);
  PngImage image;
  const auto fail = [&] {
    throw Error(file.string() + " is no PNG file that can be read: " + image.message);
  };
  if (png_image_begin_read_from_stdio(&image, stream.get()) == 0) fail();
  if (image.width > kLongestSide || image.height > kLongestSide) {
    throw Error(file.string() + " has " + std::to_string(image.width) + " x " +
                std::to_string(image.height) + " pixels; a display has at most " +
                std::to_string(kLongestSide) + " x " + std::to_string(kLongestSide));
  }
  image.format = PNG_FORMAT_RGBA;
  image.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;  // unless the file says otherwise
  Picture picture(static_cast<int>(image.width), static_cast<int>(image.height));
  if (png_image_finish_read(&image, nullptr, picture.rgba.data(), 0, nullptr) == 0) fail();
  return picture;
}

std::string encode_png(const Picture& picture) {
  PngImage image;
  image.width = static_cast<png_uint_32>(picture.width);
  image.height = static_cast<png_uint_32>(picture.height);
  image.format = PNG_FORMAT_RGB;
  std::vector<uint8_t> rgb;
  rgb.reserve(picture.rgba.size() / kPixelSize * 3);
  for (size_t i = 0; i < picture.rgba.size(); i += kPixelSize) {
    rgb.insert(rgb.end(), &picture.rgba[i], &picture.rgba[i] + 3);
  }
  png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
  std::string bytes(size, '\0');
  if (png_image_write_to_memory(&image, bytes.data(), &size, 0, rgb.data(), 0, nullptr) == 0) {
    throw Error(std::string("the picture cannot be made a PNG file: ") + image.message);
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace virtual_phone
