#include "virtual_phone/core/display.h"

#include <fcntl.h>
#include <linux/fb.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "platform/device_home.h"
#include "virtual_phone/core/node.h"
#include "virtual_phone/core/own_directory.h"
#include "virtual_phone/core/platform_call.h"
#include "virtual_phone/core/test_card.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;
using android::base::unique_fd;

constexpr char kDirectory[] = "/dev/graphics";
constexpr char kNodes[] = "/sys/class/graphics/fb0";
constexpr char kSize[] = "/sys/class/graphics/fb0/virtual_size";
constexpr char kDepth[] = "/sys/class/graphics/fb0/bits_per_pixel";
constexpr char kStride[] = "/sys/class/graphics/fb0/stride";

/// What a row is filled with: its number, and where its pixels go, as four bytes each.
using RowSource = std::function<void(int y, uint8_t* rgba)>;

[[noreturn]] void fail(const std::string& what) { throw Error(what + ": " + strerror(errno)); }

/// Who looks at the display, or changes it, takes turns with the others while what this returns is
/// open.
unique_fd turn_at(const fs::path& directory) {
  unique_fd turn(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!turn.ok() || flock(turn.get(), LOCK_EX) != 0) fail(directory.string());
  return turn;
}

unique_fd turn_at_display(const Phone& phone) {
  const auto directory = own_directory(phone, kDirectory);
  if (!directory.has_value()) throw Error(std::string(kDirectory) + " is no directory");
  return turn_at(*directory);
}

size_t pixel_size(const Display& display) {
  return static_cast<size_t>(display.bits_per_pixel) / 8;
}

size_t row_size(const Display& display) {
  return static_cast<size_t>(display.width) * pixel_size(display);
}

bool is_side(int pixels) { return pixels >= 1 && pixels <= kLongestSide; }

bool is_possible(const Display& display) {
  return is_side(display.width) && is_side(display.height) &&
         (display.bits_per_pixel == 16 || display.bits_per_pixel == 32) &&
         display.stride >= static_cast<int>(row_size(display)) &&
         display.stride <= kLongestSide * static_cast<int>(kPixelSize);
}

void check_is_possible(const Display& display, const char* advice = "") {
  if (is_possible(display)) return;
  throw Error("no display has " + std::to_string(display.width) + " x " +
              std::to_string(display.height) + " pixels of " +
              std::to_string(display.bits_per_pixel) + " bits in rows of " +
              std::to_string(display.stride) + " bytes" + advice);
}

Display display_of(int width, int height, int bits_per_pixel) {
  Display usual = {width, height, bits_per_pixel, 0};
  if (is_side(width) && (bits_per_pixel == 16 || bits_per_pixel == 32)) {
    const int beyond = width < 256 ? 0 : width % bits_per_pixel;
    const int pixels = width + (beyond == 0 ? 0 : bits_per_pixel - beyond);
    usual.stride = pixels * bits_per_pixel / 8;
  }
  check_is_possible(usual);
  return usual;
}

/// The same pixels in the display's form.
void store_pixels(const Display& display, const uint8_t* rgba, uint8_t* pixels) {
  if (display.bits_per_pixel == 32) {
    std::copy_n(rgba, row_size(display), pixels);
    return;
  }
  for (int x = 0; x < display.width; ++x, rgba += kPixelSize) {
    const int value = rgba[0] >> 3 << 11 | rgba[1] >> 2 << 5 | rgba[2] >> 3;
    *pixels++ = static_cast<uint8_t>(value & 0xFF);
    *pixels++ = static_cast<uint8_t>(value >> 8);
  }
}

void write_rows(int fd, const std::string& file, const Display& display, const RowSource& source) {
  std::vector<uint8_t> rgba(static_cast<size_t>(display.width) * kPixelSize);
  std::vector<uint8_t> row(static_cast<size_t>(display.stride));
  for (int y = 0; y < display.height; ++y) {
    source(y, rgba.data());
    store_pixels(display, rgba.data(), row.data());
    errno = ENOSPC;  // of a short write
    if (write(fd, row.data(), row.size()) != static_cast<ssize_t>(row.size())) fail(file);
  }
}

RowSource test_card(int width, int height) {
  return [=](int y, uint8_t* rgba) { fill_card_row(width, height, y, rgba); };
}

