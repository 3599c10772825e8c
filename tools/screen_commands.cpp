// screen: what the display shows.
#include <cstdio>
#include <memory>

#include "tools/commands.h"
#include "tools/json.h"
#include "tools/output_file.h"
#include "tools/words.h"
#include "virtual_phone/core/display.h"
#include "virtual_phone/core/png.h"

namespace cli {
namespace {

namespace vp = virtual_phone;

struct Options {
  std::string file;
  std::optional<std::string> size;
  std::optional<std::string> bits;
};

void show_screen(const Invocation& invocation, const vp::Phone& phone) {
  const bool is_card = vp::shows_test_card(phone);
  const vp::Display display = vp::display(phone);
  if (invocation.json) {
    return print({{"width", display.width},
                  {"height", display.height},
                  {"bits", display.bits_per_pixel},
                  {"stride", display.stride},
                  {"test_card", is_card}});
  }
  printf("size    %d x %d pixels\n", display.width, display.height);
  printf("pixels  %d bits, rows of %d bytes\n", display.bits_per_pixel, display.stride);
  printf("shows   %s\n", is_card ? "the test card" : "a picture");
}

/// What --bits says, or the display's own.
int wanted_bits(const Options& options, const vp::Phone& phone) {
  return options.bits.has_value() ? bits_of(*options.bits)
                                  : vp::display_or_usual(phone).bits_per_pixel;
}

/// The words around an 'x'.
std::pair<int, int> size_of(const std::string& text) {
  const size_t middle = text.find('x');
  const std::string what = "--size is WIDTHxHEIGHT; each";
  const auto side = [&](const std::string& word) {
    const int64_t pixels = number_of(word, what);
    if (pixels >= 1 && pixels <= vp::kLongestSide) return static_cast<int>(pixels);
    throw UsageError(what + " is 1 to " + std::to_string(vp::kLongestSide) + ", not " + word);
  };
  if (middle == std::string::npos) {
    throw UsageError("--size is WIDTHxHEIGHT, not \"" + text + "\"");
  }
  return {side(text.substr(0, middle)), side(text.substr(middle + 1))};
}

/// A display has nothing behind its pixels: black.
void blend_over_black(vp::Picture& picture) {
  for (size_t i = 0; i < picture.rgba.size(); i += vp::kPixelSize) {
    uint8_t* pixel = &picture.rgba[i];
    for (int colour = 0; colour < 3; ++colour) {
      pixel[colour] = static_cast<uint8_t>((pixel[colour] * pixel[3] + 127) / 255);
    }
    pixel[3] = 255;
  }
}

void show_file(const Options& options, const vp::Phone& phone) {
  const int bits = wanted_bits(options, phone);
  vp::Picture picture = vp::read_png(options.file);
  blend_over_black(picture);
  vp::show_picture(phone, picture, bits);
}

void show_card(const Options& options, const vp::Phone& phone) {
  const int bits = wanted_bits(options, phone);
  if (options.size.has_value()) {
    const auto [width, height] = size_of(*options.size);
    return vp::show_test_card(phone, width, height, bits);
  }
  const vp::Display now = vp::display_or_usual(phone);
  vp::show_test_card(phone, now.width, now.height, bits);
}

using Change = void (*)(const Options&, const vp::Phone&);

Verb& add_change(Verb& group, Invocation& invocation, const std::shared_ptr<Options>& options,
                 const char* name, const char* meaning, const char* examples, Change change) {
  Verb& command = add_command(group, name, meaning, examples, [&invocation, options, change] {
    const vp::Phone& phone = invocation.open_phone();
    change(*options, phone);
    show_screen(invocation, phone);
  });
  return command;
}

}  // namespace

void add_screen(Verb& tool, Invocation& invocation) {
  auto options = std::make_shared<Options>();
  Verb& group = add_command(
      tool, "screen", "Look at the display, and put a picture on it",
      "  fcx screen                       its size, and whether it shows the test card\n"
      "  fcx screen show logo.png         the display is as large as the picture then\n"
      "  fcx screen card --size 720x1280 --bits 16\n"
      "  fcx screen save picture.png      what it shows, past the library\n"
      "\n"
      "`fcx capture` lets the library capture it.",
      {});
  group.callback([&group, &invocation] {
    if (!group.has_subcommand()) show_screen(invocation, invocation.open_phone());
  });
  constexpr char kBits[] = "16 (RGB565) or 32 bits a pixel; as it is, when not given";
  Verb& show =
      add_change(group, invocation, options, "show", "Put a picture on the display",
                 "  fcx screen show logo.png\n  fcx screen show logo.png --bits 16", show_file);
  show.add_option("file", options->file, "A PNG file").required().completes(Names::file);
  show.add_option("--bits", options->bits, kBits).type_name("BITS").completes(bits_choices());
  Verb& card =
      add_change(group, invocation, options, "card", "Put the test card on the display",
                 "  fcx screen card\n  fcx screen card --size 720x1280 --bits 16", show_card);
  card.add_option("--size", options->size, "Pixels; as it is, when not given")
      .type_name("WIDTHxHEIGHT");
  card.add_option("--bits", options->bits, kBits).type_name("BITS").completes(bits_choices());
  Verb& save =
      add_command(group, "save", "Save what the display shows, past the library",
                  "  fcx screen save picture.png", [&invocation, options] {
                    const vp::Phone& phone = invocation.open_phone();
                    write_output_file(options->file, vp::encode_png(vp::shown_picture(phone)));
                    show_screen(invocation, phone);
                  });
  save.add_option("file", options->file, "The PNG file that is made")
      .required()
      .completes(Names::file);
}

}  // namespace cli
