// modem: what the phone's modem keeps, and what was asked of it.
#include <cstdio>
#include <memory>

#include "modem/link/requests.h"
#include "tools/commands.h"
#include "tools/json.h"
#include "tools/table.h"
#include "tools/text.h"
#include "tools/words.h"
#include "virtual_phone/modem/modem.h"

namespace cli {
namespace {

namespace vp = virtual_phone;

struct Options {
  bool full = false;
  std::string most = "20";
};

/// The value that a word names. Throws UsageError.
const vp::ModemValue& value_named(const std::string& word) {
  if (const vp::ModemValue* row = vp::find_modem_value(word); row != nullptr) return *row;
  std::vector<std::string> names;
  for (const vp::ModemValue& row : vp::known_modem_values()) names.push_back(row.name);
  throw unknown_name("value of a modem", word, names, "fcx modem");
}

uint16_t nv_number(const std::string& word) {
  const int64_t number = number_of(word, "an NV item");
  if (number < 0 || number > UINT16_MAX) {
    throw UsageError("NV items are 0 to " + std::to_string(UINT16_MAX) + ", not " + word);
  }
  return static_cast<uint16_t>(number);
}

std::string request_name(int32_t number) {
  const fcx::NamedRequest* row = fcx::find_request(number);
  return row == nullptr ? "" : row->name;
}

bool is_identity(int32_t number) {
  const fcx::NamedRequest* row = fcx::find_request(number);
  return row != nullptr && row->is_identity;
}

/// Whether the bytes of a request or of its answer are shown in part only.
bool is_hidden(const vp::ModemRequest& request, const std::string& bytes, bool full) {
  return !full && is_identity(request.number) && !vp::is_modem_message(request.number, bytes);
}

/// The bytes of a request or of its answer: an identity in part only, a long one cut.
std::string shown_bytes(const vp::ModemRequest& request, const std::string& bytes, bool full) {
  constexpr size_t kLongest = 60;
  const bool hide = is_hidden(request, bytes, full);
  const std::string text = hide ? masked(shown(bytes)) : shown(bytes);
  if (full || text.size() <= kLongest) return text;
  if (hide) return "..." + text.substr(text.size() - kLongest);
  return text.substr(0, kLongest) + "... (" + std::to_string(bytes.size()) + " bytes)";
}

Json value_json(const vp::ModemValue& row, const std::optional<std::string>& value, bool full) {
  const bool hide = !full && row.is_identity;
  Json object = {{"name", row.name}, {"value", Json()}, {"meaning", row.meaning}};
  if (!value.has_value()) return object;
  object["value"] = hide ? masked(shown(*value)) : shown(*value);
  hide ? object["masked"] = true : object["hex"] = to_hex(*value);
  return object;
}

Json values_json(vp::Phone& phone, bool full) {
  const auto kept = vp::modem_values(phone);
  Json list = Json::array();
  for (const vp::ModemValue& row : vp::known_modem_values()) {
    const auto found = kept.find(row.name);
    list.push_back(
        value_json(row, found == kept.end() ? std::nullopt : std::optional(found->second), full));
  }
  return list;
}

Json nv_json(uint16_t number, const std::optional<vp::NvItem>& item) {
  return {{"item", number},
          {"state", item ? Json(vp::name_of(item->state)) : Json()},
          {"hex", item ? Json(to_hex(item->value)) : Json()}};
}

Json nv_list_json(vp::Phone& phone) {
  Json list = Json::array();
  for (const auto& [number, item] : vp::nv_items(phone)) list.push_back(nv_json(number, item));
  return list;
}

Json efs_json(vp::Phone& phone) {
  Json list = Json::array();
  for (const vp::EfsFile& file : vp::efs_files(phone)) {
    list.push_back({{"path", file.path}, {"size", file.size}});
  }
  return list;
}

Json request_json(const vp::ModemRequest& request, bool full) {
  const bool hide = !full && is_identity(request.number);
  Json object = {{"id", request.id},
                 {"time_us", request.time_us},
                 {"request", request.number},
                 {"name", request_name(request.number)},
                 {"payload", shown_bytes(request, request.payload, full)},
                 {"code", request.code},
                 {"status", request.status},
                 {"answer_length", request.answer_length},
                 {"answer", shown_bytes(request, request.answer, full)},
                 {"overlapped", request.overlapped}};
  if (hide) {
    for (const std::string* bytes : {&request.payload, &request.answer}) {
      if (!bytes->empty() && is_hidden(request, *bytes, full)) object["masked"] = true;
    }
  } else {
    object["payload_hex"] = to_hex(request.payload);
    object["answer_hex"] = to_hex(request.answer);
  }
  return object;
}

/// The last requests, oldest first.
std::vector<vp::ModemRequest> last_requests(vp::Phone& phone, size_t most) {
  auto requests = vp::modem_requests(phone);
  if (requests.size() > most) {
    requests.erase(requests.begin(), requests.end() - static_cast<ptrdiff_t>(most));
  }
  return requests;
}

void print_requests(const std::vector<vp::ModemRequest>& requests, bool full) {
  puts("\nRequests:");
  if (requests.empty()) {
    puts("none yet");
    return;
  }
  TextTable table({"TIME", "REQUEST", "PAYLOAD", "CODE", "ANSWER"});
  for (const vp::ModemRequest& request : requests) {
    std::string answer = shown_bytes(request, request.answer, full);
    if (static_cast<int64_t>(request.answer.size()) != request.answer_length) {
      answer += " (claims " + std::to_string(request.answer_length) + " bytes)";
    }
    if (request.status != 0) answer += " (status " + std::to_string(request.status) + ")";
    table.add({shown_time(request.time_us),
               std::to_string(request.number) + " " + request_name(request.number),
               shown_bytes(request, request.payload, full), std::to_string(request.code), answer});
  }
  table.print();
}

void print_state(vp::Phone& phone, const Options& options, size_t most) {
  TextTable values({"NAME", "VALUE", "MEANING"});
  const Json list = values_json(phone, options.full);
  for (const Json& value : list.values()) {
    values.add({value["name"].text(), value["value"].is_null() ? "-" : value["value"].text(),
                value["meaning"].text()});
  }
  values.print();
  TextTable nv({"NV ITEM", "STATE", "VALUE"});
  for (const auto& [number, item] : vp::nv_items(phone)) {
    nv.add({std::to_string(number), vp::name_of(item.state), to_hex(item.value)});
  }
  puts("");
  nv.print();
  TextTable efs({"EFS FILE", "BYTES"});
  for (const vp::EfsFile& file : vp::efs_files(phone)) {
    efs.add({file.path, std::to_string(file.size)});
  }
  puts("");
  efs.print();
  if (most > 0) print_requests(last_requests(phone, most), options.full);
}

void show_modem(const Invocation& invocation, const Options& options) {
  const size_t most = count_of(options.most, "-n");
  vp::Phone& phone = invocation.open_phone();
  if (!invocation.json) return print_state(phone, options, most);
  Json requests = Json::array();
  for (const vp::ModemRequest& request : last_requests(phone, most)) {
    requests.push_back(request_json(request, options.full));
  }
  print({{"values", values_json(phone, options.full)},
         {"nv", nv_list_json(phone)},
         {"efs", efs_json(phone)},
         {"requests", requests}});
}

/// One value, whole: whoever names it may see it.
void print_value(const Invocation& invocation, vp::Phone& phone, const vp::ModemValue& row) {
  const Json object = value_json(row, vp::modem_value(phone, row.name), true);
  if (invocation.json) return print(object);
  printf("%s  %s\n", row.name, object["value"].is_null() ? "-" : object["value"].text().c_str());
}

/// The NV item that a word makes: its state, or bytes that make it active; nothing for "none".
/// Throws UsageError.
std::optional<vp::NvItem> nv_item_of(const std::string& word) {
  if (word == "none") return std::nullopt;
  const auto state = vp::named<vp::NvState>(word);
  if (state == vp::NvState::active) throw UsageError("give the bytes of an active NV item");
  if (state.has_value()) return vp::NvItem{*state, ""};
  if (word.find_first_not_of("0123456789abcdefABCDEF ,:") != std::string::npos) {
    throw UsageError("an NV item is given hexadecimal bytes, inactive, failing or none, not \"" +
                     word + "\"");
  }
  std::string value = from_hex(word);
  if (value.empty() || value.size() > vp::kNvItemSize) {
    throw UsageError("an NV item has 1 to " + std::to_string(vp::kNvItemSize) + " bytes, not " +
                     std::to_string(value.size()));
  }
  return vp::NvItem{vp::NvState::active, value};
}

void print_nv(const Invocation& invocation, vp::Phone& phone, uint16_t number) {
  const auto item = vp::nv_item(phone, number);
  if (invocation.json) return print(nv_json(number, item));
  if (!item.has_value()) {
    printf("%u  the modem does not hold it\n", unsigned{number});
  } else {
    const std::string value = item->value.empty() ? "" : "  " + to_hex(item->value);
    printf("%u  %s%s\n", unsigned{number}, vp::name_of(item->state), value.c_str());
  }
}

void add_values(Verb& group, Invocation& invocation) {
  auto name = std::make_shared<std::string>();
  auto value = std::make_shared<std::string>();
  Verb& set = add_command(group, "set", "Let the modem keep a value",
                          "  fcx modem set imei1 490154203237518\n"
                          "  fcx modem set idde hex:00ff",
                          [&invocation, name, value] {
                            const vp::ModemValue& row = value_named(*name);
                            const std::string bytes = bytes_of(*value);
                            vp::check_modem_value(row.name, bytes);
                            vp::Phone& phone = invocation.open_phone();
                            vp::set_modem_value(phone, row.name, bytes);
                            print_value(invocation, phone, row);
                          });
  set.add_option("name", *name, "The value's name in `fcx modem`")
      .required()
      .completes(Names::modem_value);
  set.add_option("value", *value, "Text, or hex:BYTES").required().may_be_empty();

  Verb& clear = add_command(group, "clear", "Remove one value from the modem",
                            "  fcx modem clear meid", [&invocation, name] {
                              const vp::ModemValue& row = value_named(*name);
                              vp::Phone& phone = invocation.open_phone();
                              vp::remove_modem_value(phone, row.name);
                              print_value(invocation, phone, row);
                            });
  clear.add_option("name", *name, "The value's name in `fcx modem`")
      .required()
      .completes(Names::modem_value);
}

void add_nv(Verb& group, Invocation& invocation) {
  auto item = std::make_shared<std::string>();
  auto value = std::make_shared<std::optional<std::string>>();
  Verb& nv = add_command(group, "nv", "Show one NV item, or change it",
                         "  fcx modem nv 453             show it\n"
                         "  fcx modem nv 453 00000000    make it active, with these bytes\n"
                         "  fcx modem nv 453 failing     reads and writes of it fail\n"
                         "  fcx modem nv 453 none        the modem does not hold it",
                         [&invocation, item, value] {
                           const uint16_t number = nv_number(*item);
                           std::optional<vp::NvItem> made;
                           if (value->has_value()) made = nv_item_of(**value);
                           vp::Phone& phone = invocation.open_phone();
                           if (made.has_value()) {
                             vp::set_nv_item(phone, number, *made);
                           } else if (value->has_value()) {
                             vp::remove_nv_item(phone, number);
                           }
                           print_nv(invocation, phone, number);
                         });
  nv.add_option("item", *item, "Its number").required();
  nv.add_option("value", *value, "Hexadecimal bytes, inactive, failing, or none")
      .completes(Choices{{"inactive", "the modem holds it, and does not use it"},
                         {"failing", "reads and writes of it fail"},
                         {"none", "the modem does not hold it"}});
}

}  // namespace

void add_modem(Verb& tool, Invocation& invocation) {
  auto options = std::make_shared<Options>();
  Verb& group =
      add_command(tool, "modem", "Look at the modem and what was asked of it, and change it",
                  "  fcx modem                            its state, identities shown in part\n"
                  "  fcx modem --full -n 5                identities whole, the last 5 requests\n"
                  "  fcx modem set imei1 490154203237518  store a value\n"
                  "  fcx modem set pid_supported 0        as on a modem that knows no PID\n"
                  "  fcx modem clear meid                 remove one\n"
                  "  fcx modem nv 453 00000000            an NV item, in hexadecimal\n"
                  "  fcx modem nv 453 failing             reads and writes of it fail",
                  {});
  group.callback([&group, &invocation, options] {
    if (!group.has_subcommand()) show_modem(invocation, *options);
  });
  group.add_flag("--full", options->full, "Show identities and long answers whole");
  group.add_option("-n,--requests", options->most, "Show the last N requests, at first 20")
      .type_name("N");
  add_values(group, invocation);
  add_nv(group, invocation);
}

}  // namespace cli
