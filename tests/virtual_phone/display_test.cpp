// The display: what is on it, and the phone's own program that takes its screenshot.

#include <linux/fb.h>
#include <sys/wait.h>
#include <zlib.h>

#include "platform/device_home.h"
#include "tests/phone_fixture.h"
#include "tests/services/screen/plain_pixels.h"
#include "virtual_phone/core/display.h"
#include "virtual_phone/core/png.h"

namespace fcx_test {
namespace {

using vp::Error;
using vp::Picture;

std::string bytes(const std::vector<uint8_t>& all) { return {all.begin(), all.end()}; }

/// A picture without a pattern.
Picture varied(int width, int height) {
  Picture picture(width, height);
  const std::string all = some_bytes(picture.rgba.size());
  picture.rgba.assign(all.begin(), all.end());
  return picture;
}

class VirtualDisplay : public PhoneTest {
 protected:
  fs::path framebuffer() { return file(vp::kFramebuffer); }
  fs::path node(const char* name) { return file("/sys/class/graphics/fb0") / name; }
  /// What the framebuffer answers, and its size: "WIDTHxHEIGHT BITS STRIDE MEMORY".
  std::string asked() {
    const android::base::unique_fd fd(open(framebuffer().c_str(), O_RDONLY));
    fb_fix_screeninfo fixed{};
    fb_var_screeninfo variable{};
    if (fcx::platform_ioctl(fd.get(), FBIOGET_FSCREENINFO, &fixed) != 0) return "refused";
    EXPECT_EQ(0, fcx::platform_ioctl(fd.get(), FBIOGET_VSCREENINFO, &variable));
    EXPECT_EQ(fixed.smem_len, fs::file_size(framebuffer()));
    char text[99];
    snprintf(text, sizeof text, "%dx%d %d %d %d", variable.xres, variable.yres,
             variable.bits_per_pixel, fixed.line_length, fixed.smem_len);
    return text;
  }
  /// Runs the phone's program. @return its exit status, and what it wrote
  std::pair<int, std::string> screencap(const std::string& words) {
    const int status = fcx::platform_shell(
        ("/system/bin/screencap " + words + " >/data/out 2>/data/errors").c_str());
    return {WEXITSTATUS(status), read_file(file("/data/out"))};
  }
};

TEST_F(VirtualDisplay, TheFirstToLookFindsTheTestCard) {
  EXPECT_EQ(0u, fs::file_size(framebuffer()));
  const android::base::unique_fd early(open(framebuffer().c_str(), O_RDONLY));
  EXPECT_EQ("1080x2400 32 4352 10444800", asked());
  EXPECT_TRUE(vp::shows_test_card(phone()));
  char first[4];
  EXPECT_EQ("\xFF\0\0\xFF"s, std::string(first, read(early.get(), first, sizeof first)))
      << "drawn in place: who has opened it before finds it, too";
  // Edges, the corner and its dot, bars, the end of each gradient, single pixels, a diagonal.
  const std::tuple<int, int, uint32_t> pixels[] = {
      {0, 0, 0xFF0000},       {1079, 2399, 0x0000FF}, {0, 1200, 0xFFFFFF},
      {1079, 500, 0x00FF00},  {1, 1, 0xFFFFFF},       {67, 67, 0x000000},
      {200, 5, 0xFFFF00},     {300, 500, 0x00FFFF},   {900, 500, 0x0000FF},
      {1078, 500, 0x000000},  {1078, 1000, 0xFE0000}, {1078, 1200, 0x00FE00},
      {1078, 1400, 0x0000FE}, {1078, 1600, 0xFEFEFE}, {539, 1000, 0x7F0000},
      {100, 1800, 0xFFFFFF},  {101, 1800, 0x000000},  {101, 1801, 0xFFFFFF},
      {500, 1801, 0xFFFFFF},  {900, 1800, 0xFFFFFF},  {900, 1801, 0x000000},
      {8, 2392, 0x0060A0},    {8, 2391, 0xFFFFFF}};
  const Picture shown = vp::shown_picture(phone());
  for (const auto& [x, y, colour] : pixels) {
    const uint8_t* pixel = shown.row(y) + 4 * x;
    EXPECT_EQ(colour, static_cast<uint32_t>(pixel[0] << 16 | pixel[1] << 8 | pixel[2]))
        << x << ", " << y;
    EXPECT_EQ(255, pixel[3]);
  }
}

TEST_F(VirtualDisplay, TakesPicturesOfAnySizeInBothDepths) {
  // From 256 pixels on rows are rounded up to a multiple of the bits of a pixel.
  for (const char* answer :
       {"1x1 16 2 2", "1x1 32 4 4", "33x7 16 66 462", "33x7 32 132 924", "255x2 16 510 1020",
        "255x2 32 1020 2040", "256x2 16 512 1024", "256x2 32 1024 2048", "257x2 16 544 1088",
        "257x2 32 1152 2304", "8192x1 16 16384 16384", "1x8192 32 4 32768"}) {
    SCOPED_TRACE(answer);
    int width = 0, height = 0, bits = 0;
    EXPECT_EQ(3, sscanf(answer, "%dx%d %d", &width, &height, &bits));
    const Picture picture = varied(width, height);
    vp::show_picture(phone(), picture, bits);
    EXPECT_EQ(answer, asked());
    const auto stored = [&](const Picture& each) {
      return bits == 16 ? plain_rgb565(bytes(each.rgba)) : bytes(each.rgba);
    };
    Picture shown = vp::shown_picture(phone());
    EXPECT_EQ(stored(picture), stored(shown));
    EXPECT_FALSE(vp::shows_test_card(phone()));
    // The program reads the same.
    const std::string header = vp::raw_header(vp::display(phone()));
    EXPECT_EQ(std::pair(0, header + stored(picture)), screencap(""));
    EXPECT_EQ(0, screencap("-p /data/shot.png").first);
    for (size_t i = 3; i < shown.rgba.size(); i += 4) shown.rgba[i] = 255;
    EXPECT_EQ(shown.rgba, vp::read_png(file("/data/shot.png")).rgba);
    vp::show_test_card(phone(), width, height, bits);
    EXPECT_EQ(answer, asked());
    EXPECT_TRUE(vp::shows_test_card(phone()));
  }
  // Red in the highest bits; words are little-endian. Colours are widened by their highest bits.
  Picture pixel(1, 1);
  pixel.rgba = {0x84, 0x82, 0xEF, 0xFF};
  vp::show_picture(phone(), pixel, 16);
  EXPECT_EQ(std::pair(0, "\1\0\0\0\1\0\0\0\4\0\0\0\x1D\x84"s), screencap(""));
  EXPECT_EQ(pixel.rgba, vp::shown_picture(phone()).rgba);
}

TEST_F(VirtualDisplay, WhatIsNoDisplayIsSaid) {
  const std::tuple<int, int, int> none[] = {{0, 1, 32},    {1, 0, 32},  {8193, 1, 32},
                                            {1, 8193, 32}, {-1, 1, 16}, {INT_MAX, 1, 32},
                                            {1, 1, 24},    {1, 1, 0}};
  for (const auto& [width, height, bits] : none) {
    EXPECT_THROW(vp::show_test_card(phone(), width, height, bits), Error);
  }
  EXPECT_EQ(0u, fs::file_size(framebuffer())) << "nothing has changed";
  vp::show_test_card(phone(), 4, 3, 32);
  write_file(node("bits_per_pixel"), "24\n");
  write_file(framebuffer(), "");
  EXPECT_EQ("4x3 24 16 0", asked()) << "no test card can be drawn";
  vp::show_test_card(phone(), 4, 3, 32);
  const std::tuple<fs::path, const char*, const char*, const char*> cases[] = {
      {node("virtual_size"), "4", "does not tell", "refused"},
      {node("virtual_size"), "4,4\n", "shorter than", "4x4 32 16 48"},
      {node("virtual_size"), "-4,3\n", "no display has -4 x 3", "-4x3 32 16 48"},
      {node("bits_per_pixel"), "24\n", "of 24 bits", "4x3 24 16 48"},
      {node("stride"), "15\n", "rows of 15 bytes", "4x3 32 15 48"},
      {node("stride"), "32769\n", "rows of 32769", "4x3 32 32769 48"},
      {framebuffer(), "short", "shorter than", "4x3 32 16 5"}};
  for (const auto& [changed, content, message, answer] : cases) {
    const std::string before = read_file(changed);
    write_file(changed, content);
    EXPECT_EQ(answer, asked()) << content;
    EXPECT_EQ(1, screencap("/data/shot").first);
    EXPECT_THAT(read_file(file("/data/errors")), HasSubstr(message));
    EXPECT_FALSE(fs::exists(file("/data/shot")));
    write_file(changed, before);
  }
  EXPECT_TRUE(vp::shows_test_card(phone()));
  for (const char* words : {"-x", "/data/a /data/b", "''", "/data"}) {
    EXPECT_EQ(1, screencap(words).first) << words;
    EXPECT_THAT(read_file(file("/data/errors")), HasSubstr("screencap: "));
  }
  const android::base::unique_fd fd(open(framebuffer().c_str(), O_RDONLY));
  EXPECT_EQ(-1, fcx::platform_ioctl(fd.get(), FBIOPUT_VSCREENINFO, nullptr));
  EXPECT_EQ(ENOTTY, errno);

  fs::remove(framebuffer());
  EXPECT_EQ(1, screencap("/data/shot").first);
  vp::show_test_card(phone(), 4, 3, 16);
  EXPECT_EQ("4x3 16 8 24", asked()) << "a picture brings it back";
  // What cannot be told of by the nodes is not shown.
  fs::remove(node("stride"));
  fs::create_directory(node("stride"));
  EXPECT_THROW(vp::show_test_card(phone(), 40, 30, 32), Error);
  EXPECT_EQ(24u, fs::file_size(framebuffer()));
  fs::remove(node("stride"));
  vp::show_test_card(phone(), 4, 3, 16);
  EXPECT_EQ("8\n", read_file(node("stride"))) << "a node that is missing is made";
  fs::remove(framebuffer());
  fs::create_directory(framebuffer());
  EXPECT_THROW(vp::show_test_card(phone(), 40, 30, 32), Error);
  EXPECT_EQ("4,3\n", read_file(node("virtual_size")));
  EXPECT_EQ(1, std::distance(fs::directory_iterator(framebuffer().parent_path()), {}));
}

/// The four bytes of a word of a PNG file.
std::string word(size_t value) {
  std::string found;
  for (const int shift : {24, 16, 8, 0}) found += static_cast<char>(value >> shift & 255);
  return found;
}

/// A part of a PNG file: its name, and what it holds.
std::string chunk(const std::string& name_and_data) {
  const auto size = static_cast<uInt>(name_and_data.size());
  return word(size - 4) + name_and_data +
         word(crc32(0, reinterpret_cast<const uint8_t*>(name_and_data.data()), size));
}

/// A PNG file of any kind: the bytes of its rows in the file's own form, after a filter of 0 each.
std::string png_file(int width, int height, char depth, char type, char interlace,
                     const std::string& rows, const std::string& transparent = "") {
  uLongf size = compressBound(rows.size());
  std::string packed(size, '\0');
  EXPECT_EQ(Z_OK, compress(reinterpret_cast<uint8_t*>(packed.data()), &size,
                           reinterpret_cast<const uint8_t*>(rows.data()), rows.size()));
  return "\x89PNG\r\n\x1A\n" +
         chunk("IHDR" + word(static_cast<size_t>(width)) + word(static_cast<size_t>(height)) +
               std::string{depth, type, 0, 0, interlace}) +
         (type == 3 ? chunk("PLTE\0\0\0\xFF\0\0\1\2\3\4\5\6"s) : "") +
         (transparent.empty() ? "" : chunk("tRNS" + transparent)) +
         chunk("IDAT" + packed.substr(0, size)) + chunk("IEND");
}

TEST_F(VirtualDisplay, ReadsPngFilesOfEveryKind) {
  const fs::path png = directory() / "a.png";
  const struct {
    const char* what;
    int width, height;
    char depth, type, interlace;
    std::string rows, transparent, rgba;
  } cases[] = {
      {"1 bit", 2, 1, 1, 0, 0, "\0\x40"s, "", "\0\0\0\xFF\xFF\xFF\xFF\xFF"s},
      {"deep grey", 1, 1, 16, 0, 0, "\0\x80\x80"s, "", "\x80\x80\x80\xFF"s},
      {"grey, alpha", 1, 1, 8, 4, 0, "\0\x07\x80"s, "", "\7\7\7\x80"s},
      {"colours", 2, 1, 8, 2, 0, "\0abcghi"s, "", "abc\xFFghi\xFF"s},
      {"no alpha at all", 1, 1, 8, 6, 0, "\0abc\0"s, "", "abc\0"s},
      {"deep alpha", 1, 1, 16, 6, 0, "\0aabbcc\x80\x80"s, "", "abc\x80"s},
      {"palette", 4, 1, 2, 3, 0, "\0\x1B"s, "", "\0\0\0\xFF\xFF\0\0\xFF\1\2\3\xFF\4\5\6\xFF"s},
      {"palette, alpha", 2, 1, 8, 3, 0, "\0\1\2"s, "\xFF\x80"s, "\xFF\0\0\x80\1\2\3\xFF"s},
      {"interlaced", 2, 2, 8, 2, 1, "\0abc\0ghi\0jklmno"s, "", "abc\xFFghi\xFFjkl\xFFmno\xFF"s}};
  for (const auto& each : cases) {
    write_file(png, png_file(each.width, each.height, each.depth, each.type, each.interlace,
                             each.rows, each.transparent));
    const Picture read = vp::read_png(png);
    EXPECT_EQ(each.width, read.width);
    EXPECT_EQ(each.rgba, bytes(read.rgba)) << each.what;
  }

  const std::string good = vp::encode_png(varied(37, 5));
  std::string damaged = good;
  damaged[good.size() - 14] ^= 1;
  const std::pair<std::string, const char*> refused[] = {
      {"", "can be read: Read Error"},
      {"\xFF\xD8\xFF\xE0 another kind", "Not a PNG file"},
      {good.substr(0, good.size() / 2), "Read Error"},
      {damaged, "CRC error"},
      {png_file(8193, 1, 1, 0, 0, ""), "8193 x 1 pixels"},
      {png_file(1, 8193, 1, 0, 0, ""), "1 x 8193 pixels"}};
  for (const auto& [content, message] : refused) {
    write_file(png, content);
    EXPECT_THAT([&] { vp::read_png(png); }, ThrowsMessage<Error>(HasSubstr(message)));
  }
  fs::remove(png);
  EXPECT_THAT([&] { vp::read_png(png); }, ThrowsMessage<Error>(HasSubstr("No such file")));
  EXPECT_EQ(0, mkfifo(png.c_str(), 0600));
  EXPECT_THAT([&] { vp::read_png(png); }, ThrowsMessage<Error>(HasSubstr("is no file")));
}

}  // namespace
}  // namespace fcx_test
