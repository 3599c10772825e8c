// What the display shows, both ways.
#include "fcx/screen_capture.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>
#include <sstream>

#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

constexpr int kMost = std::numeric_limits<int>::max();
constexpr char kImage[] = "/data/screencap/screencapTemp.raw";

constexpr char kInvalid[] = "E Fcx: Invalid capture request!!!!!\n";
constexpr char kNext[] = "I Fcx: captureScreen: next!";
constexpr char kDone[] = "I Fcx: ScreenCapture: captureScreenSF is done.\n";
constexpr char kNoImage[] = "E Fcx: ScreenCapture: Can not save temp image file!\n";
constexpr char kUnclear[] = "E Fcx: captureScreen: screencap did not exit clearly!\n";
constexpr char kUsed[] = "I Fcx: ScreenCapture: initialized";
constexpr char kNull[] = "E Fcx: Used null buffer!";
constexpr char kNoFramebuffer[] = "E Fcx: Cannot open fb0!\n";
constexpr char kNoInfo[] = "E Fcx: failed to get fb0 info!\n";
constexpr char kNoMap[] = "E Fcx: Failed to mmap framebuffer!\n";

constexpr char kNotInImage[] = "E Fcx: captureScreenSF: the image does not have the pixels\n";
constexpr char kNotMapped[] = "E Fcx: captureScreenFB: the source does not have the pixels\n";

using Lines = std::vector<std::string>;

template <typename... Values>
std::string line(const char* format, Values... values) {
  std::array<char, 256> text{};
  snprintf(text.data(), text.size(), format, values...);
  return text.data();
}

struct Rect {
  int left, top, width, height;
};

std::string begun(const Rect& part) {
  return line("I Fcx: captureScreen: left=%d, top=%d, width=%d, height=%d\n", part.left, part.top,
              part.width, part.height);
}
std::string status(int number) { return line("I Fcx: captureScreen: status(%d)\n", number); }
std::string header(int width, int height, int format) {
  return line("I Fcx: ScreenCapture: X:%d, Y:%d, Format:%d\n", width, height, format);
}
std::string failed(int error) {
  return line("E Fcx: ScreenCapture: Fail to get image data from SF.[err = %s]\n", strerror(error));
}
std::string geometry(int width, int height, int bits) {
  return line("I Fcx: ScreenCapture: xres:%d, yres:%d, bitsPerPixel:%d\n", width, height, bits);
}
std::string not_converted(const char* function, int from, int to) {
  return line("E Fcx: %s: no conversion of %d bits per pixel to %d\n", function, from, to);
}

std::string bytes(size_t size) {
  std::string found(size, '\0');
  uint32_t state = 7;
  for (char& each : found) each = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
  return found;
}

std::string word(int value) {
  const auto number = static_cast<uint32_t>(value);
  return {static_cast<char>(number), static_cast<char>(number >> 8),
          static_cast<char>(number >> 16), static_cast<char>(number >> 24)};
}

std::string raw_image(int width, int height, int format, std::string_view pixels) {
  return word(width) + word(height) + word(format) + std::string(pixels);
}

/// The rectangle pixel for pixel, RGB565 unless it is copied as it is.
std::string expected(const std::string& source, size_t stride, size_t source_bytes, int bpp,
                     const Rect& part) {
  std::string found;
  for (int y = part.top; y < part.top + part.height; ++y) {
    for (int x = part.left; x < part.left + part.width; ++x) {
      const std::string pixel = source.substr(
          (static_cast<size_t>(y) * stride + static_cast<size_t>(x)) * source_bytes, source_bytes);
      if (bpp == 32 || source_bytes == 2) {
        found += pixel;
      } else {
        const int packed = pixel[0] / 8 * 2048 + pixel[1] / 4 * 32 + pixel[2] / 8;
        found += {static_cast<char>(packed % 256), static_cast<char>(packed / 256)};
      }
    }
  }
  return found;
}

/// What the object keeps, as those see it that were built with it.
struct Fields {
  void* table;
  int32_t initialised;
  int32_t framebuffer;
  void* map;
  uint32_t map_length;
  int32_t width, height, bits_per_pixel;
  int32_t top, left, part_width, part_height;
  void* captured;
  int32_t captured_size;
  void* captured_bw;
  int32_t captured_bw_size;
  int32_t compositor_mode;
};
static_assert(sizeof(Fields) == sizeof(ScreenCapture));

class ScreenCaptures : public PhoneTest {
 protected:
  ScreenCaptures() { fs::create_directories(file("/system/bin")); }

