// What the display shows, both ways.
#include "fcx/screen_capture.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <limits>
#include <optional>
#include <regex>

#include "tests/memory.h"
#include "tests/services/screen/plain_pixels.h"
#include "tests/story_test.h"

namespace fcx_test {
namespace {

constexpr int kMost = std::numeric_limits<int>::max();

/// Of a capture of 8 x 4 pixels.
const std::string kLines = R"(
let begun = I captureScreen: left=0, top=0, width=8, height=4\n
let next = |I captureScreen: status(0)\n|I captureScreen: next!
let header = $next|I ScreenCapture: X:8, Y:4, Format:1\n
let done = |I ScreenCapture: captureScreenSF is done.\n
let saved = $begun$header$done
let unclear = |E captureScreen: screencap did not exit clearly!\n
let unsaved = |E ScreenCapture: Can not save temp image file!\n
let err = E ScreenCapture: Fail to get image data from SF.[err =
let failed = $begun|I captureScreen: status(256)\n$unclear$unsaved|$err Input/output error]\n
let framebuffer = |I ScreenCapture: initialized|I ScreenCapture: xres:8, yres:4, bitsPerPixel:32\n|$begun
let unopened = E Cannot open fb0!\n|E FD open fail :
)";

/// An image, or the framebuffer: its form is a number of the header, or the bits of a pixel.
struct Source {
  int32_t width, height, form, bytes;
};
constexpr size_t kHeaderSize = offsetof(Source, bytes);

struct Rect {
  int left, top, width, height;
};

/// The rectangle of a picture pixel for pixel.
std::string cut(const std::string& source, size_t stride, size_t source_bytes, int bpp,
                const Rect& part) {
  std::string found;
  for (int y = part.top; y < part.top + part.height; ++y) {
    const size_t first = static_cast<size_t>(y) * stride + static_cast<size_t>(part.left);
    found += source.substr(first * source_bytes, static_cast<size_t>(part.width) * source_bytes);
  }
  return bpp == 32 || source_bytes == 2 ? found : plain_rgb565(found);
}

/// What the object keeps, as those see it that were built with it.
struct Fields {
  void* table;
  int32_t initialised, framebuffer;
  void* map;
  uint32_t map_length;
  int32_t width, height, bits_per_pixel, top, left, part_width, part_height;
  void* captured;
  int32_t captured_size;
  void* captured_bw;
  int32_t captured_bw_size, compositor_mode;

  explicit Fields(const ScreenCapture& screen) {
    static_assert(sizeof(Fields) == sizeof screen);
    memcpy(static_cast<void*>(this), static_cast<const void*>(&screen), sizeof screen);
  }
};

/// As the fallback has it.
void use_framebuffer(ScreenCapture& screen) {
  memset(reinterpret_cast<char*>(&screen) + offsetof(Fields, compositor_mode), 0, sizeof(int32_t));
}

class ScreenCaptures : public StoryTest {
 protected:
  ScreenCaptures() { let("1", "$1"); }

