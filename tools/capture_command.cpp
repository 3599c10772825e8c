// capture: the screen, as the library captures it.
#include <android-base/unique_fd.h>
#include <android/log.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <sstream>
#include <vector>

#include "daemon/turn.h"
#include "fcx/screen_capture.h"
#include "tools/commands.h"
#include "tools/json.h"
#include "tools/output_file.h"
#include "tools/words.h"
#include "virtual_phone/core/display.h"
#include "virtual_phone/core/log_buffer.h"
#include "virtual_phone/core/log_file.h"
#include "virtual_phone/core/png.h"

namespace cli {
namespace {

namespace vp = virtual_phone;

enum class Format { png, raw, pbm };
constexpr std::pair<Format, const char*> kFormats[] = {
    {Format::png, "png"}, {Format::raw, "raw"}, {Format::pbm, "pbm"}};

const char* name_of(Format format) {
  const auto* found = std::find_if(std::begin(kFormats), std::end(kFormats),
                                   [&](const auto& each) { return each.first == format; });
  return found->second;
}

/// What screencap makes for the library.
constexpr char kRawImage[] = "/data/screencap/screencapTemp.raw";

struct Options {
  std::string out;
  std::optional<std::string> rect;
  std::optional<std::string> bits;
  std::optional<std::string> threshold;
  std::optional<std::string> format;
};

struct Rectangle {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

/// What is asked for.
struct Wish {
  std::optional<Rectangle> rectangle;  ///< else the whole screen
  int bits = 16;
  std::optional<int> threshold;  ///< of a black-and-white picture
  Format format = Format::png;
  bool is_to_standard_output = false;
};

Rectangle rectangle_of(const std::string& text) {
  std::array<int, 4> numbers{};
  std::istringstream words(text);
  size_t count = 0;
  for (std::string word; std::getline(words, word, ',') && count < numbers.size(); ++count) {
    const int64_t number = number_of(word, "each number of --rect");
    if (number < 0) throw UsageError("--rect takes no negative number");
    if (number > std::numeric_limits<int>::max()) {
      throw UsageError("--rect has no number as large as " + word);
    }
    numbers[count] = static_cast<int>(number);
  }
  if (count != numbers.size() || std::count(text.begin(), text.end(), ',') != 3) {
    throw UsageError("--rect is LEFT,TOP,WIDTH,HEIGHT, not \"" + text + "\"");
  }
  const auto [left, top, width, height] = numbers;
  if (width == 0 || height == 0) throw UsageError("--rect " + text + " has no pixel");
  return {left, top, width, height};
}

Format format_of(const Options& options) {
  if (!options.format.has_value() && options.out == "-") return Format::png;
  const std::string extension = std::filesystem::path(options.out).extension();
  const std::string name = options.format.value_or(extension.substr(extension.empty() ? 0 : 1));
  for (const auto& [format, known] : kFormats) {
    if (name == known) return format;
  }
  throw UsageError(options.format.has_value()
                       ? "--format is png, raw or pbm, not \"" + name + "\""
                       : "a name that ends in .png, .raw or .pbm says what \"" + options.out +
                             "\" is to be, or --format does");
}

Wish wish_of(const Options& options, bool as_json) {
  Wish wish;
  wish.format = format_of(options);
  wish.is_to_standard_output = options.out == "-";
  if (options.rect.has_value()) wish.rectangle = rectangle_of(*options.rect);
  if (options.bits.has_value()) wish.bits = bits_of(*options.bits);
  if (options.threshold.has_value()) {
    constexpr size_t kMost = 255;
    const size_t threshold = count_of(*options.threshold, "--bw");
    if (threshold > kMost) throw UsageError("--bw is 0 to 255, not " + *options.threshold);
    wish.threshold = static_cast<int>(threshold);
  }
  if (wish.threshold.has_value() && wish.bits != 16) {
    throw UsageError("black and white is made of 16 bits: --bw takes no --bits 32");
  }
  if (wish.threshold.has_value() && wish.format == Format::raw) {
    throw UsageError("the raw form has colours: --bw makes png or pbm");
  }
  if (!wish.threshold.has_value() && wish.format == Format::pbm) {
    throw UsageError("pbm is black and white: --bw says above which brightness a pixel is white");
  }
  if (wish.is_to_standard_output && as_json) {
    throw UsageError("standard output is the picture's: give --json a file");
  }
  return wish;
}

/// Lets what else is printed meanwhile, as by a screencap of the user's own, go to standard error.
class OutputElsewhere {
 public:
  OutputElsewhere() : kept_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
    if (!kept_.ok() || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
      throw vp::Error("standard output cannot be put aside");
    }
  }
  ~OutputElsewhere() {
    // A descriptor that is there already is only named anew.
    static_cast<void>(dup2(kept_.get(), STDOUT_FILENO));
  }
  OutputElsewhere(const OutputElsewhere&) = delete;
  OutputElsewhere& operator=(const OutputElsewhere&) = delete;

