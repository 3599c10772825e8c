#include "simulation/commands.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "daemon/hex.h"
#include "modem/link/requests.h"

namespace simulation {
namespace {

namespace vp = virtual_phone;
namespace request = fcx::request;
using factory_daemon::as_word;
using Kind = factory_daemon::Action::Kind;

constexpr char kAgreed[] = "/mnt/vendor/persist-qv/agree_factory";
constexpr char kDay[] = "/mnt/vendor/persist-qv/startday/date";
constexpr char kIsDayValid[] = "/mnt/vendor/persist-qv/startday/isValid";
constexpr char kCamera[] = "/mnt/vendor/persist-qv/camera/front_tof_cal";
constexpr char kMounts[] = "/proc/mounts";
constexpr char kNoDay[] = "0000/00/00 00:00:00";

std::string answered(int result, const std::string& data = "") {
  return "result " + std::to_string(result) + (data.empty() ? "" : ", " + as_word(data));
}

// Arguments.

std::string nothing(Random&) { return ""; }

/// `length` characters of a set.
std::string draw_from(Random& random, const std::string& set, size_t length) {
  std::string text;
  for (size_t i = 0; i < length; ++i) text += random.pick(set);
  return text;
}

constexpr char kDigits[] = "0123456789";
constexpr char kLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

/// A text that is too long now and then.
template <uint32_t longest>
std::string text(Random& random) {
  return draw_from(random, kLetters, 1 + random.below(longest + longest / 4));
}
std::string text_or_none(Random& random) { return random.chance(40) ? "" : text<16>(random); }
std::string number(Random& random) { return std::to_string(random.below(300)); }
std::string flag(Random& random) { return random.chance(50) ? "1" : "0"; }
std::string dload(Random& random) {
  return random.pick(std::vector<std::string>{"on", "off", "only", "fast"});
}
std::string ime(Random& random) { return std::string(1, static_cast<char>(random.below(4))); }
std::string imei(Random& random) { return draw_imei(random, random.chance(75)); }
std::string imei_or_none(Random& random) { return random.chance(40) ? "" : imei(random); }
// One number in an expression: nobody says which of two is drawn first.
std::string saat(Random& random) {
  const std::string tag = random.chance(30) ? "[FRONT_TOF]" : "";
  return tag + text<64>(random);
}
std::string address(Random& random) {
  return draw_from(random, random.chance(15) ? "0123456789ABCDEFG" : "0123456789ABCDEFabcdef", 11) +
         "1";
}
std::string address_or_none(Random& random) { return random.chance(40) ? "" : address(random); }
std::string day(Random& random) {
  switch (random.below(8)) {
    case 0:
      return "";
    case 1:
      return "2020/06/01";
    case 2:
    case 3:
    case 4:
      return kNoDay;  // as often as a day: what becomes valid is seen then only
    default:
      break;
  }
  return "2020/06/1" + draw_from(random, kDigits, 1) + " 09:30:00";
}

// Effects.

struct Row;

struct Given {
  const State& before;
  const Product& product;
  const Row& row;
  const std::string& bytes;
};

struct Row {
  int32_t opcode;
  std::string (*draw)(Random&);
  Effect (*effect)(const Given&);
  int item = 0;  ///< that it is about
  size_t length = 0;
  const char* value = "";  ///< when the item is empty, or the modem's value's name
  std::vector<int32_t> requests = {};
  std::vector<const char*> files = {};
};

std::string text_of_item(const Given& given) {
  return value_in(given.before, item_key(given.row.item));
}

Effect read_item(const Given& given) {
  const std::string found = text_of_item(given);
  return {{}, answered(0, found.empty() ? given.row.value : found)};
}

Effect write_item(const Given& given) {
  return {{{item_key(given.row.item), given.bytes.substr(0, given.row.length)}}, answered(0)};
}

Effect read_or_write_item(const Given& given) {
  return given.bytes.empty() ? read_item(given) : write_item(given);
}

Effect write_dload_mode(const Given& given) {
  return given.bytes[0] == 'o' ? write_item(given) : Effect{{}, answered(1)};
}

Effect write_saat_result(const Given& given) {
  constexpr std::string_view kTag = "[FRONT_TOF]";
  if (given.bytes.compare(0, kTag.size(), kTag) == 0) {
    return {{{file_key(kCamera), given.bytes.substr(kTag.size())}}, answered(0)};
  }
  Effect effect = write_item(given);
  effect.changes[0].is_emptied_first = true;
  return effect;
}

Effect write_midauto_result(const Given& given) {
  const std::string stored = given.bytes.substr(0, given.row.length);
  return {{{item_key(251), stored, true},
           {property_key("persist.vendor.qve.midauto.status"), "4", false, false}},
          answered(0, stored)};
}

Effect write_charger_skip(const Given& given) {
  const int value = std::stoi(given.bytes) & 0xFF;
  if (value == 2) {
    const std::string skip = text_of_item(given);
    return {{}, answered(skip.empty() ? 0 : 1)};
  }
  return {{{item_key(10), std::string(1, static_cast<char>(value)), false, false}}, answered(0)};
}

Effect write_crc_wizard(const Given& given) {
  const int value = std::stoi(given.bytes) & 0xFF;
  return {{{item_key(49), std::to_string(value).substr(0, 1)}}, answered(0)};
}

Effect write_ime(const Given& given) {
  if (given.bytes[0] > 2) return {{}, answered(1)};
  return {{{item_key(75), given.bytes}}, answered(0)};
}

Effect read_byte(const Given& given) {
  const std::string byte = text_of_item(given);
  return {{}, answered(0, byte.empty() ? std::string(1, '\0') : byte)};
}

Effect read_number(const Given& given) {
  const std::string byte = text_of_item(given);
  return {{}, answered(0, std::to_string(byte.empty() ? 0 : static_cast<uint8_t>(byte[0])))};
}

Effect read_modem(const Given& given) {
  return {{}, answered(0, value_in(given.before, modem_key(given.row.value)))};
}

Effect read_virtual_sim(const Given& given) {
  const bool is_on = value_in(given.before, modem_key("virtual_sim")) == "1";
  return {{}, answered(0, std::string(1, is_on ? '\1' : '\0'))};
}

Effect read_no_imei(const Given&) { return {{}, answered(0, "IMEI READ ERROR :(")}; }

Effect write_modem(const Given& given) {
  return {{{modem_key(given.row.value), given.bytes}}, answered(0)};
}

/// The system side says so.
Effect write_modem_ok(const Given& given) {
  return {{{modem_key(given.row.value), given.bytes}}, answered(0, "OK")};
}

Effect read_or_write_model(const Given& given) {
  return given.bytes.empty() ? read_modem(given) : write_modem(given);
}

bool is_imei_right(const std::string& digits) {
  int sum = 0;
  for (size_t i = 0; i < digits.size(); ++i) {
    const int digit = (digits[i] - '0') * (i % 2 == 1 ? 2 : 1);
    sum += digit / 10 + digit % 10;
  }
  return sum % 10 == 0;
}

std::vector<Change> imei_changes(const std::string& digits) {
  // The item is the modem's copy, which the next start brings in step.
  return {{modem_key("imei1"), digits}, {item_key(13), digits, false, false}};
}

Effect write_imei(const Given& given) {
  if (!is_imei_right(given.bytes)) return {{}, answered(0, "CHECK DIGIT ERROR")};
  return {imei_changes(given.bytes), answered(0, "IMEI WRITE OK")};
}

Effect read_or_write_imei(const Given& given) {
  if (given.bytes.empty()) return read_modem(given);
  if (!is_imei_right(given.bytes)) return {{}, answered(1)};
  return {imei_changes(given.bytes), answered(0)};
}

/// The bytes that twelve digits stand for; none for what are none.
std::string bytes_of(const std::string& digits) {
  if (digits.find_first_not_of("0123456789ABCDEFabcdef") != std::string::npos) return "";
  std::string bytes;
  for (size_t i = 0; i < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

std::string digits_of(std::string bytes) {
  constexpr size_t kBytes = 6;
  bytes.resize(kBytes, '\0');
  std::string digits = factory_daemon::to_hex(bytes);
  for (char& c : digits) c = static_cast<char>(toupper(c));
  return digits;
}

Effect read_or_write_address(const Given& given) {
  if (given.bytes.empty()) return {{}, answered(0, digits_of(text_of_item(given)))};
  const std::string bytes = bytes_of(given.bytes);
  if (bytes.empty()) return {{}, answered(1)};
  return {{{item_key(given.row.item), bytes}}, answered(0)};
}

Effect read_or_write_day(const Given& given) {
  if (given.bytes.empty()) {
    const bool is_valid = value_in(given.before, file_key(kIsDayValid)) != "0";
    return {{}, answered(0, is_valid ? value_in(given.before, file_key(kDay)) : kNoDay)};
  }
  if (given.bytes.size() != std::string_view(kNoDay).size()) return {{}, answered(0, "ERROR")};
  return {
      {{file_key(kDay), given.bytes}, {file_key(kIsDayValid), given.bytes == kNoDay ? "0" : "1"}},
      answered(0, "OK")};
}

Effect read_agreed(const Given& given) {
  return {{}, answered(0, value_in(given.before, file_key(kAgreed)))};
}

Effect write_agreed(const Given& given) {
  return {{{file_key(kAgreed), given.bytes, false, false}}, answered(0)};
}

Effect start_device_test(const Given& given) {
  const bool is_on = std::stoi(given.bytes) == 1;
  const bool is_started = value_in(given.before, item_key(2)) == "\x06";
  if (!is_on && is_started) return {{}, answered(1)};
  Effect effect{{}, answered(0), true};
  // A restart that fails takes it back, whoever has set it.
  const std::string flag = is_on ? "\1" : value_in(given.before, item_key(3));
  effect.changes.push_back({item_key(3), flag, false, false, ""});
  if (is_started) return effect;
  const std::string trace = value_in(given.before, item_key(79)) + "6";
  effect.changes.push_back({property_key("persist.vendor.qve.factory.status"), "6", false, false});
  effect.changes.push_back({item_key(2), "\x06"});
  effect.changes.push_back({item_key(79), trace, false, false});
  return effect;
}

Effect start_automatic_test(const Given& given) {
  if (given.bytes != "1") return {{}, answered(1)};
  // Taken back where there is no restart.
  return {{{item_key(3), "\1", false, false, ""}}, answered(0), true, "aat_write"};
}

Effect restart_with_status(const Given& given) {
  const int value = std::stoi(given.bytes) & 0xFF;
  return {
      {{property_key("persist.vendor.qve.bootstatus"), std::to_string(value), false, false, "0"}},
      answered(0),
      true};
}

Effect download(const Given& given) {
  return {{{item_key(90), given.bytes, false, false},
           {property_key("persist.vendor.qve.bootstatus"), "1", false, false}},
          answered(0),
          true,
          "dload"};
}

Effect noted(const char* reset, bool restarts) {
  return {{{item_key(23), "\1"}, {property_key("persist.vendor.qve.factory.reset"), reset}},
          answered(0),
          restarts};
}

/// Its value is what is noted.
Effect note_reset(const Given& given) { return noted(given.row.value, false); }

struct ResetMode {
  const char* sent;
  const char* noted;
};
constexpr ResetMode kResetModes[] = {{"1", "sdcard"}, {"2", "100"}, {"3", "102"}, {"4", "101"}};

Effect reset_and_restart(const Given& given) {
  if (given.bytes == "1" && value_in(given.before, "card") != "in") return {{}, answered(2)};
  for (const ResetMode& mode : kResetModes) {
    if (given.bytes == mode.sent) return noted(mode.noted, true);
  }
  return {{}, answered(2)};
}

/// One of them, or the first that is none.
std::string reset_mode(Random& random) {
  return random.chance(40) ? "1" : random.pick(std::vector<std::string>{"0", "2", "3", "4"});
}

std::string version_in(const Given& given) {
  const NetworkCode* code = find_network_code(value_in(given.before, item_key(421)));
  if (code == nullptr || code->version[0] == '\0') return given.product.version;
  return given.product.version_before + std::string(code->version) + given.product.version_after;
}

/// It is stored, too.
Effect read_version(const Given& given) {
  // What is answered is right; that it is stored, too, no reader is promised.
  return {{{item_key(14), version_in(given), false, false}}, answered(0, version_in(given))};
}

Effect read_built_version(const Given& given) { return {{}, answered(0, given.product.version)}; }

/// Its value is the answer, on every phone.
Effect read_constant(const Given& given) { return {{}, answered(0, given.row.value)}; }

Effect is_sim_there(const Given& given) {
  const bool is_absent = value_in(given.before, "sim state") == vp::name_of(vp::SimState::absent);
  return {{}, answered(0, is_absent ? "0" : "1")};
}

constexpr char kNoCode[] = "000000000000000";

const std::vector<Row>& rows() {
  // clang-format off
  static const std::vector<Row> all = {
      {3170, dload, write_dload_mode, 129, 8},
      {3171, nothing, read_item, 129, 8, "off"},
      {3200, nothing, read_byte, 75},
      {3201, ime, write_ime, 75},
      {4002, reset_mode, reset_and_restart, 23, 0, "", {request::sync_efs}, {kMounts}},
      {4003, number, write_charger_skip, 10},
      {4004, flag, start_device_test, 3, 0, "", {request::sync_efs}},
      {4007, number, restart_with_status, 0, 0, "", {request::sync_efs}},
      {4010, nothing, read_item, 9, 12, "0"},
      {4011, nothing, read_version, 14, 70, "", {request::read_type_code}},
      {4015, nothing, read_item, 18, 16},
      {4016, nothing, read_item, 19, 16},
      {4017, nothing, read_item, 36, 10},
      {4018, text_or_none, read_or_write_item, 37, 16, kNoCode},
      {4019, nothing, read_built_version, 0, 0, "", {request::read_type_code}},
      {4020, nothing, read_constant, 0, 0, "", {request::sync_efs}},
      {4024, nothing, read_item, 31, 50},
      {4025, nothing, read_number, 80},
      {4030, nothing, is_sim_there, 0, 0, "", {request::is_sim}},
      {4031, flag, write_modem_ok, 0, 0, "virtual_sim", {request::set_virtual_sim}},
      {4032, nothing, read_virtual_sim, 0, 0, "", {request::is_virtual_sim}},
      {4033, nothing, read_modem, 0, 0, "satpc", {request::read_satpc}},
      {4034, text<8>, write_modem_ok, 0, 0, "satpc", {request::write_satpc}},
      {4040, flag, write_modem, 0, 0, "hardreset_enable", {request::hardreset_enable}},
      {4060, number, write_crc_wizard, 49},
      {4061, nothing, read_item, 49, 1},
      {4063, text_or_none, read_or_write_model, 0, 0, "model_name", {request::model_name}},
      {4064, imei_or_none, read_or_write_imei, 13, 0, "imei1", {request::read_imei, request::write_imei}},
      {4065, address_or_none, read_or_write_address, 6},
      {4066, address_or_none, read_or_write_address, 8},
      {4068, nothing, read_modem, 0, 0, "impl", {request::read_impl}},
      {4069, nothing, read_modem, 0, 0, "fusg", {request::read_fusg}},
      {4180, flag, start_automatic_test, 3, 0, "", {request::sync_efs}},
      {4230, nothing, read_item, 212, 256},
      {4231, saat, write_saat_result, 212, 256, "", {}, {kCamera}},
      {4240, nothing, read_item, 300, 4},
      {4241, text<4>, write_item, 300, 4},
      {4266, text<32>, download, 90, 512, "", {request::sync_efs}},
      {4293, imei, write_imei, 13, 0, "", {request::write_imei}},
      {4294, nothing, read_modem, 0, 0, "imei1", {request::read_imei}},
      {4295, day, read_or_write_day, 0, 0, "", {}, {kDay, kIsDayValid}},
      {4296, nothing, read_item, 213, 1},
      {4297, nothing, read_item, 214, 4},
      {4298, nothing, read_item, 215, 16},
      {4400, nothing, read_modem, 0, 0, "meid", {request::read_meid}},
      {4401, nothing, read_modem, 0, 0, "pesn", {request::read_pesn}},
      {4402, nothing, read_constant, 0, 0, "3719", {}, {"/proc/meminfo"}},
      {4404, nothing, read_item, 420, 30, kNoCode},
      {4405, nothing, note_reset, 23, 0, "1"},
      {4406, nothing, note_reset, 23, 0, "0"},
      {4407, nothing, read_item, 251, 128},
      {4408, text<128>, write_midauto_result, 251, 128},
      {4409, nothing, read_constant, 253, 0, "0xFFFFFFFF"},
      {4413, nothing, read_modem, 0, 0, "imei2", {request::read_imei2}},
      {4414, nothing, read_no_imei, 0, 0, "", {request::read_imei3}},
      {4415, nothing, [](const Given&) { return Effect{{{modem_key("mbn_deactivated"), "1"}}, answered(0)}; }, 0, 0, "",
       {request::deactivate_mbn}},
      {4416, text<8>, write_item, 152, 8},
      {4417, nothing, read_item, 152, 8},
      {4418, nothing, read_agreed, 0, 0, "", {}, {kAgreed}},
      {4419, text<64>, write_agreed, 0, 0, "", {}, {kAgreed}},
      {4421, nothing, read_modem, 0, 0, "rf_4g_error_handle_5g", {request::get_4g_error_5g}},
      {4422, flag, write_modem, 0, 0, "rf_4g_error_handle_5g", {request::set_4g_error_5g}},
  };
  // clang-format on
  return all;
}

const Row& row_of(int32_t opcode) {
  return *std::find_if(rows().begin(), rows().end(),
                       [&](const Row& row) { return row.opcode == opcode; });
}

/// An address as an AT line has it.
struct Line {
  const char* name;
  int item;
  const char* written;
  const char* unread;  ///< the answer, on purpose, where the item cannot be read
};
constexpr Line kLines[] = {{"AT%BTAD", 8, "BLUETOOTH ADDRESS WRITE OK | OK", "02FC0A000000 | OK"},
                           {"AT%WLAD", 6, "MAC ADDRESS WRITE OK | OK", "FFFFFFFFFFFF | OK"}};

const Line& line_called(const std::string& at) {
  return at.compare(0, 7, kLines[0].name) == 0 ? kLines[0] : kLines[1];
}

Effect effect_of_line(const std::string& at, const State& before) {
  const Line& line = line_called(at);
  if (at.back() == '?') return {{}, digits_of(value_in(before, item_key(line.item))) + " | OK"};
  const std::string bytes = bytes_of(at.substr(8));
  if (bytes.empty()) return {{}, "ERROR"};
  return {{{item_key(line.item), bytes}}, line.written};
}

Effect effect_of_rewrite(const std::string& text, const State& before) {
  constexpr size_t kDelegated = 34;
  constexpr char kNone[] = R"("0","FFF,FFF,FFFFFFFF,FFFFFFFF,FF")";
  const NetworkCode& code = *find_network_code(text);
  const std::string key = property_key("persist.vendor.qve.tavrin.ntcode");
  const std::string last = value_in(before, key);
  const std::string delegated = text.substr(0, kDelegated);
  Effect effect{{}, "done"};
  if ((last.empty() ? kNone : last) != delegated) {
    // A list that is stored is stored, whoever refuses to note it.
    effect.changes = {{property_key("persist.vendor.qve.ntcode-changed"), "1", false, false},
                      {key, delegated, false, false}};
  }
  effect.changes.push_back({item_key(421), text});
  effect.changes.push_back({property_key("persist.vendor.qve.mcc-list"), code.mccs, false, false});
  effect.changes.push_back({property_key("persist.vendor.qve.mccmnc-list"), code.mccmncs});
  effect.changes.push_back({property_key("persist.vendor.qve.subset-list"), code.subsets});
  return effect;
}

Effect effect_of_sim(const vp::Sim& sim, const Product& product) {
  const std::string delay = std::to_string(sim.not_yet);
  Effect effect{{{"sim state", vp::name_of(sim.state)},
                 {"sim iccid", sim.iccid},
                 {"sim delay", delay},
                 {"sim polls", delay}},
                "done"};
  if (!product.is_mtk) return effect;
  const bool is_published = sim.not_yet == 0 && sim.state != vp::SimState::error;
  std::string iccid = sim.iccid;
  iccid.resize(std::max<size_t>(iccid.size(), 20), 'f');
  const std::string slots[] = {sim.state == vp::SimState::absent ? "NODEF" : iccid, "NODEF"};
  for (int i = 0; i < 2; ++i) {
    effect.changes.push_back({property_key("vendor.ril.iccid.sim" + std::to_string(i + 1)),
                              is_published ? slots[i] : ""});
  }
  return effect;
}

Effect effect_of_card(const std::string& name, const State& before) {
  constexpr char kLine[] =
      "/dev/block/vold/public:179,1 /storage/6A3F-11E2 vfat rw,nosuid,nodev,noexec,noatime 0 0\n";
  const bool is_in = name == kInsert;
  std::string mounts = value_in(before, file_key(kMounts));
  const size_t found = mounts.find(kLine);
  if (found != std::string::npos) mounts.erase(found);
  return {{{"card", is_in ? "in" : "out"}, {file_key(kMounts), mounts + (is_in ? kLine : "")}},
          "done"};
}

using Faults = std::vector<vp::Fault>;

vp::Fault once(vp::Part part, const std::string& target, vp::Effect effect, int64_t value,
               vp::Access access = vp::Access::any) {
  return {0, part, target, access, effect, value, 1};
}

void add_request_faults(int32_t number, Faults& faults) {
  const std::string target = std::to_string(number);
  faults.push_back(once(vp::Part::request, target, vp::Effect::fail, 1));
  faults.push_back(once(vp::Part::request, target, vp::Effect::refuse, 0));
  faults.push_back(once(vp::Part::request, target, vp::Effect::late, 3000));
}

void add_file_faults(const char* path, Faults& faults) {
  constexpr int kNoSpace = 28;
  constexpr int kBroken = 5;
  const std::string directory(path, std::string_view(path).rfind('/'));
  faults.push_back(once(vp::Part::file, path, vp::Effect::fail, kNoSpace, vp::Access::write));
  faults.push_back(once(vp::Part::file, path, vp::Effect::fail, kBroken, vp::Access::sync));
  faults.push_back(once(vp::Part::file, path, vp::Effect::fail, kBroken, vp::Access::rename));
  faults.push_back(once(vp::Part::file, path, vp::Effect::fail, kBroken, vp::Access::open));
  faults.push_back(
      once(vp::Part::file, directory, vp::Effect::fail, kBroken, vp::Access::sync_directory));
}

void add_item_faults(int item, Faults& faults) {
  const std::string target = std::to_string(item);
  for (const vp::Access access : {vp::Access::read, vp::Access::write}) {
    faults.push_back(once(vp::Part::item, target, vp::Effect::fail, -1, access));
  }
  faults.push_back(once(vp::Part::item, target, vp::Effect::late, 700));
  vp::Fault second = once(vp::Part::item, target, vp::Effect::fail, -1);
  second.after = 2;
  faults.push_back(second);
}

void add_property_faults(const char* name, Faults& faults) {
  const std::string target = std::string("persist.vendor.qve.") + name;
  for (const vp::Access access : {vp::Access::read, vp::Access::write}) {
    faults.push_back(once(vp::Part::property, target, vp::Effect::fail, 0, access));
  }
}

/// What is there may not be readable: once, at first or later.
void add_unreadable(const std::string& path, Faults& faults) {
  constexpr int kBroken = 5;
  for (const vp::Access access : {vp::Access::stat, vp::Access::open, vp::Access::read}) {
    for (int64_t after = 1; after <= 3; ++after) {
      faults.push_back(once(vp::Part::file, path, vp::Effect::fail, kBroken, access));
      faults.back().after = after;
    }
  }
}

Faults faults_of_start(const Product& product) {
  constexpr int kAgain = 11;
  Faults faults;
  for (const char* property :
       {"first-boot", "first-mcc", "first-mccmnc", "mcc-list", "sim.operator", "sim.country",
        "last-iccid", "iccid", "sim-changed", "sbp.unfinished", "ntcode-changed", "iccid-mcc"}) {
    add_property_faults(property, faults);
  }
  for (const int32_t number : {request::read_sim, request::read_imei, request::read_meid,
                               request::read_pid, request::read_nv, request::write_nv}) {
    add_request_faults(number, faults);
  }
  for (const char* file :
       {"/mnt/vendor/persist-qv/kelp/kelp.prop", "/mnt/vendor/persist-qv/kelp/perm.prop",
        "/mnt/vendor/persist-qv/kelp/feature.prop",
        "/mnt/vendor/persist-qv/property/persist.vendor.qve.sim.operator"}) {
    add_file_faults(file, faults);
    add_unreadable(file, faults);
  }
  if (product.carrier != nullptr) {
    for (const char* file : {"carrier_code.xml", "feature_code.xml", "client_id.xml"}) {
      add_unreadable(std::string(product.package) + file, faults);
    }
  }
  // Not the network code's, which others publish before set-up reads it: where they cannot, set-up
  // settles what it finds.
  for (const int item : {4, 13, 14, 31, 73, 207}) add_item_faults(item, faults);
  for (const char* service : {"dmi", "diag", "filehandle"}) {
    vp::Fault fault = once(vp::Part::service, service, vp::Effect::absent, 0);
    faults.push_back(fault);
    fault.effect = vp::Effect::dies;
    faults.push_back(fault);
  }
  faults.push_back(once(vp::Part::thread, "carrier_set_up", vp::Effect::fail, kAgain));
  return faults;
}

Faults faults_of(const Step& step, const Product& product) {
  Faults faults;
  if (step.is_start()) return faults_of_start(product);
  if (step.kind == Step::Kind::network_code) {
    add_item_faults(421, faults);
    add_property_faults("ntcode-changed", faults);
    add_property_faults("tavrin.ntcode", faults);
  }
  if (step.is_action(Kind::at_line)) add_item_faults(line_called(step.action.bytes).item, faults);
  if (!step.is_action(Kind::command)) return faults;
  const Row& row = row_of(step.action.opcode);
  for (const int32_t number : row.requests) add_request_faults(number, faults);
  for (const char* path : row.files) add_file_faults(path, faults);
  if (row.item != 0) add_item_faults(row.item, faults);
  const State any_phone;
  if (row.effect({any_phone, product, row, step.action.bytes}).restarts) {
    faults.push_back(once(vp::Part::service, "reboot", vp::Effect::absent, 0));
    faults.push_back(once(vp::Part::thread, "reboot", vp::Effect::fail, 11));
  }
  faults.push_back(once(vp::Part::command, std::to_string(row.opcode), vp::Effect::fail, 0));
  return faults;
}

}  // namespace

std::string draw_imei(Random& random, bool is_right) {
  const std::string body = draw_from(random, kDigits, 14);
  char check = '0';
  while (!is_imei_right(body + check)) ++check;
  if (!is_right) check = check == '9' ? '0' : static_cast<char>(check + 1);
  return body + check;
}

factory_daemon::Action draw_command(Random& random) {
  if (random.chance(10)) {
    const Line& line = random.pick(kLines);
    const std::string form = random.chance(40) ? "?" : "=" + address(random);
    return {Kind::at_line, 0, line.name + form};
  }
  // Files have the most ways to be left half-way.
  constexpr int32_t kOfFiles[] = {4231, 4295, 4295, 4419};
  const Row& row = random.chance(25) ? row_of(random.pick(kOfFiles)) : random.pick(rows());
  return {Kind::command, row.opcode, row.draw(random)};
}

Effect effect_of(const Step& step, const State& before, const Product& product) {
  switch (step.kind) {
    case Step::Kind::sim:
      return effect_of_sim(step.sim, product);
    case Step::Kind::network_code:
      return effect_of_rewrite(step.text, before);
    case Step::Kind::modem_value:
      return {{{modem_key(step.name), step.text}}, "done"};
    case Step::Kind::card:
      return effect_of_card(step.name, before);
    case Step::Kind::power_cut:
      return {{}, "done"};
    case Step::Kind::action:
      break;
  }
  if (step.action.kind == Kind::at_line) return effect_of_line(step.action.bytes, before);
  const Row& row = row_of(step.action.opcode);
  return row.effect({before, product, row, step.action.bytes});
}

uint32_t most_changes(const Step& step) {
  constexpr uint32_t kOfStart = 25;
  constexpr uint32_t kOfFiles = 9;
  constexpr uint32_t kOfItems = 3;
  constexpr uint32_t kOfNetworkCode = 6;
  if (step.is_start()) return kOfStart;
  if (step.kind == Step::Kind::network_code) return kOfNetworkCode;
  const bool is_of_files =
      step.is_action(Kind::command) && !row_of(step.action.opcode).files.empty();
  return is_of_files ? kOfFiles : kOfItems;
}

bool is_excused(const Step& step, const std::string& answer) {
  struct Excuse {
    int32_t opcode;
    const char* answer;
    bool is_only_of_a_refusal = false;
  };
  static constexpr Excuse kAll[] = {
      {3171, "result 0, off"},
      {3200, "result 0, hex:ff"},
      {4061, "result 0"},
      {4293, "result 0, IMEI WRITE ERROR"},
      {4294, "result 0, IMEI READ ERROR :("},
      {4295, "result 0, ERROR"},
      {4400, "result 0"},
      {4401, "result 0", true},
      {4404, "result 0"},
      {4413, "result 0, IMEI READ ERROR :("},
      {4418, "result 0"},
  };
  // A modem that answers that it has none has not failed.
  const bool is_refused =
      step.disturbance.has_value() && step.disturbance->effect == vp::Effect::refuse;
  // An address that cannot be read, as each of the lines has it.
  const std::string_view unread =
      step.is_action(Kind::at_line) ? line_called(step.action.bytes).unread : "";
  return (!unread.empty() && answer == unread) ||
         std::any_of(std::begin(kAll), std::end(kAll), [&](const Excuse& each) {
           return step.is_action(Kind::command) && step.action.opcode == each.opcode &&
                  answer == each.answer && (is_refused || !each.is_only_of_a_refusal);
         });
}

std::optional<vp::Fault> draw_fault(Random& random, const Step& step, const Product& product) {
  const Faults faults = faults_of(step, product);
  if (faults.empty()) return std::nullopt;
  return random.pick(faults);
}

}  // namespace simulation
