// Pixels of a whole screen: RGB565, and black and white. The peer is libyuv's conversion to RGB565
// of a frame of the same size; it takes blue for the lowest byte where the display has red, which
// makes no difference to the work. Beside both, a memcpy() of the frame.
#include <libyuv/convert_from_argb.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "benchmarks/bench.h"
#include "fcx/screen_capture.h"
#include "virtual_phone/core/phone.h"

namespace {

constexpr int kWidth = 1080;
constexpr int kHeight = 2400;
constexpr int kThreshold = 125;

/// A frame, what it becomes, and an object that has captured one.
struct Screen {
  std::vector<char> frame = std::vector<char>(size_t{kWidth} * kHeight * 4);
  std::vector<char> target = std::vector<char>(frame.size());
  ScreenCapture capture;
};

Screen& screen() {
  static const auto only = std::make_unique<Screen>();
  return *only;
}

void write_program(const std::vector<char>& frame) {
  namespace fs = std::filesystem;
  const fs::path root = virtual_phone::selected().root();
  const int32_t header[] = {kWidth, kHeight, 1};
  std::ofstream image(root / "image", std::ios::binary);
  image.write(reinterpret_cast<const char*>(header), sizeof header);
  image.write(frame.data(), static_cast<std::streamsize>(frame.size()));
  const fs::path program = root / "system/bin/screencap";
  fs::create_directories(program.parent_path());
  fs::remove(program);
  std::ofstream(program) << "#!/bin/sh\ncp \"$FCX_ROOT/image\" \"$1\"\n";
  fs::permissions(program, fs::perms::owner_all);
}

/// Captures a frame, whose rectangle is then that of getRectangle32().
void capture_frame() {
  unsigned seed = 1;
  for (char& byte : screen().frame) {
    byte = static_cast<char>((seed = seed * 1103515245 + 12345) >> 16);
  }
  write_program(screen().frame);
  screen().capture.captureScreenSF(0, 0, kWidth, kHeight, 16);
}

void to_rgb565(benchmark::State& state) {
  int size = 0;
  for (auto _ : state) {
    size = screen().capture.getRectangle32(screen().frame.data(), screen().target.data());
    benchmark::ClobberMemory();
  }
  if (size != kWidth * kHeight * 2) state.SkipWithError("there is no frame");
}

void to_black_and_white(benchmark::State& state) {
  int size = 0;
  for (auto _ : state) {
    size = screen().capture.convertToBW(kThreshold);
    benchmark::ClobberMemory();
  }
  if (size == 0) state.SkipWithError("there is no capture");
}

void by_libyuv(benchmark::State& state) {
  const auto* const frame = reinterpret_cast<const uint8_t*>(screen().frame.data());
  auto* const target = reinterpret_cast<uint8_t*>(screen().target.data());
  for (auto _ : state) {
    libyuv::ARGBToRGB565(frame, kWidth * 4, target, kWidth * 2, kWidth, kHeight);
    benchmark::ClobberMemory();
  }
}

void by_copying(benchmark::State& state) {
  for (auto _ : state) {
    memcpy(screen().target.data(), screen().frame.data(), screen().frame.size());
    benchmark::ClobberMemory();
  }
}

}  // namespace

void bench::register_screen() {
  capture_frame();
  measure("rgb565/library", to_rgb565);
  measure("rgb565/peer", by_libyuv);
  measure("rgb565 copied/library", to_rgb565);
  measure("rgb565 copied/peer", by_copying);
  measure("black and white/library", to_black_and_white);
  measure("black and white/peer", by_libyuv);
  measure("black and white copied/library", to_black_and_white);
  measure("black and white copied/peer", by_copying);
}

void bench::report_screen(const Medians& medians) {
  print_ratio(medians, "RGB565 of 1080 x 2400, beside libyuv (limit 1.0)", "rgb565");
  print_ratio(medians, "the same beside memcpy of the frame", "rgb565 copied");
  print_ratio(medians, "black and white, beside libyuv's RGB565 (limit 3.0)", "black and white");
  print_ratio(medians, "the same beside memcpy of the frame", "black and white copied");
}
