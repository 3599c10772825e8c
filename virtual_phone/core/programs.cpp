#include "virtual_phone/core/programs.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>
#include <vector>

#include "platform/device_home.h"
#include "virtual_phone/core/events.h"
#include "virtual_phone/core/platform_call.h"
#include "virtual_phone/faults/accesses.h"
#include "virtual_phone/power/unflushed.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;

/// Where a device's shell looks for programs.
constexpr const char* kSearchPath[] = {"/system/bin/", "/vendor/bin/"};

/// Beside this library, where it was built and where it is installed.
fs::path programs() {
  Dl_info here{};
  if (dladdr(reinterpret_cast<const void*>(&command_below_root), &here) == 0) return {};
  return fs::absolute(here.dli_fname).parent_path() / "fcx_phone_programs";
}

std::vector<std::pair<std::string, std::string>> environment(const Phone& phone) {
  return {{"FCX_PHONE", phone.directory().string()},
          {"FCX_ROOT", phone.root()},
          {"FCX_PROGRAMS", programs().string()},
          {"FCX_EMULATOR", FCX_EMULATOR}};
}

std::string shell_word(std::string_view text) {
  std::string shown = "'";
  for (const char each : text) shown += each == '\'' ? std::string("'\\''") : std::string(1, each);
  return shown + "'";
}

/// Becomes a program; returns when it cannot.
void execute(const Phone& phone, const char* const* arguments) {
  const std::string root = phone.root();
  std::vector<std::string> words(1);
  for (const char* const* each = arguments + 1; *each != nullptr; ++each) {
    words.push_back(**each == '/' ? root + fs::path(*each).lexically_normal().string() : *each);
  }
  std::vector<char*> shown;
  for (std::string& word : words) shown.push_back(word.data());
  shown.push_back(nullptr);
  for (const auto& [name, value] : environment(phone)) {
    if (setenv(name.c_str(), value.c_str(), 1) != 0) return;
  }
  for (const char* directory : kSearchPath) {
    words[0] = root + directory + arguments[0];
    shown[0] = words[0].data();
    execv(shown[0], shown.data());
    if (errno != ENOENT) return;
  }
}

/// The device paths that a command's output goes to.
std::vector<std::string> written_by(std::string_view command) {
  std::vector<std::string> paths;
  for (size_t at = command.find('>'); at != std::string_view::npos; at = command.find('>', at)) {
    at = std::min(command.find_first_not_of("> ", at), command.size());
    const size_t end = std::min(command.find_first_of(" \t\n<>|&;()", at), command.size());
    if (at < end && command[at] == '/') paths.emplace_back(command.substr(at, end - at));
  }
  return paths;
}

/// What the command writes is not flushed.
void keep_flushed_before(Phone& phone, std::string_view command) {
  const FileTurn turn(phone);
  for (const std::string& path : written_by(command)) {
    const std::string place = phone.root() + fs::path(path).lexically_normal().string();
    keep_flushed(phone, {path.c_str(), fcx::FileOperation::open, place.c_str(), -1, O_CREAT});
    keep_flushed(phone, {path.c_str(), fcx::FileOperation::write, place.c_str()});
  }
}

}  // namespace

std::string command_below_root(std::string_view command) {
  std::string below;
  char quote = '\0';
  bool is_escaped = false;
  bool begins_word = true;
  std::string part;         // of a path, between slashes
  size_t last_of_part = 0;  // where its last character is in `below`
  int depth = 0;
  const auto end_part = [&] {
    if (part == ".." && depth-- == 0) {
      below[last_of_part] = '/';  // "." and an empty part: there is nothing above "/"
      depth = 0;
    } else if (!part.empty() && part != "." && part != "..") {
      ++depth;
    }
    part.clear();
  };
  for (const char each : command) {
    const bool is_plain = std::exchange(is_escaped, false);
    const bool ends_word =
        !is_plain && std::string_view(" \t\n=<>|&;()`").find(each) != std::string_view::npos;
    const bool is_quote =
        !is_plain && (quote == '\0' ? each == '\'' || each == '"' : each == quote);
    is_escaped = !is_plain && each == '\\' && quote != '\'';
    if (each == '/' || ends_word) end_part();
    if (each == '/' && begins_word) {
      below.insert(below.size() - (is_plain ? 1 : 0), quote == '\''  ? "'\"$FCX_ROOT\"'"
                                                      : quote == '"' ? "$FCX_ROOT"
                                                                     : "\"$FCX_ROOT\"");
    }
    below += each;
    if (is_quote) {
      quote = quote == '\0' ? each : '\0';
    } else if (ends_word) {
      begins_word = true;
      depth = 0;
    } else if (!is_escaped) {
      begins_word = false;
      if (each != '/') part += each;
      last_of_part = below.size() - 1;
    }
  }
  end_part();
  return below;
}

std::string program_environment(const Phone& phone) {
  std::string assignments;
  for (const auto& [name, value] : environment(phone)) {
    assignments += (assignments.empty() ? "" : " ") + name + "=" + shell_word(value);
  }
  return assignments;
}

}  // namespace virtual_phone

namespace vp = virtual_phone;

namespace fcx {

int platform_shell(const char* command) {
  return vp::platform_call("platform_shell", -1, [&](vp::Phone& phone) {
    vp::Accessing accessing(phone, {vp::Part::service, "shell", vp::Access::call, command});
    vp::keep_flushed_before(phone, command);
    const std::string line = "export " + vp::program_environment(phone) +
                             "; cd \"$FCX_ROOT\" || exit; " + vp::command_below_root(command);
    const int status = system(line.c_str());
    accessing.ends(status);
    accessing.changes();
    return status;
  });
}

void platform_exec(const char* const* arguments) {
  errno = ENOENT;  // without a phone
  vp::platform_call("platform_exec", -1, [&](vp::Phone& phone) {
    vp::execute(phone, arguments);
    return 0;
  });
}

void platform_unmount(const char* device_path) {
  vp::platform_call("platform_unmount", -1, [&](vp::Phone& phone) {
    vp::record_event(phone, "unmount", device_path);
    return 0;
  });
}

int platform_mkdir(const char* path, mode_t mode) { return mkdir(path, mode | S_IRWXU); }

}  // namespace fcx