 private:
  android::base::unique_fd kept_;
};

/// What the library captured, in memory of its own.
struct Capture {
  Rectangle rectangle;
  int bits;
  std::vector<uint8_t> pixels;
  std::vector<uint8_t> bitmap;  ///< of a black-and-white one: rows of whole 32 bits, set is bright
};

void tell_lines(Invocation& invocation, const std::vector<vp::LogEntry>& entries, int priority) {
  for (const vp::LogEntry& entry : entries) {
    if (entry.priority < priority) continue;
    std::string message = entry.message;
    while (!message.empty() && message.back() == '\n') message.pop_back();
    invocation.complain(entry.tag + ": " + message);
  }
}

size_t bitmap_row(const Rectangle& rectangle) {
  return (static_cast<size_t>(rectangle.width) + 31) / 32 * 4;
}

std::vector<uint8_t> bytes_at(const void* start, size_t size) {
  const auto* bytes = static_cast<const uint8_t*>(start);
  return {bytes, bytes + size};
}

/// Whether a process that was to become screencap has logged that it could not: what another
/// process logs is not heard here.
bool is_refused(const std::string& log) {
  return log.find("Can not excute screencap!") != std::string::npos;
}

/// Says why it could not.
void tell_refusal(Invocation& invocation, const vp::Phone& phone) {
  const char* program = "root/system/bin/screencap";
  int error = 0;
  for (const char* each : {program, "root/vendor/bin/screencap"}) {
    error = access((phone.directory() / each).c_str(), X_OK) == 0 ? 0 : errno;
    if (error != ENOENT) program = each;
    if (error != ENOENT) break;
  }
  const char* reason =
      error == 0 ? "it is no program, or its interpreter is missing" : strerror(error);
  invocation.complain("fcx: " + std::string(program) + ": " + reason);
}

/// Throws Error, after what the library logged, unless there is all of it.
Capture capture(Invocation& invocation, const Wish& wish) {
  const vp::Phone& phone = invocation.open_phone();
  const factory_daemon::Turn turn(phone, {kRawImage});
  vp::LogReader log(phone.log_file());
  log.last_lines(0);  // what is appended from now on counts
  std::vector<vp::LogEntry> entries;
  ScreenCapture screen;
  Capture captured{wish.rectangle.value_or(Rectangle{}), wish.bits, {}, {}};
  Rectangle& wanted = captured.rectangle;
  uint64_t size = 0;
  uint64_t bitmap_size = 0;
  {
    const OutputElsewhere elsewhere;
    const struct Listener {
      ~Listener() { vp::observe_log({}); }
    } listener;
    vp::observe_log([&](const vp::LogEntry& entry) { entries.push_back(entry); });
    if (!wish.rectangle.has_value()) {
      wanted = {0, 0, screen.getScreenWidth(), screen.getScreenHeight()};
    }
    const int got =
        screen.captureScreen(wanted.left, wanted.top, wanted.width, wanted.height, wish.bits);
    size = static_cast<uint64_t>(std::max(got, 0));
    if (wish.threshold.has_value()) {
      bitmap_size = static_cast<uint64_t>(std::max(screen.convertToBW(*wish.threshold), 0));
    }
  }
  if (is_refused(log.appended())) tell_refusal(invocation, phone);
  const uint64_t pixels =
      static_cast<uint64_t>(wanted.width) * static_cast<uint64_t>(wanted.height);
  const bool is_whole = size > 0 && size == pixels * static_cast<uint64_t>(wish.bits / 8) &&
                        (!wish.threshold.has_value() ||
                         bitmap_size == bitmap_row(wanted) * static_cast<uint64_t>(wanted.height));
  tell_lines(invocation, entries, is_whole ? ANDROID_LOG_WARN : ANDROID_LOG_VERBOSE);
  if (!is_whole) {
    throw vp::Error("the screen was not captured: " + std::to_string(size) +
                    " bytes came. The library's log is " +
                    (invocation.json ? "beside it." : "above."));
  }
  captured.pixels = bytes_at(screen.getCaptured(), static_cast<size_t>(size));
  captured.bitmap = bytes_at(screen.getCapturedBW(), static_cast<size_t>(bitmap_size));
  return captured;
}

vp::Picture picture_of(const Capture& capture) {
  const Rectangle& size = capture.rectangle;
  vp::Picture picture(size.width, size.height);
  if (!capture.bitmap.empty()) {
    for (int y = 0; y < size.height; ++y) {
      const uint8_t* bits = &capture.bitmap[static_cast<size_t>(y) * bitmap_row(size)];
      uint8_t* row = picture.row(y);
      for (size_t x = 0; x < static_cast<size_t>(size.width); ++x) {
        const bool is_bright = (bits[x / 8] >> (7 - x % 8) & 1) != 0;
        std::fill_n(row + x * vp::kPixelSize, vp::kPixelSize, is_bright ? 255 : 0);
      }
    }
  } else if (capture.bits == 32) {
    picture.rgba = capture.pixels;
  } else {
    vp::widen_pixels(capture.pixels.data(), capture.pixels.size() / 2, picture.rgba.data());
  }
  return picture;
}

/// As screencap writes it.
std::string raw_form(const Capture& capture) {
  const vp::Display display = {capture.rectangle.width, capture.rectangle.height, capture.bits, 0};
  return vp::raw_header(display) + std::string(capture.pixels.begin(), capture.pixels.end());
}

/// Black is 1 there.
std::string bitmap_form(const Capture& capture) {
  const Rectangle& size = capture.rectangle;
  std::string bytes =
      "P4\n" + std::to_string(size.width) + " " + std::to_string(size.height) + "\n";
  const size_t row = (static_cast<size_t>(size.width) + 7) / 8;
  const unsigned last = 0xFFu << (row * 8 - static_cast<size_t>(size.width)) & 0xFF;
  for (int y = 0; y < size.height; ++y) {
    const uint8_t* bits = &capture.bitmap[static_cast<size_t>(y) * bitmap_row(size)];
    for (size_t i = 0; i < row; ++i) {
      bytes += static_cast<char>(~bits[i] & (i + 1 == row ? last : 0xFF));
    }
  }
  return bytes;
}

std::string encoded(const Capture& capture, Format format) {
  switch (format) {
    case Format::raw:
      return raw_form(capture);
    case Format::pbm:
      return bitmap_form(capture);
    default:
      return vp::encode_png(picture_of(capture));
  }
}

void run_capture(Invocation& invocation, const Options& options) {
  const Wish wish = wish_of(options, invocation.json);
  const Capture captured = capture(invocation, wish);
  const std::string bytes = encoded(captured, wish.format);
  if (wish.is_to_standard_output) {
    // What could not be written is told by the end of the tool.
    static_cast<void>(fwrite(bytes.data(), 1, bytes.size(), stdout));
    return;
  }
  write_output_file(options.out, bytes);
  const Rectangle& size = captured.rectangle;
  if (invocation.json) {
    return print({{"path", options.out},
                  {"format", name_of(wish.format)},
                  {"left", size.left},
                  {"top", size.top},
                  {"width", size.width},
                  {"height", size.height},
                  {"bits", wish.threshold.has_value() ? 1 : wish.bits},
                  {"size", bytes.size()},
                  {"complaints", invocation.complaints}});
  }
  printf("captured %d x %d pixels: %s, %zu bytes\n", size.width, size.height, options.out.c_str(),
         bytes.size());
}

}  // namespace

void add_capture(Verb& tool, Invocation& invocation) {
  auto options = std::make_shared<Options>();
  Verb& command = add_command(
      tool, "capture", "Capture the screen with the library, as a picture",
      "  fcx capture shot.png                        all of it\n"
      "  fcx capture --rect 0,0,200,100 --bits 32 shot.png\n"
      "  fcx capture --bw 128 shot.pbm               black and white\n"
      "  fcx capture - | display                     PNG, and nothing else\n"
      "\n"
      "What the library logs as an error is shown, too; it goes on with the framebuffer when\n"
      "screencap fails.",
      [&invocation, options] { run_capture(invocation, *options); });
  command.add_option("out", options->out, "The file that is made, or - for standard output")
      .required()
      .completes(Names::file);
  command.add_option("--rect", options->rect, "Pixels from the upper left; all, when not given")
      .type_name("LEFT,TOP,WIDTH,HEIGHT");
  command.add_option("--bits", options->bits, "16 (RGB565, when not given) or 32 bits a pixel")
      .type_name("BITS")
      .completes(bits_choices());
  command
      .add_option("--bw", options->threshold,
                  "Black and white, 0 to 255: white above three quarters of this is a pixel's "
                  "brightness, 0 to 187, of its two bytes swapped; so from 250 on all is black")
      .type_name("THRESHOLD");
  Choices formats;
  for (const auto& [format, name] : kFormats) formats.push_back({name, ""});
  command
      .add_option("--format", options->format,
                  "png, raw (as screencap writes it) or pbm; by the file's name, when not given")
      .type_name("NAME")
      .completes(formats);
}

}  // namespace cli
