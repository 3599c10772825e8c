#include "tests/story_test.h"

#include <android/log.h>

#include <regex>

#include "fcx/background.h"
#include "fcx/factory_items.h"
#include "fcx/modem_link.h"
#include "virtual_phone/core/clock.h"

namespace fcx_test {

namespace vp = virtual_phone;

namespace {

const std::map<std::string, std::string> kNames = {
    {"brightness", "/proc/qve_power/lcd/brightness"},
    {"battery", "/proc/qve_power/battery/present"},
    {"voltage", "/proc/qve_power/adc/usb_in"},
    {"led", "/proc/qve_power/key_led/red_brightness"},
    {"fcx_status", "/sys/kernel/fcx_mid/fcx_status"},
    {"autosleep", "/sys/power/autosleep"},
    {"usb", "/sys/class/android_usb/android0/state"},
    {"bootstart", "ro.vendor.qve.mid.bootstart"},
    {"bootmode", "ro.bootmode"},
    {"pif", "vendor.qve.factory.pif"},
    {"sleepmode", "vendor.qve.sleepmode.on"},
    {"bootstatus", "persist.vendor.qve.bootstatus"},
    {"reset", "persist.vendor.qve.factory.reset"},
    {"mounts", "/proc/mounts"},
    {"aat", "/mnt/vendor/persist-qv/aat/result"},
    {"sbp.update", "persist.vendor.qve.data.sbp.update"},
    {"factory_model", "ro.boot.vendor.qve.model.factory"},
    {"model_name", "ro.boot.vendor.qve.model.name"}};

/// What has a name: its kind, and what it is called there.
struct Target {
  std::string kind, name;

  explicit Target(const std::string& text) {
    const auto known = kNames.find(text);
    name = known == kNames.end() ? text : known->second;
    kind = name[0] == '/' ? "file" : isdigit(name[0]) != 0 ? "request" : "property";
    if (const size_t blank = name.find(' '); blank != std::string::npos) {
      kind = name.substr(0, blank);
      name = name.substr(blank + 1);
    }
  }
  uint16_t number() const { return static_cast<uint16_t>(std::stoi(name)); }
};

std::vector<std::string> split(const std::string& text, const std::string& separator) {
  std::vector<std::string> parts;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find(separator, begin), text.size());
    parts.push_back(text.substr(begin, end - begin));
    begin = end + separator.size();
  }
  return parts;
}

std::string joined(const std::vector<std::string>& parts, const char* separator) {
  std::string text;
  for (const std::string& part : parts) text += (text.empty() ? "" : separator) + part;
  return text;
}

std::string trimmed(const std::string& text) {
  const size_t begin = text.find_first_not_of(' ');
  return begin == std::string::npos ? ""
                                    : text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

/// What stands before a mark, which is taken off the text with it.
std::string take_until(std::string& text, const std::string& mark) {
  const size_t end = std::min(text.find(mark), text.size());
  const std::string taken = trimmed(text.substr(0, end));
  text.erase(0, end + mark.size());
  return taken;
}

vp::Fault fault_on(const Target& target, const std::string& words) {
  using vp::Part;
  const Part part = vp::named<Part>(target.kind).value();
  vp::Fault fault{0, part, target.name, vp::Access::any, vp::Effect::fail, 0, {}, 1};
  const std::map<Part, int> values = {
      {Part::item, -1}, {Part::request, 1}, {Part::file, EIO}, {Part::thread, EAGAIN}};
  if (values.count(part) != 0) fault.value = values.at(part);
  for (const std::string& word : split(words, " ")) {
    if (word[0] == '@') {
      fault.after = std::stoi(word.substr(1));
    } else if (isdigit(word[0]) != 0) {
      fault.value = std::stoll(word);
    } else if (const auto access = vp::named<vp::Access>(word)) {
      fault.access = *access;
    } else {
      fault.effect = vp::named<vp::Effect>(word).value();
    }
  }
  return fault;
}

}  // namespace

StoryTest::StoryTest() {
  vp::observe_log([this, caller = std::this_thread::get_id()](const vp::LogEntry& entry) {
    static const std::regex kLeftOut(
        "\\[(COMMON_INTERFACE|DMI|QVATCMD|init_modem_interface|QVE\\]\\[SBP).*|Response Status.*|"
        "Cannot get response. Return error!|receive_modem_data.*|request_to_system.*|USB State.*|"
        "The value returned.*|service_handler: opcode.*|GSM VERSION.*|hw_rev.*|"
        "ro.vendor.qve.factoryversion.*|get_qve_factory_sw_version_sbp.*|get_swfv : Read.*");
    const std::string first_line = entry.message.substr(0, entry.message.find('\n'));
    if (entry.tag == "VirtualPhone" || std::regex_match(first_line, kLeftOut)) return;
    EXPECT_EQ(LOG_ID_SYSTEM, entry.buffer) << entry.message;
    auto& lines = std::this_thread::get_id() == caller ? own_lines_ : other_lines_;
    const std::string tag = entry.tag == "Fcx" ? "" : entry.tag + ": ";
    lines.push_back(std::string(1, "??VDIWEF"[entry.priority]) + " " + tag + entry.message);
  });
}

