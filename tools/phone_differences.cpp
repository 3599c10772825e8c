#include "tools/phone_differences.h"

#include "fcx/factory_items.h"
#include "tools/item_name.h"
#include "tools/text.h"

namespace cli {
namespace {

namespace vp = virtual_phone;

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
  if (!sim.imsi.empty()) texts["imsi"] = sim.imsi;
  return texts;
}

}  // namespace

std::vector<Difference> differences(const vp::PhoneState& fresh, const vp::PhoneState& now) {
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