  static Fields fields(const ScreenCapture& screen) {
    Fields found;
    memcpy(&found, static_cast<const void*>(&screen), sizeof found);
    return found;
  }
  /// As the fallback has it.
  static void use_framebuffer(ScreenCapture& object) {
    constexpr int32_t kFramebuffer = 0;
    memcpy(reinterpret_cast<char*>(&object) + offsetof(Fields, compositor_mode), &kFramebuffer,
           sizeof kFramebuffer);
  }

  void set_screen(int width, int height, int bits, std::string_view pixels) {
    const fs::path nodes = file("/sys/class/graphics/fb0");
    write_file(nodes / "virtual_size", line("%d,%d\n", width, height));
    write_file(nodes / "bits_per_pixel", line("%d\n", bits));
    write_file(nodes / "stride", line("%d\n", width * bits / 8));
    write_file(file("/dev/graphics/fb0"), pixels);
  }

  /// A screenshot program; its last argument is where the picture goes.
  void set_program(std::string_view body) {
    const fs::path program = file("/system/bin/screencap");
    fs::remove(program);
    write_file(program, "#!/bin/sh\n" + std::string(body) + "\n");
    fs::permissions(program, fs::perms::owner_all);
  }
  void set_image(std::string_view image) {
    write_file(file("/image"), image);
    set_program("[ ! -e \"$1\" ] && cp \"$FCX_ROOT/image\" \"$1\"");
  }

  int capture(const Rect& part, int bpp) {
    return screen.captureScreen(part.left, part.top, part.width, part.height, bpp);
  }
  int capture_framebuffer(const Rect& part, int bpp) {
    return screen.captureScreenFB(part.left, part.top, part.width, part.height, bpp);
  }
  int capture_compositor(const Rect& part, int bpp) {
    return screen.captureScreenSF(part.left, part.top, part.width, part.height, bpp);
  }
  std::string captured() {
    return screen.getCaptured() == nullptr
               ? "(none)"
               : std::string(screen.getCaptured(), static_cast<size_t>(screen.getCapturedSize()));
  }

  int captured_byte(size_t at) { return screen.getCaptured()[at]; }

  ScreenCapture screen;
};

TEST_F(ScreenCaptures, BeginWithNothing) {
  const Fields found = fields(screen);
  EXPECT_NE(nullptr, found.table);
  EXPECT_EQ(0, found.initialised);
  EXPECT_EQ(-1, found.framebuffer);
  EXPECT_EQ(nullptr, found.map);
  for (const int32_t each : {found.width, found.height, found.bits_per_pixel, found.top, found.left,
                             found.part_width, found.part_height, found.captured_size,
                             found.captured_bw_size, static_cast<int32_t>(found.map_length)}) {
    EXPECT_EQ(0, each);
  }
  EXPECT_EQ(nullptr, screen.getCaptured());
  EXPECT_EQ(nullptr, screen.getCapturedBW());
  EXPECT_EQ(1, found.compositor_mode);
}

TEST_F(ScreenCaptures, KeepTheFramebufferAsLongAsItIsTheSource) {
  const std::string pixels = bytes(288 * 2 * 4);
  set_screen(260, 2, 32, pixels);
  EXPECT_EQ(0, screen.init());
  EXPECT_EQ(-1, fields(screen).framebuffer);
  EXPECT_EQ(0, fields(screen).initialised);
  EXPECT_THAT(lines(), IsEmpty());

  use_framebuffer(screen);
  EXPECT_EQ(0, screen.init());
  EXPECT_EQ(0, screen.init());
  EXPECT_THAT(lines(), ElementsAre(kUsed, geometry(260, 2, 32), "I Fcx: Already initialized!\n"));
  const Fields used = fields(screen);
  EXPECT_EQ(1, used.initialised);
  EXPECT_EQ(pixels.size(), used.map_length);
  EXPECT_EQ(260, used.width);
  EXPECT_EQ(2, used.height);
  EXPECT_EQ(32, used.bits_per_pixel);
  EXPECT_EQ(pixels, std::string(static_cast<const char*>(used.map), pixels.size()));
  EXPECT_NE(-1, fcntl(used.framebuffer, F_GETFD));

  EXPECT_EQ(260 * 2 * 2, screen.captureScreen());
  EXPECT_EQ(expected(pixels, 288, 4, 16, {0, 0, 260, 2}), captured());
  EXPECT_THAT(lines(), ElementsAre(begun({0, 0, 260, 2})));
  const Fields kept = fields(screen);
  EXPECT_EQ(screen.getCaptured(), kept.captured);
  EXPECT_EQ(1040, kept.captured_size);
  EXPECT_EQ(36, screen.convertToBW(1) / 2);
  EXPECT_EQ(screen.getCapturedBW(), fields(screen).captured_bw);
  EXPECT_EQ(72, fields(screen).captured_bw_size);

  screen.deinit();
  EXPECT_EQ(-1, fcntl(used.framebuffer, F_GETFD));
  EXPECT_EQ(-1, fields(screen).framebuffer);
  EXPECT_EQ(nullptr, fields(screen).map);
  EXPECT_EQ(0, fields(screen).initialised);
  screen.deinit();
  int last = -1;
  {
    ScreenCapture ended;
    use_framebuffer(ended);
    EXPECT_EQ(0, ended.init());
    last = fields(ended).framebuffer;
  }
  EXPECT_NE(-1, last);
  EXPECT_EQ(-1, fcntl(last, F_GETFD));
}

