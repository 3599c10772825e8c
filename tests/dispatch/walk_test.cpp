// Bad input to every opcode: whatever comes, on whatever phone, a command changes nothing but what
// it names, and the response keeps its promises.
#include <algorithm>
#include <array>
#include <map>
#include <random>
#include <set>

#include "fcx/command_table.h"
#include "fcx/service_handler.h"
#include "tests/carrier/fixture.h"

namespace fcx_test {
namespace {

constexpr char kRestart[] = "event reboot|property ([^p]|p[^e]).*";  // ends what does not persist
constexpr char kFactoryReset[] = "(property|event) .*|root/(data|storage)/.*";

#define QVE "property persist.vendor.qve."

/// What commands may change beside the response, and what when they fail.
const std::tuple<std::set<int32_t>, std::string, std::string> kEffects[] = {
    {{3170}, "item 129", ""},
    {{3201}, "item 75", ""},
    {{4002}, "item 23|"s + kRestart + "|" + kFactoryReset, "item 23|" QVE "factory.reset"},
    {{4003}, "item 10", ""},
    {{4004}, "item (2|3|79)|" QVE "factory.status|"s + kRestart, QVE "factory.status"},
    {{4007}, QVE "bootstatus|"s + kRestart, QVE "bootstatus"},
    {{4011}, "item 14", ""},
    {{4018}, "item 37", ""},
    {{4031}, "modem virtual_sim", ""},
    {{4033, 4034}, "modem satpc", ""},
    {{4040}, "modem hardreset_enable", ""},
    {{4060}, "item 49", ""},
    {{4063}, "modem model_name", ""},
    {{4064, 4293}, "modem imei1|item 13", ""},
    {{4065}, "item 6", ""},
    {{4066}, "item 8", ""},
    {{4180}, "item 3|"s + kRestart, ""},
    {{4231}, "item 212|root/mnt/vendor/persist-qv/camera/front_tof_cal", ""},
    {{4241}, "item 300", ""},
    {{4266}, "item 90|" QVE "bootstatus|"s + kRestart, ""},
    {{4295}, "root/mnt/vendor/persist-qv/startday/(date|isValid)", ""},
    {{4405, 4406}, "item 23|" QVE "factory.reset", ""},
    {{4408}, "item 251|" QVE "midauto.status", QVE "midauto.status"},
    {{4415}, "modem mbn_deactivated", ""},
    {{4416}, "item 152", ""},
    {{4419}, "root/mnt/vendor/persist-qv/agree_factory", ""},
    {{4422}, "modem rf_4g_error_handle_5g", ""}};

/// The results of those that have others than 0 and 1.
const std::pair<std::set<int32_t>, std::set<int32_t>> kResults[] = {
    {{4002, 4005, 4031, 4032, 4033, 4034, 4040, 4405, 4406}, {0, 1, 2}},
    {{4063, 4230, 4231, 4407, 4408, 4409, 4410, 4411, 4412}, {0, 1, -1}},
    {{4020, 4056, 4242, 4243, 4258, 4259, 4266, 4295}, {kUntouched}},
    {{4059, 4062}, {QVCMD_FAIL, kUntouched}},
    {{4404}, {QVCMD_OK, kUntouched}},
    {{4232}, {QVCMD_FAIL}}};

/// A request's data, which ends where the caller's memory does, and what it says of its length.
using Payload = std::pair<std::string, int32_t>;

std::vector<Payload> payloads(uint32_t seed) {
  std::vector<Payload> all;
  for (const auto& text : std::initializer_list<std::string>{
           "", "1", "2", "\2", "o", "0123456789ABCDEF", "490154203237534", "[FRONT_TOF]x",
           "[FRONT_TOF_CHECK]", "0000/00/00 00:00:00", "2020/06/01 09:30:00",
           std::string(2047, '1')}) {
    all.emplace_back(text + '\0', text.size());
  }
  std::mt19937 random(seed);
  std::string bytes(random() % QVCMD_DATA_SIZE, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  all.emplace_back(bytes + '\0', bytes.size());
  for (const int32_t length : {2048, INT32_MIN, 2049, INT32_MAX}) {
    all.emplace_back(std::string(2048, 'o'), length);
  }
  return all;
}

/// Everything that a phone keeps, by its name.
using State = std::map<std::string, std::string>;

constexpr char kTables[] =
    "SELECT 'property ' || name, value FROM property UNION ALL "
    "SELECT 'image ' || name, value FROM build_property UNION ALL "
    "SELECT 'modem ' || name, hex(value) FROM modem_value UNION ALL "
    "SELECT 'NV ' || item, state || hex(value) FROM modem_nv UNION ALL "
    "SELECT 'SIM', state || not_yet || hex(iccid) FROM sim UNION ALL "
    "SELECT 'event ' || kind, count(*) FROM event GROUP BY kind";

State changes(const State& before, const State& after) {
  State found;
  std::set_symmetric_difference(before.begin(), before.end(), after.begin(), after.end(),
                                std::inserter(found, found.end()));
  return found;
}

class Walk : public CarrierTest {
 protected:
  Walk() { use_profile("single"); }

  /// @param never_done   opcodes that cannot answer 0 on this phone
  /// @param is_backwards last command first: some change what others only read
  void walk(const std::set<int32_t>& never_done = {}, bool is_backwards = false) {
    vp::observe_log({});
    State before = state();
    for (int32_t opcode = -2; opcode <= 5000; ++opcode) {
      static const std::vector<Payload> same = payloads(0);
      if (fcx::find_command(opcode) != nullptr) continue;
      for (const Payload& payload : same) EXPECT_THAT(send_exactly(opcode, payload), IsUntouched());
    }
    EXPECT_THAT(changes(before, state()), IsEmpty()) << "by an opcode that is unknown";
    std::vector<fcx::Command> rows(fcx::command_table().begin(), fcx::command_table().end());
    if (is_backwards) std::reverse(rows.begin(), rows.end());
    for (const fcx::Command& row : rows) {
      for (const Payload& payload : payloads(static_cast<uint32_t>(row.opcode))) {
        SCOPED_TRACE(testing::Message() << row.opcode << " " << payload.second << " bytes, "
                                        << testing::PrintToString(payload.first.substr(0, 20)));
        const qvcmd_response response = send_exactly(row.opcode, payload);
        fcx::wait_for_background_work();
        check_response(row, response);
        EXPECT_FALSE(response.result == QVCMD_OK && never_done.count(row.opcode) != 0);
        const State old = std::exchange(before, state());
        const State changed = changes(old, before);
        check_changes(row, response.result, changed);
        // The same text for the second time, of which only the length is another.
        if (payload.second < 0 || payload.second > 2048) {
          EXPECT_THAT(changed,
                      testing::Not(testing::Contains(testing::Key(testing::StartsWith("item")))));
        }
      }
    }
  }

 private:
  static qvcmd_response send_exactly(int32_t opcode, const Payload& payload) {
    const auto& [data, data_len] = payload;
    std::vector<char> memory(offsetof(qvcmd_request, data) + data.size());
    auto* request = reinterpret_cast<qvcmd_request*>(memory.data());
    request->opcode = opcode;
    request->data_len = data_len;
    data.copy(request->data, data.size());
    std::array<qvcmd_response, 2> responses;
    memset(&responses, static_cast<char>(kUntouched), sizeof responses);
    EXPECT_EQ(0, service_handler(request, responses.data()));
    EXPECT_EQ(data, std::string_view(request->data, data.size())) << "the request is only read";
    EXPECT_THAT(responses.back(), IsUntouched()) << "what follows the response";
    return responses.front();
  }

  static void check_response(const fcx::Command& row, const qvcmd_response& response) {
    std::set<int32_t> results = {QVCMD_OK, QVCMD_FAIL};
    for (const auto& [opcodes, others] : kResults) {
      if (opcodes.count(row.opcode) != 0) results = others;
    }
    EXPECT_EQ(1U, results.count(response.result)) << "result " << response.result;
    EXPECT_THAT(response.reserved, testing::AnyOf(0, kUntouched));
    if (response.data_len == kUntouched) return;
    const int32_t length = std::clamp(response.data_len, 0, 2048);
    EXPECT_EQ(length, response.data_len);
    EXPECT_TRUE(length < 2 || length == 2048 || response.data[length] == '\0') << "a text's end";
  }

  static void check_changes(const fcx::Command& row, int32_t result, const State& changed) {
    std::string allowed = row.prepares_pool ? "event rpc_threadpool" : "";
    for (const auto& [opcodes, when_done, when_failed] : kEffects) {
      if (opcodes.count(row.opcode) == 0) continue;
      allowed += "|" + (result == QVCMD_OK || result == kUntouched ? when_done : when_failed);
    }
    EXPECT_EQ(row.prepares_pool, changed.count("event rpc_threadpool") != 0) << "not remembered";
    for (const auto& [what, value] : changed) {
      EXPECT_THAT(what, testing::MatchesRegex(allowed)) << "with result " << result;
    }
  }

  State state() {
    State all;
    for (const auto& [number, bytes] : vp::written_items(phone())) {
      const fcx::FactoryItem* row = fcx::find_factory_item(number);
      const bool fits = row != nullptr && bytes.size() <= row->length;
      all[(fits ? "item " : "overrun item ") + std::to_string(number)] = bytes;
    }
    for (const std::string tree : {"root", "overlay", "efs"}) {
      for (const auto& entry : fs::recursive_directory_iterator(directory() / tree)) {
        const fs::file_status status = entry.symlink_status();
        std::string& file = all[entry.path().string().substr(directory().string().size() + 1)];
        file = std::to_string(static_cast<int>(status.type())) + " " +
               std::to_string(static_cast<int>(status.permissions()));
        // The items' partition is 8 MiB of nothing.
        if (entry.is_regular_file() && entry.file_size() < 1 << 20) file += read_file(entry.path());
      }
    }
    const std::lock_guard lock(phone().mutex());
    vp::Query table = phone().fleeting().query(kTables);
    while (table.step()) all[table.text(0)] = table.text(1);
    return all;
  }
};

TEST_F(Walk, OnAHealthyPhone) {
  walk();
  EXPECT_THAT(read_file(file("/mnt/vendor/persist-qv/agree_factory")), SizeIs(2048));
}

TEST_F(Walk, WithADeadModem) {
  for (const char* service : {"dmi", "diag", "atservice"}) service_fault(service, Effect::dies);
  walk({4007, 4011, 4019, 4021, 4030, 4031, 4032, 4033, 4034, 4040, 4063, 4064,
        4068, 4069, 4293, 4294, 4401, 4413, 4414, 4415, 4420, 4421, 4422},
       true);
}

TEST_F(Walk, WithADeadItemStore) {
  phone().items_open = false;
  walk({3170, 3201, 4002, 4004, 4010, 4015, 4016, 4017, 4018, 4024, 4025,
        4060, 4065, 4066, 4180, 4215, 4240, 4241, 4296, 4297, 4298, 4404,
        4405, 4406, 4407, 4408, 4409, 4410, 4411, 4412, 4416, 4417});
}

TEST_F(Walk, WithoutServices) {
  use_profile("overlay");
  for (const char* service : {"atservice", "filehandle", "reboot", "wakelock"}) {
    service_fault(service, Effect::absent);
  }
  walk({4021, 4030, 4031, 4032, 4033, 4034, 4063, 4420, 4421, 4422});
}

TEST_F(Walk, WithoutThreads) {
  for (const auto& row : vp::kEnumNames<fcx::LibraryThread>) {
    fault(Part::thread, row.name, Effect::fail, EAGAIN);
  }
  walk({4007});
}

}  // namespace
}  // namespace fcx_test
