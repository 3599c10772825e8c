// ntcode: the network-code list, by which the phone knows its carriers.
#include <cstdio>
#include <memory>

#include "daemon/network_code.h"
#include "tools/commands.h"
#include "tools/json.h"
#include "tools/network_code.h"
#include "tools/table.h"
#include "tools/text.h"
#include "virtual_phone/core/properties.h"

namespace cli {
namespace {

namespace vp = virtual_phone;
using factory_daemon::kLongestNetworkCode;

/// What is published of the list, and of its last rewrite.
constexpr const char* kProperties[] = {
    "persist.vendor.qve.mcc-list",      "persist.vendor.qve.mccmnc-list",
    "persist.vendor.qve.subset-list",   "persist.vendor.qve.ntcode-changed",
    "persist.vendor.qve.tavrin.ntcode",
};

void show(const Invocation& invocation, vp::Phone& phone) {
  const std::string ntcode = factory_daemon::stored_network_code();
  Json published = Json::object();
  TextTable table({"PROPERTY", "VALUE"});
  for (const char* name : kProperties) {
    const auto value = vp::get_property(phone, name);
    published[name] = value ? Json(*value) : Json();
    table.add({name, value.value_or("-")});
  }
  if (invocation.json) return print({{"ntcode", ntcode}, {"properties", published}});
  printf("ntcode  %s\n\n", shown(ntcode).c_str());
  table.print();
}

void rewrite(const Invocation& invocation, const std::string& ntcode) {
  if (ntcode.size() > kLongestNetworkCode) {
    throw UsageError("a network code has at most " + std::to_string(kLongestNetworkCode) +
                     " bytes, not " + std::to_string(ntcode.size()));
  }
  vp::Phone& phone = invocation.open_phone();
  factory_daemon::rewrite_network_code(phone, ntcode);
  show(invocation, phone);
}

}  // namespace

void add_ntcode(Verb& tool, Invocation& invocation) {
  struct Options {
    std::string ntcode;
    bool any = false;
  };
  auto options = std::make_shared<Options>();
  const std::string example =
      "  fcx ntcode set '\"2\",\"310,410,FFFFFFFF,FFFFFFFF,FF\",\"262,01F,FFFFFFFF,FFFFFFFF,FF\"'";
  Verb& group = add_command(
      tool, "ntcode", "Look at the network-code list, and rewrite it",
      "  fcx ntcode get\n" + example +
          "\n\nA list is its number of entries, then each entry with five fields: MCC,\n"
          "MNC, two more, subset. FFF stands for any MCC, F for a digit that an MNC lacks.",
      {});
  group.require_subcommand(1);
  add_command(group, "get", "Show the list, and what is published of it", "  fcx ntcode get",
              [&invocation] { show(invocation, invocation.open_phone()); });
  Verb& set = add_command(group, "set", "Rewrite the list, as the factory daemon does", example,
                          [&invocation, options] {
                            if (!options->any) check_network_code(options->ntcode);
                            rewrite(invocation, options->ntcode);
                          });
  // --any takes an empty one, too: it is no list, as other texts are none.
  set.add_option("ntcode", options->ntcode, "The list").required().may_be_empty();
  set.add_flag("--any", options->any, "Take any text, also one that is no such list");
}

}  // namespace cli