TEST_F(ScreenCaptures, NeedAFramebufferThatTellsItsSize) {
  struct Case {
    Access access;
    int error;
    int32_t after;
    int result;  ///< as the framebuffer's user
    Lines said;
    int width;  ///< what is known then
  };
  const Case cases[] = {{Access::open,
                         EACCES,
                         1,
                         -1,
                         {kNoFramebuffer, "E Fcx: FD open fail : Permission denied\n"},
                         0},
                        {Access::ioctl, EIO, 1, -1, {kNoInfo}, 0},
                        {Access::ioctl, EIO, 2, -1, {kNoInfo}, 0},
                        {Access::mmap, ENOMEM, 1, -1, {kNoMap}, 8}};
  for (const Case& each : cases) {
    set_screen(8, 4, 32, bytes(128));
    ScreenCapture own;
    use_framebuffer(own);
    fault(Part::file, "/dev/graphics/fb0", Effect::fail, each.error, each.access, {}, each.after);
    EXPECT_EQ(each.result, own.init());
    EXPECT_EQ(each.said, lines());
    EXPECT_EQ(-1, fields(own).framebuffer);
    EXPECT_EQ(nullptr, fields(own).map);
    EXPECT_EQ(0, fields(own).initialised);
    EXPECT_EQ(each.width, fields(own).width);
    clear_faults();
  }
  // Nothing to map.
  set_screen(8, 4, 32, "");
  use_framebuffer(screen);
  EXPECT_EQ(-1, screen.init());
  EXPECT_THAT(lines(), ElementsAre(kNoMap));
  fs::remove(file("/dev/graphics/fb0"));
  EXPECT_EQ(8, screen.getScreenWidth());
  EXPECT_EQ(4, screen.getScreenHeight());
  const std::string absent = "E Fcx: FD open fail : No such file or directory\n";
  EXPECT_THAT(lines(), ElementsAre(kNoFramebuffer, absent, kNoFramebuffer, absent));
}

TEST_F(ScreenCaptures, ReadTheImageOfTheCompositor) {
  const std::string pixels = bytes(300 * 4 * 4);
  struct Case {
    int width, height, format, bpp;
    Rect part;
  };
  const Case cases[] = {{300, 4, 1, 16, {0, 0, 300, 4}}, {300, 4, 1, 16, {3, 1, 17, 2}},
                        {300, 4, 1, 32, {0, 0, 300, 4}}, {300, 4, 0, 32, {299, 3, 1, 1}},
                        {300, 4, 4, 16, {0, 0, 300, 4}}, {300, 4, 4, 16, {1, 2, 33, 2}},
                        {1, 3, 5, 16, {0, 0, 1, 3}},     {255, 3, -1, 0, {0, 0, 255, 3}},
                        {256, 3, 2, -1, {0, 1, 256, 2}}, {33, 4, 1, 24, {32, 0, 1, 4}}};
  for (const Case& each : cases) {
    const size_t source_bytes = each.format == 4 ? 2 : 4;
    const auto size = static_cast<size_t>(each.width * each.height) * source_bytes;
    // The screen has the size that the framebuffer says, but in another form.
    set_screen(each.width, each.height, 16, "");
    set_image(raw_image(each.width, each.height, each.format, pixels.substr(0, size)));
    const std::string wanted =
        expected(pixels, static_cast<size_t>(each.width), source_bytes, each.bpp, each.part);
    EXPECT_EQ(static_cast<int>(wanted.size()), capture(each.part, each.bpp));
    EXPECT_TRUE(wanted == captured()) << each.width << " pixels, format " << each.format;
    EXPECT_THAT(lines(), ElementsAre(begun(each.part), status(0), kNext,
                                     header(each.width, each.height, each.format), kDone));
    EXPECT_EQ(each.format == 4 ? 16 : 32, fields(screen).bits_per_pixel);
    EXPECT_FALSE(fs::exists(file(kImage)));
  }
  EXPECT_EQ(fs::perms(0744), fs::status(file("/data/screencap")).permissions());
  const std::vector<std::string> happened = events();
  EXPECT_EQ("restorecon: /data/screencap/ flags 0", happened[happened.size() - 2]);
  EXPECT_EQ("unmount: /data/screencap/", happened.back());
  EXPECT_EQ(33 * 4 * 2, screen.captureScreen());
  EXPECT_EQ(33, screen.getScreenWidth());
  EXPECT_EQ(4, screen.getScreenHeight());
}

