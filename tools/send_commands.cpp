// send, demo: factory commands.
#include <cstdio>
#include <map>
#include <memory>

#include "daemon/deliver.h"
#include "tools/action_verbs.h"
#include "tools/boot_report.h"
#include "tools/commands.h"
#include "tools/connect.h"
#include "tools/delivery.h"
#include "tools/json.h"
#include "tools/table.h"
#include "tools/temporary_phone.h"
#include "tools/text.h"
#include "virtual_phone/core/events.h"

namespace cli {
namespace {

namespace vp = virtual_phone;
using factory_daemon::deliver;

/// What a person is told beside the answer; a program finds it in the object.
void print_complaints(const ShownDelivery& delivery) {
  if (!delivery.is_known) {
    fprintf(stderr, "fcx: opcode %d is unknown; the response is as it was passed\n",
            delivery.opcode);
  }
  for (const std::string& line : delivery.complaints) {
    fprintf(stderr, "%s\n", harmless(line).c_str());
  }
  if (delivery.response.result != QVCMD_OK && delivery.complaints.empty()) {
    fprintf(stderr, "fcx: the result is not 0; `fcx log` shows what the library did\n");
  }
}

void print_text(const ShownDelivery& delivery) {
  const std::string& name = delivery.name;
  printf("%d%s%s\n", delivery.opcode, name.empty() ? "" : " ", harmless(name).c_str());
  printf("result    %d\n", delivery.response.result);
  printf("data_len  %d\n", delivery.response.data_len);
  printf("data      %s\n", shown(delivery.data()).c_str());
  for (const ShownDelivery::Event& event : delivery.events) {
    printf("event     %s: %s\n", harmless(event.kind).c_str(), harmless(event.detail).c_str());
  }
}

/// Has a command carried out by the phone, or by the server that was asked for.
ShownDelivery delivered(const Invocation& invocation, const Connect& connect,
                        const factory_daemon::Action& action) {
  if (!connect.is_asked_for()) {
    return shown_delivery(deliver(invocation.open_phone(), action.opcode, action.bytes));
  }
  const auto answer = connect.client(invocation).command({action.opcode, action.bytes}, true);
  return shown_delivery(action.opcode, answer);
}

struct DemoStep {
  const char* question;
  int32_t opcode;
  std::string_view payload;
};

using std::string_view_literals::operator""sv;

// One of each family, reads and writes, and what a refusal looks like.
constexpr DemoStep kDemo[] = {
    {"Who are you? The serial number", 4010, ""},
    {"The CSN", 4018, ""},
    {"Write another CSN", 4018, "123456789012345"},
    {"and read it back", 4018, ""},
    {"The SKU", 4404, ""},
    {"When were you made?", 4016, ""},
    {"The set revision", 4017, ""},
    {"Download mode", 3171, ""},
    {"A download mode that is none", 3170, "fast"},
    {"Select the third IME, as a raw byte", 3201, "\x02"sv},
    {"and read it back", 3200, ""},
    {"Store a mid-auto test result", 4408, "1101"},
    {"and read it back", 4407, ""},
    {"A mid-auto CRC that nobody has stored", 4409, ""},
    {"Is the LDAF calibration done?", 4215, ""},
    {"Is the front camera calibrated?", 4230, "[FRONT_TOF_CHECK]"},
    {"The day of first use", 4295, ""},
    {"How much memory, in MiB?", 4402, ""},
    {"Write an IMEI whose check digit is wrong", 4293, "490154203237517"},
    {"and one whose check digit is right", 4293, "490154203237518"},
    {"and read it back from the modem", 4294, ""},
    {"The second SIM slot's IMEI", 4413, ""},
    {"The MEID", 4400, ""},
    {"Flush the modem's file system", 4020, ""},
    {"The model name, from the system side", 4063, ""},
    {"Which software is that, for this carrier?", 4011, ""},
    {"and as it was built", 4019, ""},
    {"Which hardware?", 4012, ""},
    {"The code's checksum", 4013, ""},
    {"The checksum of the NV items, from the system side", 4059, ""},
    {"What came of the automatic test of the keys?", 4001, "KEY"},
    {"The mode of the test script, as a raw byte", 4005, ""},
    {"Write a Bluetooth address", 4066, "02FC0A123456"},
    {"and one with a digit that is none", 4066, "02FC0A12345G"},
    {"and read it back", 4066, ""},
    {"The WLAN address", 4065, ""},
    {"Is a SIM there?", 4030, ""},
    {"Is there RF calibration data?", 4021, ""},
    {"Note a production reset", 4405, ""},
    {"Restart, which carries it out", 4007, "1"},
    {"Prepare the HIDL thread pool", 4056, ""},
    {"An opcode that does not exist", 4999, ""},
};

/// The commands of kDemo on a fresh phone.
Json demonstrate_commands(bool as_json) {
  const TemporaryPhone temporary("single");
  vp::Phone& phone = temporary.phone();
  Json answers = Json::array();
  TextTable table({"ASKED", "COMMAND", "RESULT", "ANSWER"});
  for (const DemoStep& step : kDemo) {
    const ShownDelivery delivery = shown_delivery(deliver(phone, step.opcode, step.payload));
    const std::string& name = delivery.name;
    const std::string command = std::to_string(step.opcode) + (name.empty() ? "" : " " + name);
    const std::string sent = step.payload.empty() ? "" : " " + shown(step.payload);
    answers.push_back(delivery_json(delivery));
    table.add({step.question, command + sent,
               delivery.is_known ? std::to_string(delivery.response.result) : "unknown",
               shown(delivery.data())});
  }
  if (as_json) return answers;
  puts("Factory commands, answered by the library on a fresh virtual phone (profile single):\n");
  table.print();
  std::map<std::string, int> marks;
  for (const vp::Event& event : vp::events(phone)) ++marks[event.kind + ": " + event.detail];
  puts("\nWhat they left on the phone:\n");
  for (const auto& [mark, times] : marks) {
    printf("%s%s\n", mark.c_str(),
           times > 1 ? (", " + std::to_string(times) + " times").c_str() : "");
  }
  return answers;
}

/// The first start of a fresh phone whose carrier is still to be found.
Json demonstrate_boot(bool as_json) {
  const TemporaryPhone temporary("open");
  const factory_daemon::Boot seen = factory_daemon::boot(temporary.phone());
  if (!as_json) {
    puts("\nThe first start of another one (profile open), which finds its carrier by the SIM:\n");
    print_decision(seen);
  }
  return decision_json(seen);
}

void run_demo(const Invocation& invocation) {
  const Json answers = demonstrate_commands(invocation.json);
  const Json decision = demonstrate_boot(invocation.json);
  if (invocation.json) return print({{"answers", answers}, {"decision", decision}});
  puts("\nThose phones are gone again. To keep one: `fcx init --profile open`, then `fcx boot`,");
  puts("`fcx send 4010`, `fcx --help`.");
}

}  // namespace

void add_send(Verb& tool, Invocation& invocation) {
  auto is_raw = std::make_shared<bool>(false);
  Verb& command = add_command(
      tool, "send", "Send one factory command and print its answer",
      "  fcx send get_serial_number          by name\n"
      "  fcx send 4018 123456789012345       by number, with a text\n"
      "  fcx send set_teal_ime hex:02        with raw bytes; --hex 02 does the same\n"
      "  fcx send 4018 --text hex:02         with a text that begins with hex:\n"
      "  fcx send 4018 -- -X1                with a text that begins with a dash\n"
      "  fcx send 4999 --raw                 an opcode that may be unknown\n"
      "  fcx send 4010 --connect /tmp/phone  to a running server, see `fcx serve`\n"
      "\n"
      "The exit status is 3 when the result is not 0, and for an unknown opcode, which leaves the\n"
      "response as it was; with --raw an unknown opcode is none. What a command leaves on a\n"
      "thread is awaited.",
      {});
  auto connect = takes_connection(command);
  command.callback([&invocation, is_raw, connect, read = takes_command(command)] {
    const ShownDelivery delivery = delivered(invocation, *connect, read());
    if (invocation.json) {
      print(delivery_json(delivery));
    } else {
      print_complaints(delivery);
      print_text(delivery);
    }
    const bool is_known = delivery.is_known || *is_raw;
    invocation.exit_status =
        is_known && delivery.response.result == QVCMD_OK ? kDone : kCommandFailed;
  });
  command.add_flag("--raw", *is_raw, "Exit with 0 for an unknown opcode, too");
}

void add_demo(Verb& tool, Invocation& invocation) {
  add_command(tool, "demo", "Show what the library does, on a fresh phone that is removed again",
              "  fcx demo\n  fcx demo --json    the same as one object",
              [&invocation] { run_demo(invocation); });
}

}  // namespace cli
