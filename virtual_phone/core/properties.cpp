#include "virtual_phone/core/properties.h"

#include <cutils/properties.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>

#include "platform/thread_annotations.h"
#include "virtual_phone/core/platform_call.h"
#include "virtual_phone/faults/accesses.h"
#include "virtual_phone/modem/sim.h"

namespace virtual_phone {
namespace {

constexpr size_t kLongestValue = PROPERTY_VALUE_MAX - 1;

bool starts_with(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

std::mutex observer_mutex;
std::function<void(const PropertyChange&)> property_observer GUARDED_BY(observer_mutex);
std::atomic<bool> is_observed = false;

/// A property that changes when another is set.
struct Follower {
  std::string_view name;
  std::string_view value;  ///< when it is set to this; to anything when empty
  std::string_view follower;
  std::string_view becomes;  ///< the same value when empty
};

/// On a phone the USB driver's service does this; the state says what it has switched to.
constexpr Follower kFollowers[] = {
    {"vendor.qve.usb.config", "", "vendor.qve.usb.state", ""},
    {"vendor.qve.usb.adb_skip_auth", "skip", "vendor.qve.usb.state", "skip"},
};

/// Sets a property and tells the observer. Setters take turns, so that it hears of them in order.
void set_observed(Phone& phone, std::string_view name, std::string_view value) {
  if (!is_observed) return set_property(phone, name, value);
  const std::lock_guard lock(observer_mutex);
  const auto before = get_property(phone, name);
  set_property(phone, name, value);
  if (property_observer) property_observer({std::string(name), before, std::string(value)});
}

/// Throws Refused for what no property can be called, or hold.
void check_property(std::string_view name, std::string_view value) {
  const std::string shown(name);
  if (!is_property_name(name)) throw Refused("\"" + shown + "\" is no property name");
  if (value.size() > kLongestValue) {
    throw Refused(shown + ": the value has " + std::to_string(value.size()) +
                  " characters, a property holds at most " + std::to_string(kLongestValue));
  }
}

/// The value that the library finds.
std::optional<std::string> found_property(Phone& phone, std::string_view name) {
  auto value = get_property(phone, name);
  if (!value.has_value() && radio_layer_answers(phone, name)) value = get_property(phone, name);
  return value;
}

}  // namespace

bool is_property_name(std::string_view name) {
  constexpr std::string_view kAllowed =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-@:";
  return !name.empty() && name.front() != '.' && name.back() != '.' &&
         name.find("..") == std::string_view::npos &&
         name.find_first_not_of(kAllowed) == std::string_view::npos;
}

std::optional<std::string> get_property(Phone& phone, std::string_view name) {
  const std::lock_guard lock(phone.mutex());
  Query query = phone.fleeting().query("SELECT value FROM property WHERE name = ?");
  query.bind(name);
  if (!query.step()) return std::nullopt;
  return query.text(0);
}

void set_property(Phone& phone, std::string_view name, std::string_view value) {
  check_property(name, value);
  const std::lock_guard lock(phone.mutex());
  phone.check_is_there();
  Database& database = starts_with(name, "persist.") ? phone.durable() : phone.fleeting();
  const char* sql = starts_with(name, "ro.")
                        ? "INSERT OR IGNORE INTO property(name, value) VALUES(?, ?)"
                        : "INSERT OR REPLACE INTO property(name, value) VALUES(?, ?)";
  database.query(sql).bind(name).bind(value).run();
  if (database.changes() == 0) {
    throw Refused(std::string(name) + " is set already, and read-only until the next restart");
  }
  for (const Follower& row : kFollowers) {
    if (row.name != name || (!row.value.empty() && row.value != value)) continue;
    database.query(sql).bind(row.follower).bind(row.becomes.empty() ? value : row.becomes).run();
  }
}

void set_build_property(Phone& phone, std::string_view name, std::string_view value) {
  check_property(name, value);
  const std::lock_guard lock(phone.mutex());
  phone.check_is_there();
  Transaction transaction(phone.durable());
  for (const char* sql : {"INSERT OR REPLACE INTO build_property(name, value) VALUES(?, ?)",
                          "INSERT OR REPLACE INTO property(name, value) VALUES(?, ?)"}) {
    phone.durable().query(sql).bind(name).bind(value).run();
  }
  transaction.commit();
}

void observe_properties(std::function<void(const PropertyChange&)> observer) {
  const std::lock_guard lock(observer_mutex);
  property_observer = std::move(observer);
  is_observed = static_cast<bool>(property_observer);
}

std::vector<std::pair<std::string, std::string>> properties(Phone& phone) {
  const std::lock_guard lock(phone.mutex());
  std::vector<std::pair<std::string, std::string>> found;
  Query query = phone.fleeting().query("SELECT name, value FROM property ORDER BY name");
  while (query.step()) found.emplace_back(query.text(0), query.text(1));
  return found;
}

}  // namespace virtual_phone

namespace vp = virtual_phone;

int property_get(const char* key, char* value, const char* default_value) {
  std::string found;
  vp::platform_call("property_get", -1, [&](vp::Phone& phone) {
    vp::PlatformAccess told{vp::Part::property, key, vp::Access::read};
    if (default_value != nullptr) told.given = default_value;
    vp::Accessing accessing(phone, std::move(told));
    const auto fault = accessing.strike();
    if (!fault.has_value()) {
      found = vp::found_property(phone, key).value_or("");
    } else if (fault->effect == vp::Effect::garbage) {
      found.assign(vp::kLongestValue, '\xFF');
    }
    accessing.ends(0, found);
    return 0;
  });
  // The default stands in for an empty value too, as on a phone.
  if (found.empty() && default_value != nullptr) found = default_value;
  const size_t length = std::min(found.size(), vp::kLongestValue);
  memcpy(value, found.data(), length);
  value[length] = '\0';
  return static_cast<int>(length);
}

int property_set(const char* key, const char* value) {
  return vp::platform_call("property_set", -1, [&](vp::Phone& phone) {
    const std::string_view given = value == nullptr ? "" : value;
    vp::Accessing accessing(phone,
                            {vp::Part::property, key, vp::Access::write, std::string(given)});
    if (accessing.strike().has_value()) return -1;
    vp::set_observed(phone, key, given);
    accessing.ends(0);
    if (vp::starts_with(key, "persist.")) accessing.changes();
    return 0;
  });
}