TEST_F(ScreenCaptures, RefuseARectangleThatIsNotOnTheScreen) {
  set_screen(10, 6, 32, "");
  set_image(raw_image(10, 6, 1, bytes(240)));
  const Rect bad[] = {{0, 0, 11, 6},    {0, 0, 10, 7},         {1, 0, 10, 6},
                      {0, 1, 10, 6},    {10, 0, 1, 1},         {-1, 0, 5, 5},
                      {0, -1, 5, 5},    {0, 0, -1, 5},         {5, 5, 1, -1},
                      {kMost, 0, 1, 1}, {0, kMost, 1, 1},      {1, 1, kMost, 1},
                      {1, 1, 1, kMost}, {-kMost, 0, kMost, 1}, {0, 0, 65536, 65536}};
  for (const Rect& each : bad) {
    EXPECT_EQ(240 / 2, screen.captureScreen());
    EXPECT_THAT(lines(), SizeIs(5));
    EXPECT_EQ(0, capture(each, 16)) << begun(each);
    EXPECT_EQ(0, screen.getCapturedSize());
    EXPECT_EQ(nullptr, screen.getCaptured());
    EXPECT_THAT(lines(), ElementsAre(kInvalid)) << begun(each);
  }
  for (const Rect& each : {Rect{9, 5, 1, 1}, {0, 0, 10, 6}, {10, 6, 0, 0}, {0, 0, 0, 6}}) {
    EXPECT_EQ(each.width * each.height * 2, capture(each, 16)) << begun(each);
    EXPECT_THAT(lines(), ElementsAre(begun(each), status(0), kNext, header(10, 6, 1), kDone));
  }
  // Past captureScreen(), the source decides.
  for (const Rect& each :
       {Rect{-1, 0, 5, 5}, {0, 0, 1, -1}, {0, kMost, 1, 1}, {0, 0, 65536, 65536}}) {
    EXPECT_EQ(0, capture_framebuffer(each, 16));
    EXPECT_EQ(0, capture_compositor(each, 32));
    EXPECT_THAT(lines(), ElementsAre(kInvalid, kInvalid)) << begun(each);
  }
  EXPECT_EQ(0, capture_compositor({0, 0, 11, 1}, 16));
  EXPECT_THAT(lines(), ElementsAre(begun({0, 0, 11, 1}), status(0), kNext, header(10, 6, 1),
                                   kNotInImage, kDone));
}

