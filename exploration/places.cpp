#include "exploration/places.h"

#include <algorithm>
#include <iterator>

#include "fcx/factory_items.h"
#include "virtual_phone/core/events.h"
#include "virtual_phone/core/phone_state.h"

namespace exploration {
namespace {

namespace vp = virtual_phone;

/// Replaces the digits of a moment, as 20260131_120000: a disturbed try takes another time.
std::string without_moment(std::string name) {
  constexpr std::string_view kForm = "00000000_000000";
  for (size_t at = 0; at + kForm.size() <= name.size(); ++at) {
    const auto fits = [&](size_t i) {
      return kForm[i] == '_' ? name[at + i] == '_' : isdigit(name[at + i]) != 0;
    };
    size_t same = 0;
    while (same < kForm.size() && fits(same)) ++same;
    if (same == kForm.size()) name.replace(at, kForm.size(), "MOMENT");
  }
  return name;
}

/// A mark that was taken back says the same as none: there is no removing a property.
bool is_taken_back(const std::string& name, const std::string& value) {
  return name == "persist.vendor.qve.sbp.unfinished" && value == "0";
}

/// What holds the log, whose lines name processes and times.
bool holds_log(const std::string& path) {
  constexpr std::string_view kCollected = "/data/vendor/factory/logsave";
  return path.compare(0, kCollected.size(), kCollected) == 0;
}

}  // namespace

Places places_of(vp::Phone& phone) {
  Places places;
  const vp::PhoneState state = vp::state_of(phone);
  for (const auto& [number, bytes] : state.items) {
    const fcx::FactoryItem* row = fcx::find_factory_item(number);
    const std::string name = row == nullptr ? "" : std::string(" ") + row->name;
    places["item " + std::to_string(number) + name] = bytes;
  }
  for (const auto& [name, value] : state.properties) {
    if (!is_taken_back(name, value)) places["property " + name] = value;
  }
  for (const auto& [name, value] : state.modem_values) places["modem " + name] = value;
  for (const auto& [number, item] : state.nv_items) {
    places["nv " + std::to_string(number)] = vp::name_of(item.state) + (" " + item.value);
  }
  for (const auto& [file, content] : state.files) {
    const auto& [tree, path] = file;
    const std::string name = without_moment((tree == "root" ? "" : tree + ":") + path);
    places["file " + name] = holds_log(path) ? "there" : content;
  }
  const auto events = vp::events(phone);
  const auto reboots = std::count_if(events.begin(), events.end(), [](const vp::Event& event) {
    return event.kind == vp::kRebootEvent;
  });
  places["reboots"] = std::to_string(reboots);
  return places;
}

std::vector<std::string> differing(const Places& one, const Places& other) {
  Places found;
  std::set_symmetric_difference(one.begin(), one.end(), other.begin(), other.end(),
                                std::inserter(found, found.end()));
  std::vector<std::string> names;
  names.reserve(found.size());
  for (const auto& each : found) names.push_back(each.first);
  return names;
}

std::string value_at(const Places& places, const std::string& name) {
  const auto found = places.find(name);
  return found == places.end() ? kNothing : found->second;
}

}  // namespace exploration
