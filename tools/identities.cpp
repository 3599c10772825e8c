#include "tools/identities.h"

#include <algorithm>
#include <cctype>

#include "fcx/factory_item_table.h"
#include "tools/text.h"
#include "virtual_phone/core/item_store.h"
#include "virtual_phone/core/properties.h"
#include "virtual_phone/modem/modem.h"
#include "virtual_phone/modem/sim.h"

namespace cli {
namespace {

namespace vp = virtual_phone;

/// Of a shorter one nothing else can be told.
constexpr size_t kShortest = 6;
constexpr size_t kShown = 4;

/// "02:fc" of "02fc".
std::string with_colons(const std::string& digits) {
  std::string text;
  for (size_t i = 0; i < digits.size(); i += 2) {
    text += (text.empty() ? "" : ":") + digits.substr(i, 2);
  }
  return text;
}

std::string upper(std::string text) {
  for (char& c : text) c = static_cast<char>(toupper(c));
  return text;
}

}  // namespace

void Identities::add_form(std::string form) {
  // An item that nobody has written is zeros, or 0xFF.
  const bool is_filling = form.find_first_not_of(form.front()) == std::string::npos;
  if (is_filling || !whole_.insert(form).second) return;
  for (size_t i = 0; i + kPart <= form.size(); ++i) parts_.insert(form.substr(i, kPart));
}

void Identities::add(std::string_view text) {
  const std::string form(text.substr(0, text.find('\0')));
  if (form.size() >= kShortest) add_form(form);
}

void Identities::add_address(std::string_view bytes) {
  const std::string digits = to_hex(bytes);
  add_form(std::string(bytes));
  for (const std::string& form : {digits, with_colons(digits)}) {
    add_form(form);
    add_form(upper(form));
  }
}

void Identities::add_those_of(vp::Phone& phone) {
  for (const fcx::FactoryItem& item : fcx::kFactoryItems) {
    if (item.privacy != fcx::Privacy::identity) continue;
    const std::string bytes = vp::read_items(phone, item.index, item.length);
    item.encoding == fcx::Encoding::bytes ? add_address(bytes) : add(bytes);
  }
  for (const auto& [name, value] : vp::modem_values(phone)) {
    const vp::ModemValue* row = vp::find_modem_value(name);
    if (row == nullptr || row->is_identity) add(value);
  }
  for (const auto& [name, value] : vp::properties(phone)) {
    if (names_sim(name)) add(value);
  }
  const vp::Sim sim = vp::sim(phone);
  add(sim.iccid);
  add(sim.imsi);
}

std::string Identities::hidden_in(std::string_view bytes) const {
  std::string shown(bytes);
  const auto hide = [&](size_t begin, size_t count) { shown.replace(begin, count, count, '*'); };
  for (size_t i = 0; i + kPart <= bytes.size(); ++i) {
    if (parts_.count(bytes.substr(i, kPart)) > 0) hide(i, kPart);
  }
  for (const std::string& each : whole_) {
    for (size_t at = bytes.find(each); at != std::string_view::npos;
         at = bytes.find(each, at + 1)) {
      hide(at, each.size());
      if (each.size() < kPart) continue;
      const size_t end = at + each.size() - kShown;
      shown.replace(end, kShown, bytes.substr(end, kShown));
    }
  }
  return shown;
}

}  // namespace cli