  void set_screen(const Source& source) {
    const auto number = [](int value) { return std::to_string(value) + "\n"; };
    const fs::path nodes = file("/sys/class/graphics/fb0");
    write_file(nodes / "virtual_size", std::to_string(source.width) + "," + number(source.height));
    write_file(nodes / "bits_per_pixel", number(source.form));
    write_file(nodes / "stride", number(source.width * source.form / 8));
    write_file(file("/dev/graphics/fb0"), some_bytes(static_cast<size_t>(source.bytes)));
  }
  /// A screenshot program that is a script; its last argument is where the picture goes.
  void set_program(std::string_view body) {
    const fs::path program = file("/system/bin/screencap");
    fs::create_directories(program.parent_path());
    fs::remove(program);
    write_file(program, "#!/bin/sh\n" + std::string(body) + "\n");
    fs::permissions(program, fs::perms::owner_all);
  }
  /// One that writes an image of so many bytes after its header; -1 cuts the header.
  void set_image(const Source& source) {
    const std::string header(reinterpret_cast<const char*>(&source), kHeaderSize);
    const auto size = static_cast<size_t>(std::max(source.bytes, 0));
    write_file(file("/pixels"), source.bytes < 0 ? header.substr(1) : header + some_bytes(size));
    set_program("[ ! -e \"$1\" ] && cat \"$FCX_ROOT/pixels\" >\"$1\"");
  }
  /// What a story gives: "/screen=WIDTH HEIGHT BITS BYTES", "/image=WIDTH HEIGHT FORMAT BYTES",
  /// "/program=SCRIPT", "/stays=" for an image that cannot be removed, "/bpp=32", or "/memory=" for
  /// the size that cannot be had.
  void take_given() {
    const auto given = [this](const char* name, Source usual) {
      sscanf(read_file(file(name)).c_str(), "%d %d %d %d", &usual.width, &usual.height, &usual.form,
             &usual.bytes);
      return usual;
    };
    set_screen(given("/screen", {8, 4, 32, 128}));
    set_image(given("/image", {8, 4, 1, 128}));
    if (fs::exists(file("/program"))) set_program(read_file(file("/program")));
    refuse_memory(std::strtoul(read_file(file("/memory")).c_str(), nullptr, 10));
  }
  int capture_given() {
    take_given();
    const int size = screen.captureScreen(0, 0, 8, 4, fs::exists(file("/bpp")) ? 32 : 16);
    EXPECT_EQ(size, screen.getCapturedSize());
    EXPECT_EQ(fs::exists(file("/stays")), fs::exists(file("/data/screencap/screencapTemp.raw")));
    const Fields kept(screen);
    EXPECT_EQ((std::array{0, -1, 1}),
              (std::array{kept.initialised, kept.framebuffer, kept.compositor_mode}));
    EXPECT_EQ(nullptr, kept.map);
    return size;
  }
  std::string captured() {
    return {screen.getCaptured(), static_cast<size_t>(screen.getCapturedSize())};
  }

