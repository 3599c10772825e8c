// card: the SD card.
#include <cstdio>

#include "tools/commands.h"
#include "tools/json.h"
#include "virtual_phone/core/sd_card.h"

namespace cli {
namespace {

namespace vp = virtual_phone;

void show_card(const Invocation& invocation, const vp::Phone& phone) {
  const bool is_in = vp::is_card_inserted(phone);
  const std::string files =
      is_in ? phone.root() + vp::kCardMount : (phone.directory() / vp::kCardName).string();
  if (invocation.json) {
    return print({{"inserted", is_in},
                  {"mounted_at", is_in ? Json(vp::kCardMount) : Json()},
                  {"files", files}});
  }
  printf("card        %s\n", is_in ? "inserted" : "removed");
  if (is_in) printf("mounted at  %s\n", vp::kCardMount);
  printf("its files   %s\n", files.c_str());
}

void add_change(Verb& group, Invocation& invocation, const char* name, const char* meaning,
                void (*change)(vp::Phone&)) {
  add_command(group, name, meaning, std::string("  fcx card ") + name, [&invocation, change] {
    vp::Phone& phone = invocation.open_phone();
    change(phone);
    show_card(invocation, phone);
  });
}

}  // namespace

void add_card(Verb& tool, Invocation& invocation) {
  Verb& group = add_command(tool, "card", "Look at the SD card, put it in, and take it out",
                            "  fcx card           whether it is in, and where its files are\n"
                            "  fcx card insert    the first time it is empty\n"
                            "  fcx card remove    its files go with it\n"
                            "\n"
                            "A factory reset with the card, `fcx send frst_start 1`, empties it.",
                            {});
  group.callback([&group, &invocation] {
    if (!group.has_subcommand()) show_card(invocation, invocation.open_phone());
  });
  add_change(group, invocation, "insert", "Put the card in", vp::insert_card);
  add_change(group, invocation, "remove", "Take the card out", vp::remove_card);
}

}  // namespace cli
