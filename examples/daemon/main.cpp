// A factory daemon. It starts as a phone's does, and then carries out the commands that it reads:
// one a line, an opcode and the text that goes with it, as "4018 123456789012345". For each it
// writes a line: the result, and the answer where there is one. Bytes that are no text are written
// as \x and two digits.
//
// On the bench the phone is the one in $FCX_PHONE, which `fcx init` makes. Exit status 0 at the end
// of the input; 1 when no command can be answered, or the answers cannot be written.

#include <fcx/background.h>
#include <fcx/command_table.h>
#include <fcx/factory_items.h>
#include <fcx/identity_items.h>
#include <fcx/service_handler.h>
#include <fcx/single_binary.h>
#include <fcx/system_control.h>
#include <fcx/version.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iostream>
#include <string>
#include <string_view>

namespace {

void complain(const char* what) { fprintf(stderr, "factory_daemon: %s\n", what); }

/// Starts, in this order. What the library could not do is in its log, too. @return whether
/// commands can be answered
bool start() {
  if (init_factory_item() != 0) {
    complain("the factory items cannot be opened");
    return false;
  }
  system_set_env_property();  // what depends on how the phone was started
  imei_check_on_boot();       // the factory items follow the modem
  meid_check_on_boot();
  // The modem's NV items and the factory items follow the software and each other.
  if (nv_factoryitem_sync() != 0) complain("the modem's NV items are not in step");
  system_write_version_info();
  system_write_pid_info();
  is_op_image_support() == 0 ? userdata_tamra_version_update() : system_update_settings_from_cust();
  // Finds the carrier, on a thread of its own. Without one the next start finds it.
  if (sbpCreateThread() == 0) complain("the carrier is not looked for");
  // Goes on with what a restart of the daemon has interrupted.
  if (retry_power_off_with_cable() != 0) complain("the interrupted power-off does not go on");
  return true;
}

/// Carries out one command. They come one at a time: the library does not wait for another.
qvcmd_response answer(int32_t opcode, std::string_view text) {
  qvcmd_request request{opcode, 0, {}};
  qvcmd_response response{};
  // The last byte stays a NUL, which ends the text.
  request.data_len = static_cast<int32_t>(text.copy(request.data, sizeof request.data - 1));
  service_handler(&request, &response);
  return response;
}

void print(const qvcmd_response& response) {
  printf("%d", static_cast<int>(response.result));
  const int32_t length = std::clamp<int32_t>(response.data_len, 0, sizeof response.data);
  if (length > 0) putchar(' ');
  for (const char* byte = response.data; byte != response.data + length; ++byte) {
    const auto value = static_cast<unsigned char>(*byte);
    value<' ' || value> '~' ? printf("\\x%02X", value) : putchar(value);
  }
  putchar('\n');
}

/// Reads one line and writes its answer.
void serve(std::string_view line) {
  int32_t opcode = 0;
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), opcode);
  std::string_view text = line.substr(static_cast<size_t>(end - line.data()));
  if (error != std::errc() || (!text.empty() && text.front() != ' ')) {
    puts("an opcode is expected, as 4018, and a blank before its text");
  } else if (fcx::find_command(opcode) == nullptr) {
    puts("unknown opcode");
  } else if (text.size() > QVCMD_DATA_SIZE) {
    puts("the text is too long");
  } else {
    if (!text.empty()) text.remove_prefix(1);
    print(answer(opcode, text));
  }
}

}  // namespace

int main() {
  fprintf(stderr, "factory_daemon: library %s\n", fcx::library_version());
  if (!start()) return 1;
  int status = 0;
  std::string line;
  while (status == 0 && std::getline(std::cin, line)) {
    serve(line);
    // Who has asked waits for the answer.
    if (fflush(stdout) != 0) status = 1;
  }
  // Reboots, mode switches and the like outlive the command that asked for them, but not the
  // process.
  fcx::wait_for_background_work();
  return status;
}