  ScreenCapture screen;
};

TEST_F(ScreenCaptures, KeepWhatOthersWereBuiltWith) {
  Fields fields(screen);
  EXPECT_TRUE(fields.table != nullptr && fields.framebuffer == -1 && fields.compositor_mode == 1);
  constexpr size_t kEmpty = offsetof(Fields, captured_size) - offsetof(Fields, map);
  EXPECT_EQ(std::string(kEmpty, '\0'), std::string(reinterpret_cast<char*>(&fields.map), kEmpty));

  // As long as the framebuffer is the source it stays open.
  set_screen({260, 2, 32, 2304});
  std::optional<ScreenCapture> own(std::in_place);
  use_framebuffer(*own);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(0, own->init());
  EXPECT_EQ(
      "I ScreenCapture: initialized|I ScreenCapture: xres:260, yres:2, bitsPerPixel:32\n|"
      "I Already initialized!\n",
      told());
  EXPECT_EQ(416, own->captureScreen(1, 0, 104, 2, 16));
  EXPECT_EQ(32, own->convertToBW(1));
  fields = Fields(*own);
  EXPECT_THAT((std::array{fields.initialised, fields.width, fields.height, fields.bits_per_pixel,
                          fields.top, fields.left, fields.part_width, fields.part_height,
                          fields.captured_size, fields.captured_bw_size}),
              ElementsAre(1, 260, 2, 32, 0, 1, 104, 2, 416, 32));
  EXPECT_EQ(some_bytes(2304), std::string(static_cast<char*>(fields.map), fields.map_length));
  EXPECT_EQ(own->getCaptured(), fields.captured);
  EXPECT_EQ(own->getCapturedBW(), fields.captured_bw);
  EXPECT_NE(-1, fcntl(fields.framebuffer, F_GETFD));
  for (int i = 0; i < 2; ++i) own->deinit();
  EXPECT_EQ(-1, fcntl(fields.framebuffer, F_GETFD));
  EXPECT_TRUE(Fields(*own).framebuffer == -1 && Fields(*own).map == nullptr);
  EXPECT_EQ(0, own->init());
  EXPECT_NE(-1, fcntl(fields.framebuffer, F_GETFD)) << "the lowest that is free";
  own.reset();
  EXPECT_EQ(-1, fcntl(fields.framebuffer, F_GETFD));
}

TEST_F(ScreenCaptures, NeedAFramebufferThatCanBeAsked) {
  for (const bool is_source : {false, true}) {
    const auto begin = [&] {
      take_given();
      ScreenCapture own;
      if (is_source) use_framebuffer(own);
      const int result = own.init();
      EXPECT_EQ(is_source && result == 0, Fields(own).framebuffer >= 0);
      EXPECT_EQ(is_source && result == 0, Fields(own).map != nullptr);
      return result;
    };
    let("unmapped", is_source ? "E Failed to mmap framebuffer!\n" : "");
    let("result", is_source ? "result=-1" : "");
    tell("init", begin, kLines + R"(
/dev/graphics/fb0!open 13 -> $unopened Permission denied\n => result=-1
/dev/graphics/fb0!ioctl -> E failed to get fb0 info!\n => result=-1
/dev/graphics/fb0!ioctl @2 -> E failed to get fb0 info!\n => result=-1
/dev/graphics/fb0!mmap 12 -> $unmapped => $result
/screen=8 4 24 0 -> $unmapped => $result
)");
  }
  TELL("getScreenWidth", screen.getScreenWidth(), "-> => result=1080");
  TELL("getScreenHeight", screen.getScreenHeight(),
       "/dev/graphics/fb0!open 2 -> $unopened No such file or directory\\n => result=2400");
}

TEST_F(ScreenCaptures, AreWhatTheSourceShows) {
  const struct {
    bool is_image;
    int width, height, bits, stride, bpp;
    Rect part;
  } cases[] = {{true, 300, 4, 32, 300, 0, {299, 1, 1, 3}},
               {true, 300, 4, 32, 300, 32, {0, 0, 300, 4}},
               {true, 300, 4, 16, 300, 16, {0, 0, 300, 4}},
               {true, 300, 4, 16, 300, 24, {1, 2, 33, 2}},
               {true, 1, 3, 32, 1, -1, {0, 0, 1, 3}},
               {false, 1080, 2, 32, 1088, 16, {0, 0, 1080, 2}},
               {false, 260, 3, 32, 288, 16, {1, 1, 19, 2}},
               {false, 255, 3, 32, 255, 16, {0, 0, 255, 3}},
               {false, 256, 3, 32, 256, 16, {0, 0, 256, 3}},
               {false, 257, 3, 32, 288, 16, {256, 2, 1, 1}},
               {false, 255, 3, 16, 255, 16, {2, 1, 9, 2}},
               {false, 257, 3, 16, 272, 16, {0, 2, 257, 1}},
               {false, 17, 3, 32, 17, 32, {4, 2, 13, 1}},
               // Without the padding between rows, on purpose.
               {false, 260, 3, 32, 260, 32, {0, 0, 260, 3}}};
  for (const auto& [is_image, width, height, bits, stride, bpp, part] : cases) {
    const int size = stride * height * bits / 8;
    // The framebuffer is of another size and depth than the image, which counts.
    set_screen(is_image ? Source{width + 5, height + 7, 48 - bits, 0}
                        : Source{width, height, bits, size});
    set_image({width, height, bits == 16 ? 4 : 5, size});
    if (!is_image) set_program("exit 1");
    const std::string wanted =
        cut(some_bytes(static_cast<size_t>(size)), static_cast<size_t>(stride),
            static_cast<size_t>(bits / 8), bpp, part);
    EXPECT_EQ(static_cast<int>(wanted.size()),
              screen.captureScreen(part.left, part.top, part.width, part.height, bpp));
    EXPECT_TRUE(wanted == captured()) << width << " x " << height << " of " << bits << " bits";
    const Fields kept(screen);
    EXPECT_THAT((std::array{kept.width, kept.height, kept.bits_per_pixel}),
                ElementsAre(width, height, bits));
  }
  EXPECT_EQ(fs::perms(0744), fs::status(file("/data/screencap")).permissions());
}

TEST_F(ScreenCaptures, RefuseARectangleThatIsNotOnTheScreen) {
  constexpr char kInvalid[] = "E Invalid capture request!!!!!\n";
  set_screen({10, 6, 32, 240});
  set_image({10, 6, 1, 240});
  const Rect bad[] = {{0, 0, 11, 6},      {0, 0, 10, 7},    {1, 0, 10, 6},    {0, 1, 10, 6},
                      {-1, 0, 5, 5},      {0, -1, 5, 5},    {0, 0, -1, 5},    {5, 5, 1, -1},
                      {kMost, 0, 1, 1},   {0, kMost, 1, 1}, {1, 1, kMost, 1}, {1, 1, 1, kMost},
                      {0, 0, 65536, 8192}};
  for (const auto& [left, top, width, height] : bad) {
    EXPECT_EQ(120, screen.captureScreen());
    told();
    EXPECT_EQ(0, screen.captureScreen(left, top, width, height, 16));
    EXPECT_EQ(nullptr, screen.getCaptured());
    EXPECT_EQ(kInvalid, told()) << left << " " << top << " " << width << " " << height;
    // Past captureScreen() the source decides, unless no source can have it.
    EXPECT_EQ(0, screen.captureScreenFB(left, top, width, height, 16));
    EXPECT_EQ(0, screen.captureScreenSF(left, top, width, height, 32));
    const bool is_possible = width * height >= 60 && width * height <= 70;
    EXPECT_THAT(told(), HasSubstr(is_possible ? "have the pixels\n|" : kInvalid + "|"s + kInvalid));
  }
  for (const auto& [left, top, width, height] :
       {Rect{9, 5, 1, 1}, {0, 0, 10, 6}, {10, 6, 0, 0}, {0, 0, 0, 6}}) {
    EXPECT_EQ(width * height * 2, screen.captureScreen(left, top, width, height, 16));
  }
}

TEST_F(ScreenCaptures, TakeNothingFromASourceThatLies) {
  TELL("captureScreen", capture_given(), kLines + R"(
let lies = |E captureScreenSF: the image does not have the pixels\n$done
let short = |E captureScreenSF: the image has no header: too short\n$done
let no = |E captureScreenSF: no conversion of
let is = $begun$next|I ScreenCapture: X:
/image=8 4 1 -1 -> $begun$next$short
/program=: >"$1" -> $begun$next$short
/image=8 4 1 127 -> $begun$header$lies
/bpp=32; /image=8 4 1 127 -> $begun$header$lies
/image=7 4 1 128 -> ${is}7, Y:4, Format:1\n$lies
/image=8 3 1 128 -> ${is}8, Y:3, Format:1\n$lies
/image=8 4 4 63 -> ${is}8, Y:4, Format:4\n$lies
/image=-8 4 1 128 -> ${is}-8, Y:4, Format:1\n$lies
/image=-8 -4 1 128 -> ${is}-8, Y:-4, Format:1\n$lies
/image=2147483647 2147483647 3 128 -> ${is}2147483647, Y:2147483647, Format:3\n$lies
/image=65536 16384 1 128 -> ${is}65536, Y:16384, Format:1\n$lies
/image=8 4 3 96 -> ${is}8, Y:4, Format:3\n$no 24 bits per pixel to 16\n$done
/bpp=32; /image=8 4 3 128 -> ${is}8, Y:4, Format:3\n$no 24 bits per pixel to 32\n$done
/bpp=32; /image=8 4 4 128 -> ${is}8, Y:4, Format:4\n$no 16 bits per pixel to 32\n$done
let exits = /program=exit 1
let is = $failed|I ScreenCapture: initialized|I ScreenCapture: xres:8, yres:4, bitsPerPixel:
let wide = $failed|I ScreenCapture: initialized|I ScreenCapture: xres:260, yres:4, bitsPerPixel:
let lies = |E captureScreenFB: the source does not have the pixels\n
let no = |E captureScreenFB: no conversion of
$exits; /screen=8 4 32 127 -> ${is}32\n|$begun$lies
$exits; /bpp=32; /screen=8 4 32 127 -> ${is}32\n|$begun$lies
$exits; /screen=8 4 16 63 -> ${is}16\n|$begun$lies
$exits; /screen=8 4 16 64 -> ${is}16\n|$begun => result=64
$exits; /screen=8 4 24 96 -> ${is}24\n|$begun$no 24 bits per pixel to 16\n
$exits; /bpp=32; /screen=8 4 16 128 -> ${is}16\n|$begun$no 16 bits per pixel to 32\n
$exits; /screen=260 4 0 788 -> ${wide}0\n|$begun$no 0 bits per pixel to 16\n
$exits; /screen=260 4 -16 788 -> ${wide}-16\n|$begun$no -16 bits per pixel to 16\n
)");
}

TEST_F(ScreenCaptures, GoOnWithoutWhatTheyCanDoWithout) {
  TELL("captureScreen", capture_given(), kLines + R"(
let restored = restorecon: /data/screencap/ flags 0
let image = /data/screencap/screencapTemp.raw
let nothing = $begun|E Used null buffer!
let stays = |E captureScreenSF: $image cannot be removed: Device or resource busy\n
-> $saved => events=$restored|unmount: /data/screencap/; result=64
service restorecon!absent -> $begun|E ScreenCapture: selinux_android_restorecon fail!\n$header$done => result=64
/data/screencap/!mkdir 28 -> $begun|E captureScreen: Can not create /data/screencap/!\n|
  $err No space left on device]\n$framebuffer => events=; result=64
/data/screencap/x=; /data/screencap!stat 13 -> $saved => result=64
/stays=1; $image!remove 16 @2 -> $saved$stays => result=64
$image!remove 16 -> $begun$stays$stays|$err Device or resource busy]\n$framebuffer => result=64
$image!open 24 -> $begun|I captureScreen: status(0)\n|$err Too many open files]\n$framebuffer
  => events=$restored; result=64
