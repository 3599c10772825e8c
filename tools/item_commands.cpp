// item, prop: what is stored on the phone.
#include <cstdio>
#include <memory>

#include "fcx/factory_items.h"
#include "tools/commands.h"
#include "tools/item_name.h"
#include "tools/json.h"
#include "tools/table.h"
#include "tools/text.h"
#include "tools/words.h"
#include "virtual_phone/core/item_store.h"
#include "virtual_phone/core/properties.h"

namespace cli {
namespace {

namespace vp = virtual_phone;

const char* encoding_name(const fcx::FactoryItem* item) {
  if (item == nullptr) return "-";
  switch (item->encoding) {
    case fcx::Encoding::flag_byte:
      return "flag byte";
    case fcx::Encoding::digit_byte:
      return "digit byte";
    case fcx::Encoding::text:
      return "text";
    case fcx::Encoding::bytes:
      return "bytes";
  }
  return "";
}

/// "get/set_qem" for a pair of that form, else the names.
std::string accessor_names(const fcx::FactoryItem* item) {
  if (item == nullptr) return "-";
  const std::string reader = item->reader == nullptr ? "" : item->reader;
  const std::string writer = item->writer == nullptr ? "" : item->writer;
  const size_t read = reader.find("get_");
  const size_t write = writer.find("set_");
  if (read != std::string::npos && write == read &&
      reader.substr(read + 4) == writer.substr(write + 4)) {
    return reader.substr(0, read) + "get/" + writer.substr(write);
  }
  return reader.empty() ? writer : writer.empty() ? reader : reader + ", " + writer;
}

/// The bytes that a word on the command line stands for in that item. Throws UsageError.
std::string item_bytes(const fcx::FactoryItem* item, const std::string& word) {
  const size_t length = item == nullptr ? vp::kItemBlock : item->length;
  std::string bytes;
  if (is_hex_word(word)) {
    bytes = bytes_of(word);
  } else if (item != nullptr && item->encoding == fcx::Encoding::flag_byte) {
    const int64_t flag = number_of(word, "a flag byte");
    if (flag < 0 || flag > 255) throw UsageError("a flag byte is 0 to 255, not " + word);
    bytes = static_cast<char>(flag);
  } else {
    bytes = word;
  }
  if (bytes.size() > length) {
    throw UsageError("the value has " + std::to_string(bytes.size()) + " bytes, the item holds " +
                     std::to_string(length));
  }
  bytes.resize(length);
  return bytes;
}

Json item_json(int number, std::string_view bytes, bool full) {
  const fcx::FactoryItem* item = fcx::find_factory_item(number);
  const bool hide = !full && item != nullptr && item->privacy == fcx::Privacy::identity;
  const std::string value = item_text(item, bytes);
  Json object = {{"index", number},
                 {"name", item == nullptr ? Json() : Json(item->name)},
                 {"accessors", Json::array()}};
  if (item != nullptr) {
    for (const char* accessor : {item->reader, item->writer}) {
      if (accessor != nullptr) object["accessors"].push_back(accessor);
    }
  }
  object["encoding"] = encoding_name(item);
  object["length"] = bytes.size();
  object["value"] = hide ? masked(value) : value;
  if (!hide) object["hex"] = to_hex(bytes);
  if (hide && !value.empty()) object["masked"] = true;
  object["meaning"] = item == nullptr ? "" : item->meaning;
  return object;
}

std::string read_item(vp::Phone& phone, int number) {
  const fcx::FactoryItem* item = fcx::find_factory_item(number);
  return vp::read_items(phone, number, item == nullptr ? vp::kItemBlock : item->length);
}

/// Whether an item is the one of that number, or has the word in its name, an accessor's or its
/// meaning.
bool is_about(int number, const fcx::FactoryItem* item, const std::string& word) {
  if (word == std::to_string(number)) return true;
  if (item == nullptr) return false;
  return contains(item->name, word) || contains(accessor_names(item), word) ||
         contains(item->meaning, word);
}

void list_items(const Invocation& invocation, const std::optional<std::string>& word, bool full) {
  constexpr size_t kLongestUnknown = 40;
  vp::Phone& phone = invocation.open_phone();
  auto written = vp::written_items(phone);
  for (const fcx::FactoryItem& item : fcx::kFactoryItems) written.emplace(item.index, "");
  Json list = Json::array();
  TextTable table({"INDEX", "NAME", "ACCESSOR", "ENCODING", "VALUE", "MEANING"});
  for (const auto& entry : written) {
    const fcx::FactoryItem* item = fcx::find_factory_item(entry.first);
    if (word.has_value() && !is_about(entry.first, item, *word)) continue;
    const Json object = item_json(entry.first, read_item(phone, entry.first), full);
    list.push_back(object);
    std::string value = object["value"].text();
    // Nobody knows what there is in it, or how much of that.
    if (item == nullptr && value.size() > kLongestUnknown) {
      value = value.substr(0, kLongestUnknown) + "...";
    }
    table.add({std::to_string(entry.first), item == nullptr ? "-" : item->name,
               accessor_names(item), encoding_name(item), value, object["meaning"].text()});
  }
  if (list.values().empty()) throw NotThere("no item has \"" + word.value_or("") + "\" to it");
  if (invocation.json) return print({{"items", list}});
  table.print();
}

void print_item(const Invocation& invocation, vp::Phone& phone, int number) {
  const std::string bytes = read_item(phone, number);
  const Json object = item_json(number, bytes, true);
  if (invocation.json) return print(object);
  const fcx::FactoryItem* item = fcx::find_factory_item(number);
  printf("item      %d\n", number);
  if (item != nullptr) printf("name      %s\n", item->name);
  printf("accessor  %s\n", accessor_names(item).c_str());
  printf("encoding  %s, %zu bytes\n", encoding_name(item), bytes.size());
  printf("value     %s\n", object["value"].text().c_str());
  if (item != nullptr) printf("meaning   %s\n", item->meaning);
}

void list_properties(const Invocation& invocation, const std::optional<std::string>& word) {
  Json object = Json::object();
  bool is_any = false;
  for (const auto& [name, value] : vp::properties(invocation.open_phone())) {
    if (word.has_value() && !contains(name, *word) && !contains(value, *word)) continue;
    is_any = true;
    object[name] = value;
    if (!invocation.json) printf("[%s]: [%s]\n", name.c_str(), value.c_str());
  }
  if (!is_any) throw NotThere("no property has \"" + word.value_or("") + "\" to it");
  if (invocation.json) print({{"properties", object}});
}

/// The phone keeps an empty value, which nobody who reads it there can tell from none.
void print_property(const Invocation& invocation, const std::string& name) {
  if (!vp::is_property_name(name)) throw UsageError("\"" + name + "\" is no property name");
  const auto value = vp::get_property(invocation.open_phone(), name);
  if (!value.has_value()) throw NotThere(name + " is not set");
  if (value->empty()) throw NotThere(name + " is empty, which is as if it were not set");
  if (invocation.json) return print({{"name", name}, {"value", *value}});
  puts(value->c_str());
}

}  // namespace

void add_item(Verb& tool, Invocation& invocation) {
  Verb& group =
      add_command(tool, "item", "Look at the factory items, and change them",
                  "  fcx item list                 all items, identities shown in part\n"
                  "  fcx item get 2                one item, whole\n"
                  "  fcx item get serial_number    by its name, or by an accessor's\n"
                  "  fcx item set 2 hex:03         bytes\n"
                  "  fcx item set 9 QV2006A00999   text; what is left of the item is zeroed",
                  {});
  group.require_subcommand(1);

  auto full = std::make_shared<bool>(false);
  auto about = std::make_shared<std::optional<std::string>>();
  Verb& list = add_command(group, "list", "List all items, or those with a word",
                           "  fcx item list\n"
                           "  fcx item list imei    in a name, an accessor's, or the meaning\n"
                           "  fcx item list 9       or the number\n"
                           "\n"
                           "The exit status is 1 when there is none.",
                           [&invocation, about, full] { list_items(invocation, *about, *full); });
  list.add_option("word", *about, "A part of a name or of the meaning, in whatever case; a number");
  list.add_flag("--full", *full, "Show identities whole");

  auto word = std::make_shared<std::string>();
  Verb& get =
      add_command(group, "get", "Show one item",
                  "  fcx item get serial_number\n  fcx item get 9 --json", [&invocation, word] {
                    const int number = item_number(*word);
                    print_item(invocation, invocation.open_phone(), number);
                  });
  get.add_option("item", *word, "Its number, its name, or an accessor's")
      .required()
      .completes(Names::item);

  auto value = std::make_shared<std::string>();
  Verb& set = add_command(group, "set", "Write one item",
                          "  fcx item set 9 QV2006A00999    what is left of the item is zeroed\n"
                          "  fcx item set 2 hex:03\n"
                          "  fcx item set 9 ''              all of it is zeroed",
                          [&invocation, word, value] {
                            const int number = item_number(*word);
                            const fcx::FactoryItem* item = fcx::find_factory_item(number);
                            const std::string bytes = item_bytes(item, *value);
                            vp::Phone& phone = invocation.open_phone();
                            vp::write_item(phone, number, bytes);
                            print_item(invocation, phone, number);
                          });
  set.add_option("item", *word, "Its number, its name, or an accessor's")
      .required()
      .completes(Names::item);
  set.add_option("value", *value, "hex:BYTES, a number for a flag byte, else text")
      .required()
      .may_be_empty();
}

void add_prop(Verb& tool, Invocation& invocation) {
  Verb& group = add_command(
      tool, "prop", "Look at the system properties, and change them",
      "  fcx prop list\n"
      "  fcx prop get ro.build.type\n"
      "  fcx prop set vendor.qve.factory.pif 1\n"
      "  fcx prop set --build ro.bootmode pif     as the image has it, and every restart again\n"
      "\n"
      "A value has at most 91 characters. \"ro.\" names are set once, \"persist.\" names\n"
      "survive `fcx reboot`.",
      {});
  group.require_subcommand(1);

  auto word = std::make_shared<std::optional<std::string>>();
  Verb& list = add_command(group, "list", "List all properties, or those with a word",
                           "  fcx prop list\n"
                           "  fcx prop list usb    in the name or the value, in whatever case\n"
                           "\n"
                           "The exit status is 1 when there is none.",
                           [&invocation, word] { list_properties(invocation, *word); });
  list.add_option("word", *word, "A part of a name or of a value, in whatever case");

  auto name = std::make_shared<std::string>();
  Verb& get = add_command(group, "get", "Print the value of a property",
                          "  fcx prop get ro.build.type\n"
                          "\n"
                          "The exit status is 1 for a property that is not set, and for an empty\n"
                          "one: who reads it on the phone cannot tell them apart.",
                          [&invocation, name] { print_property(invocation, *name); });
  get.add_option("name", *name, "The property").required().completes(Names::property);

  auto value = std::make_shared<std::string>();
  auto is_build = std::make_shared<bool>(false);
  Verb& set = add_command(group, "set", "Set a property",
                          "  fcx prop set vendor.qve.factory.pif 1\n"
                          "  fcx prop set vendor.qve.factory.pif ''    as if it were not set",
                          [&invocation, name, value, is_build] {
                            vp::Phone& phone = invocation.open_phone();
                            *is_build ? vp::set_build_property(phone, *name, *value)
                                      : vp::set_property(phone, *name, *value);
                            if (invocation.json) print({{"name", *name}, {"value", *value}});
                          });
  set.add_option("name", *name, "The property").required().completes(Names::property);
  set.add_option("value", *value, "Its value").required().may_be_empty();
  set.add_flag("--build", *is_build, "As a property of the image: also a \"ro.\" name that is set");
}

}  // namespace cli