/// Opens the framebuffer, for one whose turn it is. An empty one shows the test card from now on:
/// in place, since somebody may have opened it already. One for which there is no card stays empty.
unique_fd open_framebuffer(const Phone& phone, const Display& display) {
  unique_fd memory = open_node(phone, kFramebuffer, O_RDONLY);
  struct stat found {};
  if (!memory.ok() || fstat(memory.get(), &found) != 0) fail(kFramebuffer);
  if (found.st_size > 0 || !is_possible(display)) return memory;
  memory = open_node(phone, kFramebuffer, O_RDWR);
  if (!memory.ok()) fail(kFramebuffer);
  try {
    write_rows(memory.get(), kFramebuffer, display, test_card(display.width, display.height));
  } catch (const Error&) {
    // Half of a card would stay for ever. One that cannot be emptied stays short, which is told.
    static_cast<void>(ftruncate(memory.get(), 0));
    throw;
  }
  return memory;
}

/// Makes a node that somebody has removed, empty.
void make_node(const Phone& phone, const fs::path& node) {
  const fs::path place = make_own_directory(phone, kNodes) / node.filename();
  constexpr int kNew = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
  if (!unique_fd(open(place.c_str(), kNew, 0664)).ok()) fail(node.string());
}

/// The framebuffer is another file then: who has mapped the one before keeps it.
void replace_framebuffer(const Phone& phone, const Display& display, const RowSource& source) {
  for (const char* node : {kSize, kDepth, kStride}) {
    if (open_node(phone, node, O_WRONLY).ok()) continue;
    if (errno != ENOENT) fail(node);
    make_node(phone, node);
  }
  const fs::path directory = make_own_directory(phone, kDirectory);
  const unique_fd turn = turn_at(directory);
  const fs::path temporary = directory / ".fb0.new";
  // What a killed process has left goes.
  unique_fd memory;
  if (unlink(temporary.c_str()) == 0 || errno == ENOENT) {
    memory.reset(open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
  }
  if (!memory.ok()) fail(temporary.string());
  try {
    write_rows(memory.get(), temporary.string(), display, source);
    if (rename(temporary.c_str(), (directory / "fb0").c_str()) != 0) fail(kFramebuffer);
  } catch (const Error&) {
    // The next to show a picture removes it otherwise.
    static_cast<void>(unlink(temporary.c_str()));
    throw;
  }
  write_node(phone, kSize,
             std::to_string(display.width) + "," + std::to_string(display.height) + "\n");
  write_node(phone, kDepth, std::to_string(display.bits_per_pixel) + "\n");
  write_node(phone, kStride, std::to_string(display.stride) + "\n");
}

}  // namespace

namespace {

constexpr char kWayBack[] = ". `fcx screen card` puts that right.";

/// What is unknown of it is 0. @return the first node that does not tell, or null
const char* look_at_nodes(const Phone& phone, Display& found) {
  const char* silent = nullptr;
  const auto read = [&](const char* node, const char* format, auto... values) {
    const auto text = read_node(phone, node);
    if (text.has_value() && sscanf(text->c_str(), format, values...) == sizeof...(values)) return;
    if (silent == nullptr) silent = node;
  };
  read(kSize, "%d,%d", &found.width, &found.height);
  read(kDepth, "%d", &found.bits_per_pixel);
  read(kStride, "%d", &found.stride);
  return silent;
}

}  // namespace

Display display(const Phone& phone) {
  Display found;
  const char* silent = look_at_nodes(phone, found);
  if (silent == nullptr) return found;
  throw Error(std::string(silent) + " does not tell what the display is like" + kWayBack);
}

Display display_or_usual(const Phone& phone) {
  constexpr Display kUsual = {1080, 2400, 32, 4352};
  Display found;
  // What is not told is not possible, either.
  static_cast<void>(look_at_nodes(phone, found));
  if (!is_side(found.width) || !is_side(found.height)) {
    found.width = kUsual.width;
    found.height = kUsual.height;
  }
  if (found.bits_per_pixel != 16 && found.bits_per_pixel != 32) {
    found.bits_per_pixel = kUsual.bits_per_pixel;
  }
  found.stride = display_of(found.width, found.height, found.bits_per_pixel).stride;
  return found;
}

void show_picture(const Phone& phone, const Picture& picture, int bits_per_pixel) {
  const Display wanted = display_of(picture.width, picture.height, bits_per_pixel);
  replace_framebuffer(phone, wanted, [&](int y, uint8_t* rgba) {
    memcpy(rgba, picture.row(y), static_cast<size_t>(picture.width) * kPixelSize);
  });
}

void show_test_card(const Phone& phone, int width, int height, int bits_per_pixel) {
  replace_framebuffer(phone, display_of(width, height, bits_per_pixel), test_card(width, height));
}