$image!read -> $begun$next|E captureScreenSF: the image has no header: Input/output error\n$done
$image!read short 139 -> $begun$header|
  E captureScreenSF: the image cannot be read: it has become shorter\n$done
thread screencap! -> $begun|
  E saveScreenToFile: screencap cannot be run: Resource temporarily unavailable\n$unsaved|
  $err Resource temporarily unavailable]\n$framebuffer => result=64
$image=old; /program=exit 0 -> $begun|I captureScreen: status(0)\n|
  $err No such file or directory]\n$framebuffer => result=64
/program=echo old >$1 && exit 1 -> $failed$framebuffer => result=64
/program=exit 1; /dev/graphics/fb0!mmap -> $failed|E Failed to mmap framebuffer!\n|$nothing
/program=exit 1; /dev/graphics/fb0!open 2 @2 -> $failed|$unopened No such file or directory\n|$nothing
)");
}

TEST_F(ScreenCaptures, DoWithoutMemory) {
  const auto convert = [this] {
    const int size = capture_given();
    EXPECT_EQ(size > 0, screen.getCaptured() != nullptr);
    return screen.convertToBW(1);
  };
  tell("convertToBW", convert, kLines + R"(
/memory=128 -> $begun$header|E captureScreenSF: no memory for the image\n$done|E @: nothing was captured\n
/memory=64 -> $begun$header|E captureScreenSF: no memory for the capture\n$done|E @: nothing was captured\n
/memory=16 -> $saved|E @: no memory for the bitmap\n
-> $saved => result=16
)");
}

