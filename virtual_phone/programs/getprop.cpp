// getprop: the phone's system properties.
//
//   getprop                   all of them by name, as [NAME]: [VALUE]
//   getprop NAME [DEFAULT]    the value; DEFAULT, or an empty line, where there is none
//
// Exit status 1: they cannot be read, and standard error says why.
#include <cstdio>
#include <exception>

#include "virtual_phone/core/properties.h"

namespace {

namespace vp = virtual_phone;

void run(int count, char** words) {
  if (count > 2) throw vp::Error("usage: getprop [NAME [DEFAULT]]");
  vp::Phone phone(vp::default_directory());
  if (count == 0) {
    for (const auto& [name, value] : vp::properties(phone)) {
      printf("[%s]: [%s]\n", name.c_str(), value.c_str());
    }
  } else {
    const std::string value = vp::get_property(phone, words[0]).value_or("");
    puts(value.empty() && count == 2 ? words[1] : value.c_str());
  }
  if (fflush(stdout) != 0) throw vp::Error("the output cannot be written");
}

}  // namespace

int main(int argc, char** argv) {
  try {
    run(argc - 1, argv + 1);
    return 0;
  } catch (const std::exception& error) {
    fprintf(stderr, "getprop: %s\n", error.what());
    return 1;
  }
}
