// version: what the phone says it is, and why.
#include <cstdio>

#include "daemon/versions.h"
#include "tools/commands.h"
#include "tools/json.h"
#include "tools/table.h"
#include "tools/text.h"

namespace cli {
namespace {

using factory_daemon::ReportedVersion;
using factory_daemon::VersionPiece;

Json version_json(const ReportedVersion& version) {
  Json object = {{"name", version.name},
                 {"title", version.title},
                 {"value", version.value ? Json(shown(*version.value)) : Json()},
                 {"reason", version.reason.empty() ? Json() : Json(shown(version.reason))},
                 {"pieces", Json::array()},
                 {"stored", Json()}};
  for (const VersionPiece& piece : version.pieces) {
    object["pieces"].push_back({{"name", piece.name},
                                {"value", shown(piece.value)},
                                {"source", piece.source},
                                {"where", piece.where}});
  }
  if (version.stored.has_value()) {
    object["stored"] = {{"item", version.stored->item}, {"value", shown(version.stored->value)}};
  }
  return object;
}

/// Whether the item that should hold a version does.
std::string stored_text(const ReportedVersion& version) {
  const std::string item = "factory item " + std::to_string(version.stored->item);
  if (version.stored->value.empty()) return item + " is empty";
  if (version.stored->value == version.value) return item + " has it";
  return item + " has another: " + shown(version.stored->value);
}

void print_version(const ReportedVersion& version) {
  printf("%s: %s\n", version.title,
         version.value ? shown(*version.value).c_str() : "(there is none)");
  if (!version.reason.empty()) printf("  %s\n", shown(version.reason).c_str());
  if (version.stored.has_value()) printf("  %s\n", stored_text(version).c_str());
  if (version.pieces.empty()) return;
  if (const VersionPiece& only = version.pieces.front(); version.pieces.size() == 1) {
    printf("  from %s %s\n", only.source, only.where.c_str());
    return;
  }
  TextTable table({"  PIECE", "VALUE", "FROM", "WHERE"});
  for (const VersionPiece& piece : version.pieces) {
    table.add({std::string("  ") + piece.name, shown(piece.value), piece.source, piece.where});
  }
  table.print();
}

}  // namespace

void add_version(Verb& tool, Invocation& invocation) {
  add_command(
      tool, "version", "Every version of the phone, and where each piece of it is from",
      "  fcx version           the software's two, the fixed areas', the hardware's and so on\n"
      "  fcx version --json\n"
      "\n"
      "Nothing is stored: `fcx send 4011` reads the software's version and stores it, as a start\n"
      "does. A piece has the first of its sources that says something: a property file of the\n"
      "package, the network code, the mapping of groups, the property of the build.",
      [&invocation] {
        const auto versions = factory_daemon::read_versions(invocation.open_phone());
        if (invocation.json) {
          Json list = Json::array();
          for (const auto& version : versions) list.push_back(version_json(version));
          return print({{"versions", list}});
        }
        bool is_first = true;
        for (const auto& version : versions) {
          if (!std::exchange(is_first, false)) puts("");
          print_version(version);
        }
      });
}

}  // namespace cli