TEST_F(ScreenCaptures, TakeAnyEndOfTheProgramButOneForSuccess) {
  const auto save = [this] {
    take_given();
    const int result = screen.saveScreenToFile(0, "/data/a");
    // Nothing is left to be waited for.
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
    return result;
  };
  tell("saveScreenToFile", save, kLines + R"(
/program=exit 0 -> I captureScreen: status(0)\n =>
/program=exit 1 -> I captureScreen: status(256)\n$unclear => result=-1
/program=exit 2 -> I captureScreen: status(512)\n =>
/program=kill -KILL $$ -> I captureScreen: status(9)\n$unclear => result=-1
/program=kill -STOP $$ -> I captureScreen: status(4991)\n$unclear => result=-1
)");
  TELL("saveScreenToFile", screen.saveScreenToFile(0, nullptr), "-> => result=-1");
  TELL("saveScreenToFile", screen.saveScreenToFile(1, ""),
       "-> E @: an empty path names nothing\\n => result=-1");

  const pid_t other = fork();
  if (other == 0) _exit(3);
  set_program("echo \"$# $*\" >\"$FCX_ROOT/told\"");
  const std::string path = file("/data/a b").string();
  for (const auto& [png, words] : {std::pair{5, "2 -p "}, {0, "1 "}}) {
    EXPECT_EQ(0, screen.saveScreenToFile(png, "/data/a b"));
    EXPECT_EQ(words + path + "\n", read_file(file("/told")));
  }
  EXPECT_EQ(other, waitpid(other, nullptr, 0)) << "a child of somebody else";

  fs::remove(file("/system/bin/screencap"));
  fs::resize_file(phone().log_file(), 0);
  EXPECT_EQ(-1, screen.saveScreenToFile(0, "/data/a"));
  // The first line is the child's own.
  EXPECT_EQ(
      "E Fcx     : ScreenCapture: Can not excute screencap!\n"
      "I Fcx     : captureScreen: status(256)\n"
      "E Fcx     : captureScreen: screencap did not exit clearly!\n",
      std::regex_replace(read_file(phone().log_file()), std::regex("[-0-9 :.]{18,} (?=[EI] )"),
                         ""));
}