TEST_F(ScreenCaptures, TakeNothingFromAnImageThatLies) {
  const std::string pixels = bytes(8 * 4 * 4);
  const std::string no_header = "E Fcx: captureScreenSF: the image has no header: too short\n";
  struct Case {
    std::string image;
    int bpp;
    Lines said;
  };
  const Rect part{0, 0, 8, 4};
  const Case cases[] = {
      {"", 16, {no_header}},
      {raw_image(8, 4, 1, "").substr(0, 11), 16, {no_header}},
      {raw_image(8, 4, 1, ""), 16, {header(8, 4, 1), kNotInImage}},
      {raw_image(8, 4, 1, pixels.substr(1)), 16, {header(8, 4, 1), kNotInImage}},
      {raw_image(8, 4, 4, pixels.substr(0, 63)), 16, {header(8, 4, 4), kNotInImage}},
      {raw_image(-8, 4, 1, pixels), 16, {header(-8, 4, 1), kNotInImage}},
      {raw_image(8, -4, 1, pixels), 16, {header(8, -4, 1), kNotInImage}},
      {raw_image(-8, -4, 1, pixels), 32, {header(-8, -4, 1), kNotInImage}},
      {raw_image(kMost, kMost, 1, pixels), 16, {header(kMost, kMost, 1), kNotInImage}},
      {raw_image(65536, 16384, 1, pixels), 16, {header(65536, 16384, 1), kNotInImage}},
      {raw_image(7, 4, 1, pixels), 16, {header(7, 4, 1), kNotInImage}},
      {raw_image(8, 3, 1, pixels), 16, {header(8, 3, 1), kNotInImage}},
      {raw_image(8, 4, 3, pixels.substr(0, 96)),
       16,
       {header(8, 4, 3), not_converted("captureScreenSF", 24, 16)}},
      {raw_image(8, 4, 3, pixels), 32, {header(8, 4, 3), not_converted("captureScreenSF", 24, 32)}},
      {raw_image(8, 4, 4, pixels),
       32,
       {header(8, 4, 4), not_converted("captureScreenSF", 16, 32)}}};
  for (const Case& each : cases) {
    set_screen(8, 4, 32, "");
    set_image(each.image);
    EXPECT_EQ(0, capture(part, each.bpp));
    EXPECT_EQ(0, screen.getCapturedSize());
    EXPECT_EQ(0, screen.convertToBW(0));
    Lines said = {begun(part), status(0), kNext};
    said.insert(said.end(), each.said.begin(), each.said.end());
    said.push_back(kDone);
    said.push_back("E Fcx: convertToBW: nothing was captured\n");
    EXPECT_EQ(said, lines()) << each.image.size();
    EXPECT_FALSE(fs::exists(file(kImage)));
    EXPECT_EQ(each.image.size() < 12 ? 32 : fields(screen).bits_per_pixel,
              fields(screen).bits_per_pixel);
    EXPECT_EQ(each.image.size() < 12 ? 8 : fields(screen).width, fields(screen).width);
  }
  EXPECT_EQ("unmount: /data/screencap/", events().back());
}

TEST_F(ScreenCaptures, FallBackToTheFramebuffer) {
  const std::string pixels = bytes(288 * 3 * 4);
  fs::remove(file("/system/bin/screencap"));
  struct Case {
    int width, bits;
    size_t stride;
    int bpp;
    Rect part;
  };
  const Case cases[] = {{260, 32, 288, 16, {0, 0, 260, 3}},
                        {260, 32, 288, 16, {1, 1, 19, 2}},
                        {260, 16, 272, 16, {0, 0, 260, 3}},
                        {255, 32, 255, 16, {0, 0, 255, 3}},
                        {256, 32, 256, 16, {0, 0, 256, 3}},
                        {257, 32, 288, 16, {256, 2, 1, 1}},
                        {255, 16, 255, 16, {2, 1, 9, 2}},
                        {257, 16, 272, 16, {0, 2, 257, 1}},
                        // As they are, without the padding between rows, on purpose.
                        {260, 32, 260, 32, {0, 0, 260, 3}},
                        {17, 32, 17, 32, {4, 2, 13, 1}}};
  for (const Case& each : cases) {
    set_screen(each.width, 3, each.bits, pixels);
    const std::string wanted =
        expected(pixels, each.stride, static_cast<size_t>(each.bits / 8), each.bpp, each.part);
    EXPECT_EQ(static_cast<int>(wanted.size()), capture(each.part, each.bpp));
    EXPECT_TRUE(wanted == captured()) << each.width << " pixels of " << each.bits << " bits";
    EXPECT_THAT(lines(), ElementsAre(begun(each.part), status(256), kUnclear, kNoImage, failed(EIO),
                                     kUsed, geometry(each.width, 3, each.bits), begun(each.part)));
    EXPECT_EQ(1, fields(screen).compositor_mode);
    EXPECT_EQ(-1, fields(screen).framebuffer);
    EXPECT_EQ(nullptr, fields(screen).map);
    EXPECT_EQ(0, fields(screen).initialised);
  }
  EXPECT_EQ("restorecon: /data/screencap/ flags 0", events().back());
}