void StoryTest::fresh_phone() {
  vp::create(directory(), "blank", true);
  vp::select(directory());
  EXPECT_EQ(0, init_factory_item());
  EXPECT_EQ(0, init_modem_interface());  // the library knows that of the last phone
  told();
}

void StoryTest::give(const std::string& what) {
  const size_t mark = what.find_first_of("=!");
  const Target target(what.substr(what[0] == '-' ? 1 : 0, mark));
  const std::string value = mark == std::string::npos ? "" : what.substr(mark + 1);
  if (what[0] == '-') {
    std::filesystem::remove_all(file(target.name.c_str()));
  } else if (what[mark] == '!') {
    vp::set_fault(phone(), fault_on(target, value));
  } else if (target.kind == "file") {
    std::filesystem::create_directories(file(target.name.c_str()).parent_path());
    write_file(file(target.name.c_str()), value);
  } else if (target.kind == "item") {
    set_item(target.number(), value);
  } else if (target.kind == "modem") {
    set_modem(target.name.c_str(), value);
  } else if (target.kind == "nv") {
    const auto state = vp::named<vp::NvState>(value);
    vp::set_nv_item(phone(), target.number(),
                    {state.value_or(vp::NvState::active), state.has_value() ? "" : value});
  } else {
    set_build_property(target.name.c_str(), value);
  }
}

std::string StoryTest::left(const std::string& name) {
  const Target target(name);
  if (name == "seconds") return std::to_string((vp::slept_us() - slept_us_) / 1'000'000);
  if (name == "out") return out.size() == 2048 ? out.c_str() : out;
  if (name == "events") return joined(events(), "|");
  if (name == "payload") return vp::modem_requests(phone()).back().payload;
  if (name == "asked") {
    std::vector<std::string> numbers;
    for (const auto& each : vp::modem_requests(phone()))
      numbers.push_back(std::to_string(each.number));
    return joined(numbers, " ");
  }
  if (target.kind == "file") return read_file(file(target.name.c_str()));
  if (target.kind == "modem") return modem(target.name.c_str());
  if (target.kind == "item") return item_text(target.number());
  if (target.kind == "nv") return vp::nv_item(phone(), target.number()).value().value.c_str();
  return property(target.name.c_str());
}

std::string StoryTest::told() {
  std::vector<std::string> all = std::exchange(own_lines_, {});
  for (std::string& line : std::exchange(other_lines_, {})) all.push_back(std::move(line));
  return plain(joined(all, "|"));
}

char* StoryTest::memory() {
  out = "before";
  out.resize(2048);
  return out.data();
}

std::string StoryTest::understood(const std::string& text) const {
  static const std::regex kSpecial(R"(\\n|\\s|\\x..|\\[0-7]|\$\{?\w+\}?)");
  std::string result;
  size_t end = 0;
  for (std::sregex_iterator it(text.begin(), text.end(), kSpecial), none; it != none; ++it) {
    const std::string found = it->str();
    result += text.substr(end, static_cast<size_t>(it->position()) - end);
    end = static_cast<size_t>(it->position()) + found.size();
    if (found[0] == '$') {
      const bool is_braced = found[1] == '{';
      result += said_.at(is_braced ? found.substr(2, found.size() - 3) : found.substr(1));
    } else if (found[1] == 'x') {
      result += static_cast<char>(std::stoi(found.substr(2), nullptr, 16));
    } else {
      result += found[1] == 'n' ? '\n' : found[1] == 's' ? ' ' : static_cast<char>(found[1] - '0');
    }
  }
  return result + text.substr(end);
}

void StoryTest::tell_one(const std::string& name, const std::function<int()>& function,
                         const std::string& story) {
  SCOPED_TRACE(name + ": " + story);
  std::string rest = story;
  const std::string given = take_until(rest, "->"), lines = take_until(rest, "=>");
  fresh_phone();
  for (const std::string& what : split(understood(given), "; ")) give(what);
  told();
  slept_us_ = vp::slept_us();
  std::string result = std::to_string(function());
  fcx::wait_for_background_work();
  EXPECT_EQ(joined(split(understood(lines), "@"), name.c_str()), told());
  for (const std::string& what : split(understood(trimmed(rest)), "; ")) {
    const size_t mark = what.find('=');
    const bool is_result = what.substr(0, mark) == "result";
    const std::string found = is_result ? std::exchange(result, "0") : left(what.substr(0, mark));
    EXPECT_EQ(what.substr(mark + 1), found) << what;
  }
  EXPECT_EQ("0", result);
}

void StoryTest::tell(const std::string& name, const std::function<int()>& function,
                     const std::string& stories) {
  const std::string parts = std::regex_replace(stories, std::regex("\\|\n +"), "|");
  const std::string whole = std::regex_replace(parts, std::regex("\n +"), " ");
  for (std::string line : split(whole, "\n")) {
    if (line.empty()) continue;
    if (line.rfind("let ", 0) != 0) {
      tell_one(name, function, line);
      continue;
    }
    line.erase(0, 4);
    const std::string said = take_until(line, "=");
    let(said, understood(trimmed(line)));
  }
}

}  // namespace fcx_test
