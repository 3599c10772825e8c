// The display: what is on it, and the phone's own program that takes its screenshot.

#include <linux/fb.h>
#include <png.h>
#include <sys/wait.h>

#include "platform/device_home.h"
#include "tests/phone_fixture.h"
#include "virtual_phone/core/display.h"
#include "virtual_phone/core/png.h"

namespace fcx_test {
namespace {

using vp::Error;
using vp::Picture;

std::string bytes(const std::vector<uint8_t>& all) { return {all.begin(), all.end()}; }

/// A picture no two pixels of which are alike, nor its bytes.
Picture varied(int width, int height) {
  Picture picture(width, height);
  uint32_t value = 12345;
  for (uint8_t& each : picture.rgba)
    each = static_cast<uint8_t>((value = value * 48271 % 0x7FFFFFFF) >> 9);
  return picture;
}

/// What RGB565 leaves of it.
Picture narrowed(Picture picture) {
  for (size_t i = 0; i < picture.rgba.size(); i += 4) {
    uint8_t* pixel = &picture.rgba[i];
    for (const auto& [colour, bits] : {std::pair(0, 5), {1, 6}, {2, 5}}) {
      const int kept = pixel[colour] >> (8 - bits);
      pixel[colour] = static_cast<uint8_t>(kept << (8 - bits) | kept >> (2 * bits - 8));
    }
    pixel[3] = 255;
  }
  return picture;
}

class VirtualDisplay : public PhoneTest {
 protected:
  fs::path device(const char* path) { return directory() / "root" / (path + 1); }
  fs::path framebuffer() { return device(vp::kFramebuffer); }
  std::string nodes() {
    const fs::path beside = device("/sys/class/graphics/fb0");
    return read_file(beside / "virtual_size") + read_file(beside / "bits_per_pixel") +
           read_file(beside / "stride");
  }
  /// What the framebuffer answers, and its size: "WIDTHxHEIGHT BITS STRIDE MEMORY".
  std::string asked() {
    const android::base::unique_fd fd(open(framebuffer().c_str(), O_RDONLY));
    fb_fix_screeninfo fixed{};
    fb_var_screeninfo variable{};
    if (fcx::platform_ioctl(fd.get(), FBIOGET_FSCREENINFO, &fixed) != 0) return "refused";
    EXPECT_EQ(0, fcx::platform_ioctl(fd.get(), FBIOGET_VSCREENINFO, &variable));
    EXPECT_EQ(fixed.smem_len, fs::file_size(framebuffer()));
    return std::to_string(variable.xres) + "x" + std::to_string(variable.yres) + " " +
           std::to_string(variable.bits_per_pixel) + " " + std::to_string(fixed.line_length) + " " +
           std::to_string(fixed.smem_len);
  }
  /// Runs a command of the phone's shell. @return its exit status, and what it wrote
  std::pair<int, std::string> run(const std::string& command) {
    const int status = fcx::platform_shell((command + " >/data/out 2>/data/errors").c_str());
    return {WEXITSTATUS(status), read_file(device("/data/out"))};
  }
};

TEST_F(VirtualDisplay, TheFirstToLookFindsTheTestCard) {
  EXPECT_EQ(0u, fs::file_size(framebuffer()));
  EXPECT_EQ("1080x2400 32 4352 10444800", asked());
  EXPECT_TRUE(vp::shows_test_card(phone()));
  // Edges, the corner and its dot, bars, the end of each gradient, single pixels, a diagonal.
  const std::tuple<int, int, uint32_t> pixels[] = {
      {0, 0, 0xFF0000},       {1079, 0, 0xFF0000},    {0, 2399, 0x0000FF},
      {1079, 2399, 0x0000FF}, {0, 1200, 0xFFFFFF},    {1079, 500, 0x00FF00},
      {1, 1, 0xFFFFFF},       {67, 67, 0x000000},     {200, 5, 0xFFFF00},
      {300, 500, 0x00FFFF},   {800, 500, 0xFF0000},   {900, 500, 0x0000FF},
      {1078, 500, 0x000000},  {1078, 1000, 0xFE0000}, {1078, 1200, 0x00FE00},
      {1078, 1400, 0x0000FE}, {1078, 1600, 0xFEFEFE}, {539, 1000, 0x7F0000},
      {100, 1800, 0xFFFFFF},  {101, 1800, 0x000000},  {101, 1801, 0xFFFFFF},
      {500, 1801, 0xFFFFFF},  {501, 1801, 0x000000},  {900, 1800, 0xFFFFFF},
      {900, 1801, 0x000000},  {8, 2392, 0x0060A0},    {8, 2391, 0xFFFFFF}};
  const Picture shown = vp::shown_picture(phone());
  for (const auto& [x, y, colour] : pixels) {
    const uint8_t* pixel = shown.row(y) + 4 * x;
    EXPECT_EQ(colour, static_cast<uint32_t>(pixel[0] << 16 | pixel[1] << 8 | pixel[2]))
        << x << ", " << y;
    EXPECT_EQ(255, pixel[3]);
  }

  // In place, so that who has opened it before finds it, too.
  vp::create(directory() / "other", "blank", true);
  vp::select(directory() / "other");
  write_file(device("/../other/root/sys/class/graphics/fb0/virtual_size"), "2,1\n");
  write_file(device("/../other/root/sys/class/graphics/fb0/stride"), "8\n");
  const fs::path memory = directory() / "other/root/dev/graphics/fb0";
  const android::base::unique_fd early(open(memory.c_str(), O_RDONLY));
  EXPECT_TRUE(vp::shows_test_card(phone()));
  char row[9];
  EXPECT_EQ("\xFF\0\0\xFF\xFF\0\0\xFF"s, std::string(row, read(early.get(), row, sizeof row)));
}

TEST_F(VirtualDisplay, TakesPicturesOfAnySizeInBothDepths) {
  // From 256 pixels on rows are rounded up to a multiple of the bits of a pixel.
  const std::tuple<int, int, int, const char*> cases[] = {{1, 1, 16, "1x1 16 2 2"},
                                                          {1, 1, 32, "1x1 32 4 4"},
                                                          {33, 7, 16, "33x7 16 66 462"},
                                                          {33, 7, 32, "33x7 32 132 924"},
                                                          {255, 2, 16, "255x2 16 510 1020"},
                                                          {255, 2, 32, "255x2 32 1020 2040"},
                                                          {256, 2, 16, "256x2 16 512 1024"},
                                                          {256, 2, 32, "256x2 32 1024 2048"},
                                                          {257, 2, 16, "257x2 16 544 1088"},
                                                          {257, 2, 32, "257x2 32 1152 2304"},
                                                          {8192, 1, 16, "8192x1 16 16384 16384"},
                                                          {1, 8192, 32, "1x8192 32 4 32768"}};
  for (const auto& [width, height, bits, answer] : cases) {
    SCOPED_TRACE(answer);
    const Picture picture = varied(width, height);
    vp::show_picture(phone(), picture, bits);
    EXPECT_EQ(answer, asked());
    const Picture expected = bits == 16 ? narrowed(picture) : picture;
    EXPECT_EQ(expected.rgba, vp::shown_picture(phone()).rgba);
    EXPECT_FALSE(vp::shows_test_card(phone()));
    // The program reads the same.
    const auto raw = run("screencap 2>/dev/null; /system/bin/screencap");
    EXPECT_EQ(0, raw.first);
    const vp::Screenshot taken = vp::take_screenshot(phone());
    const std::string head{static_cast<char>(width & 255),
                           static_cast<char>(width >> 8),
                           0,
                           0,
                           static_cast<char>(height & 255),
                           static_cast<char>(height >> 8),
                           0,
                           0,
                           static_cast<char>(bits == 16 ? 4 : 1),
                           0,
                           0,
                           0};
    EXPECT_EQ(head + bytes(taken.pixels), raw.second);
    if (bits == 32) {
      EXPECT_EQ(picture.rgba, taken.pixels);
    }
    EXPECT_EQ(0, run("/system/bin/screencap -p /data/shot.png").first);
    Picture opaque = expected;
    for (size_t i = 3; i < opaque.rgba.size(); i += 4) opaque.rgba[i] = 255;
    EXPECT_EQ(opaque.rgba, vp::read_png(device("/data/shot.png")).rgba);
    vp::show_test_card(phone(), width, height, bits);
    EXPECT_EQ(answer, asked());
    EXPECT_TRUE(vp::shows_test_card(phone()));
  }
  // RGB565 is little-endian, red in the highest bits.
  Picture red(1, 1);
  red.rgba = {0xFF, 0x04, 0x08, 0x00};
  vp::show_picture(phone(), red, 16);
  EXPECT_EQ("\x21\xF8"s, read_file(framebuffer()));
}

TEST_F(VirtualDisplay, WhatIsNoDisplayIsSaid) {
  const std::tuple<int, int, int> none[] = {{0, 1, 32},    {1, 0, 32},  {8193, 1, 32},
                                            {1, 8193, 32}, {-1, 1, 16}, {INT_MAX, 1, 32},
                                            {1, 1, 24},    {1, 1, 0}};
  for (const auto& each : none) {
    const auto show = [&] {
      vp::show_test_card(phone(), std::get<0>(each), std::get<1>(each), std::get<2>(each));
    };
    EXPECT_THAT(show, ThrowsMessage<Error>(HasSubstr("no display has")));
  }
  EXPECT_EQ(0u, fs::file_size(framebuffer())) << "nothing has changed";
  vp::show_test_card(phone(), 4, 3, 32);
  const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
      {"/sys/class/graphics/fb0/virtual_size", "4", "does not tell", "refused"},
      {"/sys/class/graphics/fb0/virtual_size", "4,4\n", "shorter than", "4x4 32 16 48"},
      {"/sys/class/graphics/fb0/virtual_size", "-4,3\n", "no display has -4 x 3",
       "4294967292x3 32 16 48"},
      {"/sys/class/graphics/fb0/bits_per_pixel", "24\n", "of 24 bits", "4x3 24 16 48"},
      {"/sys/class/graphics/fb0/stride", "15\n", "rows of 15 bytes", "4x3 32 15 48"},
      {"/sys/class/graphics/fb0/stride", "32769\n", "rows of 32769", "4x3 32 32769 48"},
      {"/dev/graphics/fb0", "short", "shorter than", "4x3 32 16 5"}};
  write_file(device("/sys/class/graphics/fb0/bits_per_pixel"), "24\n");
  write_file(framebuffer(), "");
  EXPECT_EQ("4x3 24 16 0", asked()) << "no test card can be drawn";
  vp::show_test_card(phone(), 4, 3, 32);
  for (const auto& [node, content, message, answer] : cases) {
    const std::string before = read_file(device(node));
    write_file(device(node), content);
    EXPECT_THAT([&] { vp::take_screenshot(phone()); }, ThrowsMessage<Error>(HasSubstr(message)));
    EXPECT_EQ(answer, asked()) << content;
    const auto ended = run("/system/bin/screencap /data/shot");
    EXPECT_EQ(1, ended.first);
    EXPECT_THAT(read_file(device("/data/errors")), HasSubstr(message));
    EXPECT_FALSE(fs::exists(device("/data/shot")));
    write_file(device(node), before);
  }
  EXPECT_TRUE(vp::shows_test_card(phone()));
  for (const char* words : {"-x", "/data/a /data/b", "''", "/data"}) {
    EXPECT_EQ(1, run(std::string("/system/bin/screencap ") + words).first) << words;
    EXPECT_THAT(read_file(device("/data/errors")), HasSubstr("screencap: "));
  }
  fb_var_screeninfo other{};
  const android::base::unique_fd fd(open(framebuffer().c_str(), O_RDONLY));
  EXPECT_EQ(-1, fcx::platform_ioctl(fd.get(), FBIOPUT_VSCREENINFO, &other));
  EXPECT_EQ(ENOTTY, errno);