TEST_F(ScreenCaptures, CopyARectangleForTheirCaller) {
  std::string source = some_bytes(1 + 3456), target(5 * 2 * 4 + 2, '\x5A');
  set_screen({260, 3, 32, 3456});
  use_framebuffer(screen);
  EXPECT_EQ(20, screen.captureScreen(7, 1, 5, 2, 16));
  EXPECT_THAT(told(), HasSubstr("|I captureScreen: left=7, top=1, width=5, height=2\n"));
  const std::tuple<int (ScreenCapture::*)(char*, char*), size_t, size_t, int> cases[] = {
      {&ScreenCapture::getRectangle32, 288, 4, 16},
      {&ScreenCapture::getRectangle16, 288, 2, 16},
      {&ScreenCapture::getRectangleTrue32, 260, 4, 32}};
  for (const auto& [copy, stride, source_bytes, bpp] : cases) {
    const std::string wanted = cut(source.substr(1), stride, source_bytes, bpp, {7, 1, 5, 2});
    target.assign(target.size(), '\x5A');
    EXPECT_EQ(static_cast<int>(wanted.size()),
              (screen.*copy)(source.data() + 1, target.data() + 1));
    EXPECT_EQ("\x5A" + wanted + "\x5A", target.substr(0, wanted.size() + 2));
    EXPECT_EQ(0, (screen.*copy)(nullptr, target.data()));
    EXPECT_EQ(0, (screen.*copy)(source.data(), nullptr));
    EXPECT_EQ("E Used null buffer!|E Used null buffer!", told());
  }
}

TEST_F(ScreenCaptures, AreMadeBlackAndWhite) {
  const auto bitmap = [this] {
    return std::string(screen.getCapturedBW(), static_cast<size_t>(screen.getCapturedBWSize()));
  };
  // Two bytes a pixel, whatever was captured.
  for (const auto& [width, bpp] :
       {std::pair{256, 16}, {33, 16}, {32, 32}, {31, 16}, {8, 16}, {1, 16}}) {
    set_screen({width, 20, 32, 0});
    set_image({width, 20, 1, width * 80});
    ASSERT_EQ(width * 20 * bpp / 8, screen.captureScreen(0, 0, width, 20, bpp));
    const auto row = static_cast<size_t>(width) * 2;
    for (const int threshold : {0, 1, 2, 127, 249, 250, -1, -2, kMost, -kMost - 1}) {
      std::string wanted;
      for (size_t y = 0; y < 20; ++y) {
        wanted += plain_bits(captured().substr(y * row, row), int64_t{threshold} * 3 / 4);
        wanted.resize((y + 1) * ((row / 2 + 31) / 32 * 4));
      }
      EXPECT_EQ(static_cast<int>(wanted.size()), screen.convertToBW(threshold));
      EXPECT_TRUE(wanted == bitmap()) << width << " pixels, threshold " << threshold;
    }
  }
  EXPECT_EQ(0, screen.captureScreen(0, 0, 2, 1, 16));
  EXPECT_EQ(0, screen.convertToBW(0));
  EXPECT_EQ("", bitmap());
}

}  // namespace
}  // namespace fcx_test