TEST_F(ScreenCaptures, TakeNothingFromAFramebufferThatLies) {
  struct Case {
    int width, bits, bpp;
    size_t size;
    int captured;
    Lines said;
  };
  const Case cases[] = {{260, 32, 16, (288 * 2 + 260) * 4, 260 * 3 * 2, {}},
                        {260, 32, 16, (288 * 2 + 260) * 4 - 1, 0, {kNotMapped}},
                        {260, 32, 32, 260 * 3 * 4, 260 * 3 * 4, {}},
                        {260, 32, 32, 260 * 3 * 4 - 1, 0, {kNotMapped}},
                        {260, 16, 16, (272 * 2 + 260) * 2, 260 * 3 * 2, {}},
                        {260, 16, 16, (272 * 2 + 260) * 2 - 1, 0, {kNotMapped}},
                        {260, 24, 16, 3000, 0, {not_converted("captureScreenFB", 24, 16)}},
                        {260, 0, 16, 3000, 0, {not_converted("captureScreenFB", 0, 16)}},
                        {260, -16, 16, 3000, 0, {not_converted("captureScreenFB", -16, 16)}},
                        {260, 16, 32, 3000, 0, {not_converted("captureScreenFB", 16, 32)}}};
  use_framebuffer(screen);
  for (const Case& each : cases) {
    set_screen(260, 3, each.bits, bytes(each.size));
    EXPECT_EQ(0, screen.init());
    EXPECT_EQ(each.captured, capture({0, 0, 260, 3}, each.bpp)) << each.size;
    screen.deinit();
    Lines said = {kUsed, geometry(260, 3, each.bits), begun({0, 0, 260, 3})};
    said.insert(said.end(), each.said.begin(), each.said.end());
    EXPECT_EQ(said, lines()) << each.size;
  }
}

TEST_F(ScreenCaptures, TakeAnyEndOfTheProgramButOneForSuccess) {
  struct Case {
    const char* body;
    int status;
    int result;
  };
  constexpr int kStopped = SIGSTOP << 8 | 0x7F;
  const Case cases[] = {{"exit 0", 0, 0},
                        {"exit 1", 1 << 8, -1},
                        {"exit 2", 2 << 8, 0},
                        {"exit 255", 255 << 8, 0},
                        {"kill -KILL $$", SIGKILL, -1},
                        {"kill -TERM $$", SIGTERM, -1},
                        {"kill -STOP $$; exit 0", kStopped, -1}};
  for (const Case& each : cases) {
    set_program(each.body);
    EXPECT_EQ(each.result, screen.saveScreenToFile(0, "/data/a"));
    Lines said = {status(each.status)};
    if (each.result != 0) said.push_back(kUnclear);
    EXPECT_EQ(said, lines()) << each.body;
  }
  // Nothing was left to be waited for, and nobody else's child was.
  EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
  EXPECT_EQ(ECHILD, errno);
  const pid_t other = fork();
  if (other == 0) _exit(3);
  set_program("echo \"$# $*\" >\"$FCX_ROOT/told\"");
  EXPECT_EQ(0, screen.saveScreenToFile(5, "/data/a b"));
  EXPECT_EQ("2 -p " + file("/data/a b").string() + "\n", read_file(file("/told")));
  EXPECT_EQ(0, screen.saveScreenToFile(0, "/data/a b"));
  EXPECT_EQ("1 " + file("/data/a b").string() + "\n", read_file(file("/told")));
  EXPECT_EQ(other, waitpid(other, nullptr, 0));
  lines();

  EXPECT_EQ(-1, screen.saveScreenToFile(0, nullptr));
  EXPECT_EQ(-1, screen.saveScreenToFile(1, ""));
  fault(Part::thread, "screencap", Effect::fail, EAGAIN);
  EXPECT_EQ(-1, screen.saveScreenToFile(0, "/data/a"));
  EXPECT_THAT(lines(), ElementsAre("E Fcx: saveScreenToFile: an empty path names nothing\n",
                                   "E Fcx: saveScreenToFile: screencap cannot be run: Resource "
                                   "temporarily unavailable\n"));
}

TEST_F(ScreenCaptures, SayWhenThereIsNoProgram) {
  fs::remove(file("/system/bin/screencap"));
  fs::resize_file(phone().log_file(), 0);
  EXPECT_EQ(-1, screen.saveScreenToFile(0, "/data/a"));
  // The first line is the child's own.
  std::istringstream log(read_file(phone().log_file()));
  Lines said;
  for (std::string each; std::getline(log, each);) {
    said.push_back(each.substr(std::min(each.find(" E "), each.find(" I ")) + 1));
  }
  EXPECT_THAT(said, ElementsAre("E Fcx     : ScreenCapture: Can not excute screencap!",
                                "I Fcx     : captureScreen: status(256)",
                                "E Fcx     : captureScreen: screencap did not exit clearly!"));
}