  fs::remove(framebuffer());
  EXPECT_THROW(vp::take_screenshot(phone()), Error);
  EXPECT_EQ(1, run("/system/bin/screencap /data/shot").first);
  vp::show_test_card(phone(), 4, 3, 16);
  EXPECT_EQ("4,3\n16\n8\n", nodes());
  EXPECT_EQ("4x3 16 8 24", asked()) << "a picture brings it back";
  // What cannot be told of by the nodes is not shown.
  fs::remove(device("/sys/class/graphics/fb0/stride"));
  fs::create_directory(device("/sys/class/graphics/fb0/stride"));
  EXPECT_THROW(vp::show_test_card(phone(), 40, 30, 32), Error);
  EXPECT_EQ(24u, fs::file_size(framebuffer()));
  fs::remove(device("/sys/class/graphics/fb0/stride"));
  vp::show_test_card(phone(), 4, 3, 16);
  EXPECT_EQ("4,3\n16\n8\n", nodes()) << "a node that is missing is made";
  fs::remove(framebuffer());
  fs::create_directory(framebuffer());
  EXPECT_THROW(vp::show_test_card(phone(), 40, 30, 32), Error);
  EXPECT_EQ("4,3\n16\n8\n", nodes()) << "nothing was shown";
  fs::directory_iterator left(framebuffer().parent_path());
  EXPECT_EQ("fb0", left->path().filename());
  EXPECT_EQ(fs::directory_iterator(), ++left);
}

/// A PNG file of any kind: the bytes of its rows in the file's own form.
std::string png_file(int width, int height, int depth, int type, int interlace,
                     const std::vector<std::string>& rows, std::string_view transparent = {}) {
  std::string bytes;
  png_structp writer = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(writer);
  png_set_write_fn(
      writer, &bytes,
      [](png_structp to, png_bytep data, png_size_t size) {
        static_cast<std::string*>(png_get_io_ptr(to))
            ->append(reinterpret_cast<const char*>(data), size);
      },
      [](png_structp) {});
  png_set_IHDR(writer, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height),
               depth, type, interlace, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  const png_color palette[] = {{0, 0, 0}, {255, 0, 0}, {1, 2, 3}, {4, 5, 6}};
  if (type == PNG_COLOR_TYPE_PALETTE) png_set_PLTE(writer, info, palette, 4);
  if (!transparent.empty()) {
    png_set_tRNS(writer, info, reinterpret_cast<png_const_bytep>(transparent.data()),
                 static_cast<int>(transparent.size()), nullptr);
  }
  std::vector<png_bytep> pointers;
  for (const std::string& row : rows) {
    pointers.push_back(reinterpret_cast<png_bytep>(const_cast<char*>(row.data())));
  }
  png_set_rows(writer, info, pointers.data());
  png_write_png(writer, info, PNG_TRANSFORM_IDENTITY, nullptr);
  png_destroy_write_struct(&writer, &info);
  return bytes;
}

TEST_F(VirtualDisplay, ReadsPngFilesOfEveryKind) {
  const fs::path file = directory() / "a.png";
  constexpr int kPlain = PNG_INTERLACE_NONE;
  struct {
    const char* what;
    int width, depth, type, interlace;
    std::vector<std::string> rows;
    std::string transparent, rgba;
  } cases[] = {
      {"1 bit", 2, 1, PNG_COLOR_TYPE_GRAY, kPlain, {"\x40"s}, "", "\0\0\0\xFF\xFF\xFF\xFF\xFF"s},
      {"2 bits",
       2,
       2,
       PNG_COLOR_TYPE_GRAY,
       kPlain,
       {"\x60"s},
       "",
       "\x55\x55\x55\xFF\xAA\xAA\xAA\xFF"s},
      {"4 bits",
       2,
       4,
       PNG_COLOR_TYPE_GRAY,
       kPlain,
       {"\x1F"s},
       "",
       "\x11\x11\x11\xFF\xFF\xFF\xFF\xFF"s},
      {"grey", 2, 8, PNG_COLOR_TYPE_GRAY, kPlain, {"\x07\x80"s}, "", "\7\7\7\xFF\x80\x80\x80\xFF"s},
      {"deep grey", 1, 16, PNG_COLOR_TYPE_GRAY, kPlain, {"\x80\x80"s}, "", "\x80\x80\x80\xFF"s},
      {"grey, alpha", 1, 8, PNG_COLOR_TYPE_GRAY_ALPHA, kPlain, {"\x07\x80"s}, "", "\7\7\7\x80"s},
      {"colours",
       2,
       8,
       PNG_COLOR_TYPE_RGB,
       kPlain,
       {"abcdef"s},
       "",
       "abc\xFF"
       "def\xFF"s},
      {"deep colours", 1, 16, PNG_COLOR_TYPE_RGB, kPlain, {"aabbcc"s}, "", "abc\xFF"s},
      {"alpha", 1, 8, PNG_COLOR_TYPE_RGBA, kPlain, {"abcd"s}, "", "abcd"s},
      {"no alpha at all", 1, 8, PNG_COLOR_TYPE_RGBA, kPlain, {"abc\0"s}, "", "abc\0"s},
      {"deep alpha", 1, 16, PNG_COLOR_TYPE_RGBA, kPlain, {"aabbcc\xFF\xFF"s}, "", "abc\xFF"s},
      {"palette",
       4,
       2,
       PNG_COLOR_TYPE_PALETTE,
       kPlain,
       {"\x1B"s},
       "",
       "\0\0\0\xFF\xFF\0\0\xFF\1\2\3\xFF\4\5\6\xFF"s},
      {"palette, alpha",
       2,
       8,
       PNG_COLOR_TYPE_PALETTE,
       kPlain,
       {"\1\2"s},
       "\xFF\x80"s,
       "\xFF\0\0\x80\1\2\3\xFF"s},
      {"interlaced",
       2,
       8,
       PNG_COLOR_TYPE_RGB,
       PNG_INTERLACE_ADAM7,
       {"abcdef"s, "ghijkl"s},
       "",
       "abc\xFF"
       "def\xFFghi\xFFjkl\xFF"s}};
  for (const auto& each : cases) {
    write_file(file, png_file(each.width, static_cast<int>(each.rows.size()), each.depth, each.type,
                              each.interlace, each.rows, each.transparent));
    const Picture read = vp::read_png(file);
    EXPECT_EQ(each.width, read.width);
    EXPECT_EQ(each.rgba, bytes(read.rgba)) << each.what;
  }

  const Picture written = varied(37, 5);
  const std::string good = vp::encode_png(written);
  const auto with_wrong_byte = [&](size_t from_its_end) {
    std::string damaged = good;
    damaged[good.size() - from_its_end] ^= 1;
    return damaged;
  };
  const std::pair<std::string, const char*> refused[] = {
      {"", "can be read: Read Error"},
      {"\xFF\xD8\xFF\xE0 another kind", "Not a PNG file"},
      {good.substr(0, 20), "Read Error"},
      {good.substr(0, good.size() / 2), "Read Error"},
      {with_wrong_byte(20), "incorrect data check"},
      {with_wrong_byte(14), "CRC error"},
      {png_file(8193, 1, 1, PNG_COLOR_TYPE_GRAY, kPlain, {std::string(1025, '\0')}),
       "8193 x 1 pixels"},
      {png_file(1, 8193, 1, PNG_COLOR_TYPE_GRAY, kPlain, std::vector(8193, "\0"s)),
       "1 x 8193 pixels"}};
  for (const auto& [content, message] : refused) {
    write_file(file, content);
    EXPECT_THAT([&] { vp::read_png(file); }, ThrowsMessage<Error>(HasSubstr(message)));
  }
  fs::remove(file);
  EXPECT_THAT([&] { vp::read_png(file); }, ThrowsMessage<Error>(HasSubstr("No such file")));
  EXPECT_EQ(0, mkfifo(file.c_str(), 0600));
  EXPECT_THAT([&] { vp::read_png(file); }, ThrowsMessage<Error>(HasSubstr("is no file")));
}

}  // namespace
}  // namespace fcx_test
