#include "tools/phone_state.h"

#include <fstream>
#include <functional>

#include "fcx/factory_items.h"
#include "tools/item_name.h"
#include "tools/text.h"
#include "virtual_phone/core/item_store.h"
#include "virtual_phone/core/properties.h"
#include "virtual_phone/core/sd_card.h"

namespace cli {
namespace {

namespace fs = std::filesystem;
namespace vp = virtual_phone;

std::map<int, std::string> items_of(vp::Phone& phone) {
  std::map<int, std::string> items;
  for (auto& [number, bytes] : vp::written_items(phone)) {
    const size_t used = bytes.find_last_not_of('\0');
    if (used != std::string::npos) items.emplace(number, bytes.substr(0, used + 1));
  }
  return items;
}

std::string content_of(const fs::directory_entry& entry) {
  if (entry.is_symlink()) return "link to " + fs::read_symlink(entry.path()).string();
  if (!entry.is_regular_file()) return "no file";
  std::string bytes(entry.file_size(), '\0');
  std::ifstream in(entry.path(), std::ios::binary);
  if (!in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) return "cannot be read";
  const size_t hash = std::hash<std::string>()(bytes);
  return std::to_string(bytes.size()) + " bytes, " +
         to_hex({reinterpret_cast<const char*>(&hash), sizeof hash});
}

void add_tree(const vp::Phone& phone, const std::string& name, PhoneState& state) {
  const fs::path top = phone.directory() / name;
  if (!fs::is_directory(top)) return;
  for (const auto& entry : fs::recursive_directory_iterator(top)) {
    if (entry.is_directory() && !entry.is_symlink()) continue;
    const std::string path = "/" + entry.path().lexically_relative(top).string();
    state.files.emplace(std::pair(name, path), content_of(entry));
  }
}

/// Adds what differs between two maps. `row_of` makes a row of a key; `text_of` a text of a value.
template <typename Map, typename RowOf, typename TextOf>
void compare(const Map& fresh, const Map& now, RowOf row_of, TextOf text_of,
             std::vector<Difference>& found) {
  Map all = fresh;
  all.insert(now.begin(), now.end());
  for (const auto& each : all) {
    const auto& key = each.first;
    Difference row = row_of(key);
    const auto was = fresh.find(key);
    const auto is = now.find(key);
    if (was != fresh.end()) row.fresh = text_of(key, was->second);
    if (is != now.end()) row.now = text_of(key, is->second);
    if (row.fresh != row.now) found.push_back(std::move(row));
  }
}

std::map<std::string, std::string> texts_of(const vp::Sim& sim) {
  std::map<std::string, std::string> texts = {{"state", vp::name_of(sim.state)},
                                              {"delay", std::to_string(sim.not_yet)}};
  if (!sim.iccid.empty()) texts["iccid"] = sim.iccid;
  return texts;
}

}  // namespace

PhoneState state_of(vp::Phone& phone) {
  PhoneState state;
  state.items = items_of(phone);
  for (auto& [name, value] : vp::properties(phone)) state.properties.emplace(name, value);
  state.modem_values = vp::modem_values(phone);
  state.nv_items = vp::nv_items(phone);
  state.sim = vp::sim(phone);
  state.is_card_inserted = vp::is_card_inserted(phone);
  for (const char* tree : {"root", vp::kOverlayName, vp::kEfsName}) add_tree(phone, tree, state);
  return state;
}

std::vector<Difference> differences(const PhoneState& fresh, const PhoneState& now) {
  std::vector<Difference> found;
  const auto as_shown = [](const auto&, const std::string& value) { return shown(value); };
  compare(
      fresh.items, now.items,
      [](int number) {
        const fcx::FactoryItem* item = fcx::find_factory_item(number);
        const std::string name = item == nullptr ? "" : std::string(" ") + item->name;
        return Difference{"item",
                          std::to_string(number) + name,
                          {},
                          {},
                          item != nullptr && item->privacy == fcx::Privacy::identity};
      },
      [](int number, const std::string& bytes) {
        return item_text(fcx::find_factory_item(number), bytes);
      },
      found);
  compare(
      fresh.properties, now.properties,
      [](const std::string& name) {
        return Difference{"property", name, {}, {}, names_sim(name)};
      },
      as_shown, found);
  compare(
      fresh.modem_values, now.modem_values,
      [](const std::string& name) {
        const vp::ModemValue* row = vp::find_modem_value(name);
        return Difference{"modem", name, {}, {}, row == nullptr || row->is_identity};
      },
      as_shown, found);
  compare(
      fresh.nv_items, now.nv_items,
      [](uint16_t number) {
        return Difference{"nv", std::to_string(number), {}, {}};
      },
      [](uint16_t, const vp::NvItem& item) {
        return item.value.empty() ? std::string(vp::name_of(item.state)) : to_hex(item.value);
      },
      found);
  compare(
      texts_of(fresh.sim), texts_of(now.sim),
      [](const std::string& name) {
        return Difference{"sim", name, {}, {}, name == "iccid"};
      },
      as_shown, found);
  if (fresh.is_card_inserted != now.is_card_inserted) {
    const auto text = [](bool is_in) { return std::string(is_in ? "inserted" : "removed"); };
    found.push_back({"card", "state", text(fresh.is_card_inserted), text(now.is_card_inserted)});
  }
  compare(
      fresh.files, now.files,
      [](const std::pair<std::string, std::string>& file) {
        return Difference{
            "file", (file.first == "root" ? "" : file.first + ":") + file.second, {}, {}};
      },
      as_shown, found);
  return found;
}

}  // namespace cli