TEST_F(ScreenCaptures, GoOnWithoutWhatTheyCanDoWithout) {
  const Rect part{0, 0, 8, 4};
  const std::string fb = begun(part), said = failed(EIO);
  const Lines framebuffer = {kUsed, geometry(8, 4, 32), fb};
  struct Case {
    const char* fault;  ///< of the image, the folder, a service or a thread
    Access access;
    int error;
    bool is_from_framebuffer;
    Lines lines;
    bool is_captured = true;
  };
  const std::string removal =
      line("E Fcx: captureScreenSF: %s cannot be removed: %s\n", kImage, strerror(EBUSY));
  const Case cases[] = {
      {"/data/screencap/",
       Access::mkdir,
       ENOSPC,
       true,
       {"E Fcx: captureScreen: Can not create /data/screencap/!\n", failed(ENOSPC)}},
      {"/data/screencap/",
       Access::stat,
       EACCES,
       true,
       {status(256), kUnclear, kNoImage, failed(EIO)}},
      {kImage, Access::remove, EBUSY, true, {removal, removal, failed(EBUSY)}},
      {kImage, Access::open, EMFILE, true, {status(0), failed(EMFILE)}},
      {"restorecon",
       Access::any,
       0,
       false,
       {"E Fcx: ScreenCapture: selinux_android_restorecon fail!\n", status(0), kNext,
        header(8, 4, 1), kDone}},
      {"screencap",
       Access::any,
       EAGAIN,
       true,
       {"E Fcx: saveScreenToFile: screencap cannot be run: Resource temporarily unavailable\n",
        kNoImage, failed(EAGAIN)}},
      {kImage,
       Access::read,
       EIO,
       false,
       {status(0), kNext, "E Fcx: captureScreenSF: the image has no header: Input/output error\n",
        kDone},
       false}};
  for (const Case& each : cases) {
    fs::remove_all(file("/data/screencap"));
    set_screen(8, 4, 32, bytes(128));
    set_image(raw_image(8, 4, 1, bytes(128)));
    if (each.fault[0] == '/') {
      fault(Part::file, each.fault, Effect::fail, each.error, each.access);
    } else if (each.error == 0) {
      service_fault(each.fault, Effect::absent);
    } else {
      fault(Part::thread, each.fault, Effect::fail, each.error);
    }
    EXPECT_EQ(each.is_captured ? 64 : 0, capture(part, 16)) << each.fault;
    Lines wanted = {begun(part)};
    wanted.insert(wanted.end(), each.lines.begin(), each.lines.end());
    if (each.is_from_framebuffer) {
      wanted.insert(wanted.end(), framebuffer.begin(), framebuffer.end());
    }
    EXPECT_EQ(wanted, lines()) << each.fault;
    clear_faults();
    EXPECT_FALSE(fs::exists(file(kImage))) << each.fault;
  }
  // The program wrote nothing: an old image is not taken for a new one.
  fs::create_directories(file("/data/screencap"));
  write_file(file(kImage), raw_image(8, 4, 1, std::string(128, '\1')));
  set_program("exit 0");
  EXPECT_EQ(64, capture(part, 16));
  EXPECT_THAT(lines(), ElementsAre(fb, status(0), failed(ENOENT), kUsed, geometry(8, 4, 32), fb));
  // A read that ends early, after the file has told its size.
  set_image(raw_image(8, 4, 1, bytes(128)));
  fault(Part::file, kImage, Effect::shorter, 12 + 127, Access::read);
  EXPECT_EQ(0, capture(part, 16));
  EXPECT_THAT(
      lines(),
      ElementsAre(fb, status(0), kNext, header(8, 4, 1),
                  "E Fcx: captureScreenSF: the image cannot be read: it has become shorter\n",
                  kDone));
  // An image that cannot be removed stays, and the next capture does without it.
  clear_faults();
  fault(Part::file, kImage, Effect::fail, EBUSY, Access::remove, {}, 2);
  EXPECT_EQ(64, capture(part, 16));
  EXPECT_THAT(lines(), ElementsAre(fb, status(0), kNext, header(8, 4, 1), kDone, removal));
  // Neither way.
  clear_faults();
  fs::remove(file("/dev/graphics/fb0"));
  set_program("exit 1");
  EXPECT_EQ(0, capture(part, 16));
  const std::string absent = "E Fcx: FD open fail : No such file or directory\n";
  EXPECT_THAT(lines(), ElementsAre(kNoFramebuffer, absent, fb, status(256), kUnclear, kNoImage,
                                   failed(EIO), kNoFramebuffer, absent, fb, kNull));
}

