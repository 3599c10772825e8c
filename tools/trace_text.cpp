#include "tools/trace_text.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include "fcx/factory_item_table.h"
#include "modem/link/requests.h"
#include "tools/text.h"
#include "virtual_phone/modem/modem.h"

namespace cli {
namespace {

namespace vp = virtual_phone;
using vp::Access;
using vp::Part;
using vp::PlatformAccess;

/// The number that a target is.
int32_t number_in(const std::string& target) {
  int32_t number = -1;
  std::from_chars(target.data(), target.data() + target.size(), number);
  return number;
}

std::string name_of_target(const PlatformAccess& access) {
  if (access.part == Part::item) {
    const fcx::FactoryItem* item = fcx::find_factory_item(number_in(access.target));
    return item == nullptr ? "" : item->name;
  }
  if (access.part != Part::request) return "";
  const fcx::NamedRequest* request = fcx::find_request(number_in(access.target));
  return request == nullptr ? "" : request->name;
}

/// Whether these bytes, which the access moves, name a handset.
bool is_identity(const PlatformAccess& access, std::string_view bytes) {
  if (access.part == Part::property) return names_sim(access.target);
  const int32_t number = number_in(access.target);
  if (access.part == Part::item) {
    const fcx::FactoryItem* item = fcx::find_factory_item(number);
    return item != nullptr && item->privacy == fcx::Privacy::identity;
  }
  if (access.part != Part::request) return false;
  const fcx::NamedRequest* request = fcx::find_request(number);
  return request != nullptr && request->is_identity && !vp::is_modem_message(number, bytes);
}

std::string quoted(const std::string& text) {
  std::string line = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') line += '\\';
    line += c == '\n' ? "\\n" : c == '\t' ? "\\t" : std::string(1, c);
  }
  return line + "\"";
}

std::string count_of_bytes(int64_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

/// Bytes as they are shown.
struct Shown {
  std::string text;  ///< or hex:...
  bool is_hex = false;
  size_t nuls = 0;  ///< that follow it
  bool is_cut = false;
  bool is_masked = false;
};

Shown shown_of(const PlatformAccess& access, std::string_view bytes, const TraceView& view) {
  constexpr size_t kLongest = 60;
  constexpr size_t kLongestIdentity = 64;  // what is cut off of one still hides the rest
  Shown made;
  std::string hidden;
  const size_t size = bytes.size();
  const std::string_view text = bytes.substr(0, bytes.find_last_not_of('\0') + 1);
  constexpr size_t kFewNuls = 4;  // are the value itself
  if (!text.empty() || size > kFewNuls) {
    made.nuls = size - text.size();
    bytes = text;
  }
  if (!view.full) {
    const std::string_view piece = bytes.substr(0, kLongest + kLongestIdentity);
    const bool is_all = is_identity(access, bytes);
    hidden = is_all ? masked(shown(piece)) : view.identities.hidden_in(piece);
    made.is_masked = hidden != piece;
    const size_t most = is_all ? piece.size() : kLongest;
    made.is_cut = bytes.size() > most;
    bytes = std::string_view(hidden).substr(0, is_all ? hidden.size() : most);
  }
  made.is_hex = !is_printable(bytes);
  made.text = shown(bytes);
  return made;
}

std::string value(const PlatformAccess& access, const std::string& bytes, const TraceView& view) {
  const Shown made = shown_of(access, bytes, view);
  std::string line = made.is_hex ? made.text : quoted(made.text);
  if (made.is_cut)
    line += "... (" + count_of_bytes(static_cast<int64_t>(bytes.size() - made.nuls)) + ")";
  if (made.nuls > 0) line += " +" + std::to_string(made.nuls) + " NUL";
  return line;
}

struct FlagName {
  int flag;
  const char* name;
};

/// What opening is asked for; what every file is opened with is not said.
std::string flags_text(int flags) {
  constexpr FlagName kFlags[] = {{O_CREAT, "O_CREAT"},       {O_EXCL, "O_EXCL"},
                                 {O_TRUNC, "O_TRUNC"},       {O_APPEND, "O_APPEND"},
                                 {O_NOFOLLOW, "O_NOFOLLOW"}, {O_DIRECTORY, "O_DIRECTORY"},
                                 {O_SYNC, "O_SYNC"}};
  const int way = flags & O_ACCMODE;
  std::string text = way == O_RDONLY ? "O_RDONLY" : way == O_WRONLY ? "O_WRONLY" : "O_RDWR";
  for (const FlagName& each : kFlags) {
    if ((flags & each.flag) == each.flag) text += std::string("|") + each.name;
  }
  return text;
}

std::string octal(int64_t mode) {
  std::array<char, 16> text{};
  snprintf(text.data(), text.size(), "%04o", static_cast<unsigned>(mode));
  return text.data();
}

std::string path_shown(const std::string& path, const TraceView& view) {
  return view.full ? path : view.identities.hidden_in(path);
}

/// What is given to an operation on a file, after its path.
std::string file_arguments(const PlatformAccess& access, const TraceView& view) {
  switch (access.access) {
    case Access::open:
      return " " + flags_text(static_cast<int>(access.size));
    case Access::write:
      return " " + value(access, access.given, view);
    case Access::read:
    case Access::mmap:
      return access.size < 0 ? "" : ", " + count_of_bytes(access.size);
    case Access::seek:
      return access.size < 0 ? " to the end" : " to " + std::to_string(access.size);
    case Access::mkdir:
    case Access::chmod:
      return " " + octal(access.size);
    case Access::rename:
      return " to " + path_shown(access.new_target, view);
    default:
      return "";
  }
}

std::string path_text(const PlatformAccess& access, const TraceView& view) {
  const std::string path = path_shown(access.target, view);
  // A temporary file takes its name.
  if (access.access == Access::rename && access.new_target.empty()) return "temporary to " + path;
  return path + file_arguments(access, view);
}

/// What the access is given.
std::string arguments(const PlatformAccess& access, const TraceView& view) {
  const std::string name = name_of_target(access);
  const std::string target = access.target + (name.empty() ? "" : " " + name);
  const std::string given = value(access, access.given, view);
  const bool writes = access.access == Access::write;
  switch (access.part) {
    case Part::file:
      return path_text(access, view);
    case Part::property:
      if (writes) return target + " = " + given;
      return target + (access.given.empty() ? "" : ", else " + given);
    case Part::item:
      return target + ", " + count_of_bytes(access.size) + (writes ? " " + given : "");
    case Part::request:
      return target + " > " + given;
    case Part::clock:
      return access.size % 1000 == 0 ? std::to_string(access.size / 1000) + " ms"
                                     : std::to_string(access.size) + " us";
    default:
      return target + (access.given.empty() ? "" : " " + given);
  }
}

std::string error_text(int64_t error) {
  if (error == 0) return "ok";
  const char* name = strerrorname_np(static_cast<int>(error));
  return name == nullptr ? std::to_string(error) : name;
}

/// What has come of it, which begins with a blank.
std::string outcome(const PlatformAccess& access, const TraceView& view) {
  if (!access.has_ended) return " -> not ended";
  const std::string got = value(access, access.got, view);
  switch (access.part) {
    case Part::file:
      if (access.result == 0 && access.access == Access::stat) return " -> " + access.got;
      // What a directory has is not told.
      if (access.result == 0 && access.access == Access::read &&
          (access.size >= 0 || !access.got.empty())) {
        return " -> " + got;
      }
      return " -> " + error_text(access.result);
    case Part::property:
      if (access.result != 0) return " -> failed";
      return access.access == Access::read ? " -> " + got : " -> ok";
    case Part::item:
      return " -> " + std::to_string(access.result) + (access.got.empty() ? "" : " " + got);
    case Part::request: {
      if (access.result != 0) return " -> " + std::to_string(access.result);
      std::string text = " < " + got + " -> 0";
      if (access.status != 0) text += ", status " + std::to_string(access.status);
      const bool is_true = access.claimed == static_cast<int64_t>(access.got.size());
      return is_true ? text : text + ", claims " + count_of_bytes(access.claimed);
    }
    case Part::thread:
      return " -> " + error_text(access.result);
    case Part::clock:
      return "";
    default:
      return access.result == 0    ? " -> ok"
             : access.result == -1 ? " -> failed"
                                   : " -> " + std::to_string(access.result);
  }
}

std::string padded(std::string_view word, size_t width) {
  std::string text(word);
  text.resize(std::max(width, text.size() + 1), ' ');
  return text;
}

/// Adds bytes to an object: their text, how many there are, and whether all of them are shown.
bool add_bytes(Json& object, const char* key, const PlatformAccess& access,
               const std::string& bytes, const TraceView& view) {
  const Shown made = shown_of(access, bytes, view);
  object[key] = made.text;
  object[std::string(key) + "_size"] = bytes.size();
  return made.is_masked;
}

}  // namespace

TraceWords trace_words(const PlatformAccess& access) {
  if (access.part == Part::clock) return {"sleep", ""};
  if (access.part == Part::request) return {"request", ""};
  return {vp::name_of(access.part), vp::name_of(access.access)};
}

void add_identities(const std::vector<TracedAccess>& accesses, Identities& identities) {
  for (const TracedAccess& traced : accesses) {
    for (const std::string* bytes : {&traced.access.given, &traced.access.got}) {
      if (is_identity(traced.access, *bytes)) identities.add(*bytes);
    }
  }
}

std::string trace_line(const TracedAccess& traced, const TraceView& view) {
  const PlatformAccess& access = traced.access;
  std::string line = traced.thread == 0 ? "" : "[" + std::to_string(traced.thread) + "] ";
  line += std::string(2 * traced.depth, ' ');
  const TraceWords words = trace_words(access);
  line += padded(words.part, 9);
  if (!words.operation.empty()) line += padded(words.operation, 8);
  line += arguments(access, view) + outcome(access, view);
  if (access.struck.has_value()) line += std::string(", struck: ") + vp::name_of(*access.struck);
  return harmless(line);
}

Json trace_json(const TracedAccess& traced, int64_t began_us, const TraceView& view) {
  const PlatformAccess& access = traced.access;
  const TraceWords words = trace_words(access);
  Json object = {{"thread", traced.thread},
                 {"depth", traced.depth},
                 {"time_us", access.time_us - began_us},
                 {"part", words.part},
                 {"operation", words.operation.empty() ? Json() : Json(words.operation)},
                 {"target", path_shown(access.target, view)}};
  const std::string name = name_of_target(access);
  object["name"] = name.empty() ? Json() : Json(name);
  object["new_target"] =
      access.new_target.empty() ? Json() : Json(path_shown(access.new_target, view));
  object["flags"] = access.part == Part::file && access.access == Access::open
                        ? Json(flags_text(static_cast<int>(access.size)))
                        : Json();
  object["size"] = access.size;
  bool is_masked = add_bytes(object, "given", access, access.given, view);
  is_masked = add_bytes(object, "got", access, access.got, view) || is_masked;
  object["ended"] = access.has_ended;
  object["result"] = access.result;
  if (access.part == Part::request) {
    object["status"] = access.status;
    object["claimed"] = access.claimed;
  }
  object["struck"] = access.struck ? Json(vp::name_of(*access.struck)) : Json();
  object["changes"] = access.is_change;
  if (is_masked) object["masked"] = true;
  return object;
}

}  // namespace cli
