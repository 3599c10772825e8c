// screencap: takes a screenshot of the phone's display.
//
//   screencap [-p] [FILE]
//
// It goes to FILE, or to standard output: with -p a PNG file, else the raw form: its header
// and the pixels. Exit status 1: there is none, and standard error says why.
#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_phone/core/display.h"
#include "virtual_phone/core/png.h"
#include "virtual_phone/power/unflushed.h"

namespace {

namespace vp = virtual_phone;

std::string raw_form(const vp::Phone& phone) {
  const vp::Screenshot taken = vp::take_screenshot(phone);
  return vp::raw_header(taken.display) + std::string(taken.pixels.begin(), taken.pixels.end());
}

[[noreturn]] void fail(const std::string& what) { throw vp::Error(what + ": " + strerror(errno)); }

void write_to(FILE* stream, const std::string& name, const std::string& bytes) {
  if (fwrite(bytes.data(), 1, bytes.size(), stream) != bytes.size() || fflush(stream) != 0) {
    fail(name);
  }
}

void run(const std::vector<std::string_view>& words) {
  bool is_png = false;
  std::string file;
  for (const std::string_view word : words) {
    if (word == "-p") {
      is_png = true;
    } else if (word.substr(0, 1) == "-" || word.empty() || !file.empty()) {
      throw vp::Error("usage: screencap [-p] [FILE]");
    } else {
      file = word;
    }
  }
  vp::Phone phone(vp::default_directory());
  const std::string bytes = is_png ? vp::encode_png(vp::shown_picture(phone)) : raw_form(phone);
  if (file.empty()) return write_to(stdout, "standard output", bytes);
  const vp::FileTurn turn(phone);
  vp::keep_flushed(phone, {"", fcx::FileOperation::open, file.c_str(), -1, O_CREAT});
  vp::keep_flushed(phone, {"", fcx::FileOperation::write, file.c_str()});
  const std::unique_ptr<FILE, int (*)(FILE*)> out(fopen(file.c_str(), "we"), fclose);
  if (out == nullptr) fail(file);
  write_to(out.get(), file, bytes);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    run({argv + 1, argv + argc});
    return 0;
  } catch (const std::exception& error) {
    fprintf(stderr, "screencap: %s\n", error.what());
    return 1;
  }
}
