#include "simulation/state.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "daemon/hex.h"
#include "virtual_phone/core/item_store.h"
#include "virtual_phone/core/properties.h"
#include "virtual_phone/core/sd_card.h"
#include "virtual_phone/modem/modem.h"
#include "virtual_phone/modem/sim.h"

namespace simulation {
namespace {

namespace fs = std::filesystem;
namespace vp = virtual_phone;

/// What nobody writes, and takes long to read.
constexpr uintmax_t kLargest = 64 << 10;

std::string content_of(const fs::directory_entry& entry) {
  if (entry.is_symlink()) return "link to " + fs::read_symlink(entry.path()).string();
  if (!entry.is_regular_file()) return "no file";
  if (entry.file_size() > kLargest) return std::to_string(entry.file_size()) + " bytes";
  std::ifstream in(entry.path(), std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  // An empty file has nothing to be inserted, which is no failure.
  return entry.file_size() == 0 ? "" : bytes.str();
}

void add_tree(const vp::Phone& phone, const char* tree, const std::string& kind, State& state) {
  const fs::path top = phone.directory() / tree;
  if (!fs::is_directory(top)) return;
  for (const auto& entry : fs::recursive_directory_iterator(top)) {
    if (entry.is_directory() && !entry.is_symlink()) continue;
    const fs::path path = "/" / entry.path().lexically_relative(top);
    const bool is_temporary = path.filename().native().compare(0, 6, ".temp.") == 0;
    const std::string key =
        kind + (is_temporary ? path.parent_path() / "temporary" : path).string();
    state[key] = is_temporary ? "" : content_of(entry);
  }
}

}  // namespace

std::string item_key(int number) { return "item " + std::to_string(number); }
std::string property_key(const std::string& name) { return "property " + name; }
std::string modem_key(const std::string& name) { return "modem " + name; }
std::string file_key(const std::string& path) { return "file " + path; }

std::string value_in(const State& state, const std::string& key) {
  const auto found = state.find(key);
  return found == state.end() ? "" : found->second;
}

std::string shown_value(const std::string& value) {
  std::string text;
  for (const char c : value) text += c == '\n' ? std::string("\\n") : std::string(1, c);
  const std::string word = factory_daemon::as_word(text);
  return word == text ? text : factory_daemon::as_word(value);
}

void set_item(State& state, int number, const std::string& bytes) {
  const size_t used = bytes.find_last_not_of('\0');
  if (used == std::string::npos) {
    state.erase(item_key(number));
  } else {
    state[item_key(number)] = bytes.substr(0, used + 1);
  }
}

State look(vp::Phone& phone) {
  State state;
  for (const auto& [number, bytes] : vp::written_items(phone)) set_item(state, number, bytes);
  for (const auto& [name, value] : vp::properties(phone)) state[property_key(name)] = value;
  for (const auto& [name, value] : vp::modem_values(phone)) state[modem_key(name)] = value;
  for (const auto& [number, item] : vp::nv_items(phone)) {
    const size_t used = item.value.find_last_not_of('\0');
    state["nv " + std::to_string(number)] =
        std::string(vp::name_of(item.state)) + " " + item.value.substr(0, used + 1);
  }
  const vp::Sim sim = vp::sim(phone);
  state["sim state"] = vp::name_of(sim.state);
  state["sim iccid"] = sim.iccid;
  state["sim delay"] = std::to_string(sim.not_yet);
  state["sim polls"] = std::to_string(vp::polls_to_wait(phone));
  state["card"] = vp::is_card_inserted(phone) ? "in" : "out";
  add_tree(phone, "root", "file ", state);
  add_tree(phone, vp::kOverlayName, "overlay ", state);
  add_tree(phone, vp::kEfsName, "efs ", state);
  return state;
}

}  // namespace simulation