TEST_F(ScreenCaptures, CopyARectangleForTheirCaller) {
  std::string source = bytes(1 + 40 * 3 * 4), target(5 * 2 * 4 + 2, '\x5A');
  EXPECT_EQ(0, screen.getRectangle32(source.data(), target.data()));
  set_screen(40, 3, 32, "");
  EXPECT_EQ(0, screen.init());
  EXPECT_EQ(0, capture_framebuffer({7, 1, 5, 2}, 16));
  EXPECT_THAT(lines(), ElementsAre(begun({7, 1, 5, 2}), kNull));
  const struct {
    int (ScreenCapture::*copy)(char*, char*);
    size_t source_bytes;
    int bpp;
  } cases[] = {{&ScreenCapture::getRectangle32, 4, 16},
               {&ScreenCapture::getRectangle16, 2, 16},
               {&ScreenCapture::getRectangleTrue32, 4, 32}};
  for (const auto& [copy, source_bytes, bpp] : cases) {
    const std::string wanted = expected(source.substr(1), 40, source_bytes, bpp, {7, 1, 5, 2});
    target.assign(target.size(), '\x5A');
    EXPECT_EQ(static_cast<int>(wanted.size()),
              (screen.*copy)(source.data() + 1, target.data() + 1));
    EXPECT_EQ("\x5A" + wanted + "\x5A", target.substr(0, wanted.size() + 2));
    EXPECT_EQ(0, (screen.*copy)(nullptr, target.data()));
    EXPECT_EQ(0, (screen.*copy)(source.data(), nullptr));
    EXPECT_THAT(lines(), ElementsAre(kNull, kNull));
  }
  EXPECT_EQ(0, capture_framebuffer({7, 1, 5, 0}, 16));
  EXPECT_EQ(0, screen.getRectangleTrue32(source.data(), target.data()));
}

TEST_F(ScreenCaptures, AreMadeBlackAndWhite) {
  // Every pixel that there is, in rows that do and do not end with a byte or a word.
  std::string every;
  for (int pixel = 0; pixel < 65536; ++pixel) {
    every += {static_cast<char>(pixel % 256), static_cast<char>(pixel / 256)};
  }
  for (const int width : {256, 33, 32, 31, 8, 1}) {
    const int height = std::min(65536 / width, 1000);
    const auto size = static_cast<size_t>(width * height) * 2;
    set_screen(width, height, 16, "");
    set_image(raw_image(width, height, 4, every.substr(every.size() - size)));
    ASSERT_EQ(static_cast<int>(size), screen.captureScreen());
    const int row_bytes = (width + 31) / 32 * 4;
    for (const int threshold : {0, 1, 2, 125, 248, 249, 250, 251, -1, -2, kMost, -kMost - 1}) {
      const int64_t limit = int64_t{threshold} * 3 / 4;
      std::string wanted(static_cast<size_t>(row_bytes * height), '\0');
      for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
          const auto at = static_cast<size_t>(y * width + x) * 2;
          const int value = captured_byte(at) * 256 + captured_byte(at + 1);
          const int brightness = 2 * (value & 31) + ((value >> 5) & 63) + 2 * ((value >> 11) & 31);
          char& eight = wanted[static_cast<size_t>(y * row_bytes + x / 8)];
          if (limit < brightness) eight = static_cast<char>(eight | 128 >> x % 8);
        }
      }
      EXPECT_EQ(row_bytes * height, screen.convertToBW(threshold));
      EXPECT_EQ(row_bytes * height, screen.getCapturedBWSize());
      EXPECT_TRUE(wanted == std::string(screen.getCapturedBW(), wanted.size()))
          << width << " pixels, threshold " << threshold;
    }
  }
  // Two bytes a pixel, whatever was captured.
  set_screen(4, 1, 32, "");
  set_image(raw_image(4, 1, 1, "\xFF\xFF\0\0\0\0\xFF\xFF\0\0\0\0\0\0\0\0"s));
  EXPECT_EQ(16, capture({0, 0, 4, 1}, 32));
  EXPECT_EQ(4, screen.convertToBW(0));
  EXPECT_EQ("\x90\0\0\0"s, std::string(screen.getCapturedBW(), 4));
  EXPECT_EQ(0, capture({0, 0, 5, 1}, 32));
  EXPECT_EQ(0, screen.convertToBW(0));
  EXPECT_EQ(nullptr, screen.getCapturedBW());
  EXPECT_EQ(0, screen.getCapturedBWSize());
}

}  // namespace
}  // namespace fcx_test
