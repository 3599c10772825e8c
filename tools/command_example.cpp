#include "tools/command_example.h"

#include "tools/temporary_phone.h"
#include "tools/text.h"

namespace cli {

std::vector<Exchange> run_example(const fcx::Command& row, const std::string& profile) {
  const TemporaryPhone temporary(profile);
  std::vector<Exchange> exchanges;
  const auto send = [&](int32_t opcode, const char* text) {
    const std::string data = bytes_of(text);
    exchanges.push_back({data, factory_daemon::deliver(temporary.phone(), opcode, data)});
  };
  const fcx::Example& example = row.example;
  if (example.first_opcode != 0) send(example.first_opcode, example.first_data);
  for (const char* data : example.data) {
    if (data != nullptr) send(row.opcode, data);
  }
  return exchanges;
}

}  // namespace cli