namespace {

/// What the display is like, and whoever asks for its memory finds some.
Display drawn_display(const Phone& phone) {
  const unique_fd turn = turn_at_display(phone);
  const Display found = display(phone);
  const unique_fd memory = open_framebuffer(phone, found);
  return found;
}

}  // namespace

Screenshot take_screenshot(const Phone& phone) {
  const unique_fd turn = turn_at_display(phone);
  Screenshot taken;
  taken.display = display(phone);
  check_is_possible(taken.display, kWayBack);
  const unique_fd memory = open_framebuffer(phone, taken.display);
  const size_t size = row_size(taken.display);
  taken.pixels.resize(static_cast<size_t>(taken.display.height) * size);
  uint8_t* row = taken.pixels.data();
  for (int y = 0; y < taken.display.height; ++y, row += size) {
    const off_t offset = static_cast<off_t>(y) * taken.display.stride;
    const ssize_t read_size = pread(memory.get(), row, size, offset);
    if (read_size < 0) fail(kFramebuffer);
    if (static_cast<size_t>(read_size) == size) continue;
    throw Error(std::string(kFramebuffer) +
                " is shorter than its nodes say. `fcx screen card` makes it fit.");
  }
  return taken;
}

std::string raw_header(const Display& display) {
  constexpr uint32_t kRgba8888 = 1;
  constexpr uint32_t kRgb565 = 4;
  std::string bytes;
  for (uint32_t word : {static_cast<uint32_t>(display.width), static_cast<uint32_t>(display.height),
                        display.bits_per_pixel == 16 ? kRgb565 : kRgba8888}) {
    for (int i = 0; i < 4; ++i, word >>= 8) bytes += static_cast<char>(word & 0xFF);
  }
  return bytes;
}

Picture shown_picture(const Phone& phone) {
  Screenshot taken = take_screenshot(phone);
  const Display& display = taken.display;
  Picture picture;
  picture.width = display.width;
  picture.height = display.height;
  if (display.bits_per_pixel == 32) {
    picture.rgba = std::move(taken.pixels);
  } else {
    const size_t count = taken.pixels.size() / 2;
    picture.rgba.resize(count * kPixelSize);
    widen_pixels(taken.pixels.data(), count, picture.rgba.data());
  }
  return picture;
}

bool shows_test_card(const Phone& phone) {
  const Screenshot taken = take_screenshot(phone);
  const Display& display = taken.display;
  const size_t size = row_size(display);
  std::vector<uint8_t> rgba(static_cast<size_t>(display.width) * kPixelSize);
  std::vector<uint8_t> card(size);
  const uint8_t* row = taken.pixels.data();
  for (int y = 0; y < display.height; ++y, row += size) {
    fill_card_row(display.width, display.height, y, rgba.data());
    store_pixels(display, rgba.data(), card.data());
    if (!std::equal(card.begin(), card.end(), row)) return false;
  }
  return true;
}

void widen_pixels(const uint8_t* pixels, size_t count, uint8_t* rgba) {
  for (; count > 0; --count, pixels += 2) {
    const int value = pixels[0] | pixels[1] << 8;
    const int red = value >> 11;
    const int green = value >> 5 & 63;
    const int blue = value & 31;
    *rgba++ = static_cast<uint8_t>(red << 3 | red >> 2);
    *rgba++ = static_cast<uint8_t>(green << 2 | green >> 4);
    *rgba++ = static_cast<uint8_t>(blue << 3 | blue >> 2);
    *rgba++ = 255;
  }
}

}  // namespace virtual_phone

namespace vp = virtual_phone;

int fcx::platform_ioctl(int fd, unsigned long request, void* argument) {
  errno = EIO;
  return vp::platform_call("platform_ioctl", -1, [&](vp::Phone& phone) {
    const vp::Display display = vp::drawn_display(phone);
    struct stat memory {};
    if (fstat(fd, &memory) != 0) return -1;
    if (request == FBIOGET_FSCREENINFO) {
      auto& fixed = *static_cast<fb_fix_screeninfo*>(argument);
      fixed = {};
      fixed.smem_len = static_cast<uint32_t>(memory.st_size);
      fixed.line_length = static_cast<uint32_t>(display.stride);
      return 0;
    }
    if (request == FBIOGET_VSCREENINFO) {
      auto& variable = *static_cast<fb_var_screeninfo*>(argument);
      variable = {};
      variable.xres = variable.xres_virtual = static_cast<uint32_t>(display.width);
      variable.yres = variable.yres_virtual = static_cast<uint32_t>(display.height);
      variable.bits_per_pixel = static_cast<uint32_t>(display.bits_per_pixel);
      return 0;
    }
    errno = ENOTTY;
    return -1;
  });
}
