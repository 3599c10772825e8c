// logs: collecting the phone's logs, and what is kept of crashes and of the touch self-test.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>

#include "daemon/log_collection.h"
#include "tools/commands.h"
#include "tools/extract.h"
#include "tools/json.h"
#include "tools/progress.h"
#include "tools/table.h"
#include "tools/text.h"
#include "tools/words.h"

namespace cli {
namespace {

namespace fs = std::filesystem;
namespace vp = virtual_phone;
using factory_daemon::Collection;
using factory_daemon::CrashReports;
using factory_daemon::Lines;
using factory_daemon::LogArchive;
using factory_daemon::LogFile;
using factory_daemon::LogFolder;
using factory_daemon::LogTarget;

constexpr std::pair<const char*, LogTarget> kTargets[] = {
    {"internal", LogTarget::internal}, {"nvdump", LogTarget::nvdump}, {"card", LogTarget::card}};

LogTarget target_named(const std::string& word) {
  std::vector<std::string> names;
  for (const auto& [name, target] : kTargets) {
    if (name == word) return target;
    names.emplace_back(name);
  }
  throw unknown_name("target of logs", word, names, "fcx logs collect --help");
}

/// Says what the library gives as reasons, or what is to be said without any, and with which status
/// the tool ends then.
void fail(Invocation& invocation, const std::vector<std::string>& reasons,
          const std::vector<std::string>& otherwise) {
  for (const std::string& reason : reasons) invocation.complain("Fcx: " + shown(reason));
  if (reasons.empty()) {
    for (const std::string& line : otherwise) invocation.complain("fcx: " + line);
  }
  invocation.exit_status = kCommandFailed;
}

/// The same of a function of the library.
void fail_in(const std::string& function, Invocation& invocation, const Lines& lines) {
  fail(invocation, lines.reasons(), {function + " has failed and logged nothing"});
}

/// What went wrong with one of the files does not end a collection.
void tell_errors(Invocation& invocation, const Lines& lines) {
  for (const std::string& error : lines.errors) invocation.complain("Fcx: " + shown(error));
}

/// Where a device path lies on this machine.
std::string here(const vp::Phone& phone, const std::string& device_path) {
  return phone.root() + device_path;
}

Json files_json(const std::vector<LogFile>& files) {
  Json list = Json::array();
  for (const LogFile& file : files)
    list.push_back({{"name", shown(file.name)}, {"bytes", file.size}});
  return list;
}

Json folder_json(const vp::Phone& phone, const LogFolder& folder) {
  return {{"path", folder.path},
          {"here", here(phone, folder.path)},
          {"files", files_json(folder.files)}};
}

Json archive_json(const vp::Phone& phone, const std::optional<LogArchive>& archive) {
  if (!archive.has_value()) return nullptr;
  return {{"path", archive->path},
          {"here", here(phone, archive->path)},
          {"bytes", archive->size},
          {"is_whole", archive->is_whole},
          {"entries", files_json(archive->entries)}};
}

void print_files(const std::vector<LogFile>& files) {
  if (files.empty()) {
    puts("  no files");
    return;
  }
  TextTable table({"  FILE", "BYTES"});
  for (const LogFile& file : files) table.add({"  " + shown(file.name), std::to_string(file.size)});
  table.print();
}

void print_folder(const vp::Phone& phone, const LogFolder& folder) {
  printf("\n%s\n  here: %s\n", folder.path.c_str(), here(phone, folder.path).c_str());
  print_files(folder.files);
}

void print_archive(const vp::Phone& phone, const std::optional<LogArchive>& archive) {
  if (!archive.has_value()) return;
  printf("\n%s\n  here: %s\n", archive->path.c_str(), here(phone, archive->path).c_str());
  if (!archive->is_whole) {
    printf("  %ju bytes, not completed: the next collection makes it anew\n",
           static_cast<uintmax_t>(archive->size));
    return;
  }
  printf("  %ju bytes, with\n", static_cast<uintmax_t>(archive->size));
  print_files(archive->entries);
}

/// Collects, and says meanwhile how far it is.
Collection collect(vp::Phone& phone, LogTarget target) {
  constexpr size_t kLongest = 60;
  std::mutex mutex;
  std::string step = "collecting";
  const Progress progress([&] {
    const std::lock_guard lock(mutex);
    std::error_code none;
    const uintmax_t size = fs::file_size(here(phone, factory_daemon::kLogArchive), none);
    return step + (none ? "" : ", archive " + std::to_string(size >> 10) + " KiB");
  });
  return factory_daemon::collect_logs(phone, target, [&](const std::string& line) {
    const std::lock_guard lock(mutex);
    step = shown(line).substr(0, kLongest);
  });
}

void run_collect(Invocation& invocation, const std::string& to) {
  const LogTarget target = target_named(to);
  vp::Phone& phone = invocation.open_phone();
  const Collection collection = collect(phone, target);
  collection.result == 0 ? tell_errors(invocation, collection.lines)
                         : fail_in("logsave", invocation, collection.lines);
  const bool has_folder = !collection.folder.path.empty();
  if (invocation.json) {
    return print({{"to", to},
                  {"result", collection.result},
                  {"folder", has_folder ? folder_json(phone, collection.folder) : Json()},
                  {"archive", archive_json(phone, collection.archive)},
                  {"complaints", invocation.complaints}});
  }
  printf("result  %d\n", collection.result);
  if (has_folder) print_folder(phone, collection.folder);
  print_archive(phone, collection.archive);
}

void run_list(const Invocation& invocation) {
  const vp::Phone& phone = invocation.open_phone();
  const auto folders = factory_daemon::collected_logs(phone);
  const auto archive = factory_daemon::log_archive(phone);
  if (invocation.json) {
    Json list = Json::array();
    for (const LogFolder& folder : folders) list.push_back(folder_json(phone, folder));
    return print({{"folders", list}, {"archive", archive_json(phone, archive)}});
  }
  if (folders.empty()) puts("no logs are collected");
  for (const LogFolder& folder : folders) print_folder(phone, folder);
  print_archive(phone, archive);
}

void run_erase(Invocation& invocation) {
  const auto erasure = factory_daemon::erase_logs(invocation.open_phone());
  const bool is_erased = erasure.is_done && erasure.left.empty();
  if (is_erased) {
    tell_errors(invocation, erasure.lines);
  } else if (!erasure.is_done) {
    fail_in("logsave_erase", invocation, erasure.lines);
  } else {
    std::vector<std::string> left;
    for (const std::string& path : erasure.left) left.push_back(path + " is left");
    fail(invocation, erasure.lines.errors, left);
  }
  if (invocation.json) {
    return print(
        {{"erased", is_erased}, {"left", erasure.left}, {"complaints", invocation.complaints}});
  }
  if (is_erased) puts("erased");
  for (const std::string& path : erasure.left) printf("left    %s\n", path.c_str());
}

void run_crash(Invocation& invocation, bool erase) {
  const vp::Phone& phone = invocation.open_phone();
  if (erase) {
    Lines lines;
    const bool is_erased = factory_daemon::erase_crash_reports(phone, lines);
    if (!is_erased) fail_in("erase_crash_count", invocation, lines);
    if (invocation.json) {
      return print({{"erased", is_erased}, {"complaints", invocation.complaints}});
    }
    if (is_erased) puts("the count is 0");
    return;
  }
  const CrashReports reports = factory_daemon::save_crash_reports(phone);
  reports.result == 0 ? tell_errors(invocation, reports.lines)
                      : fail_in(reports.function, invocation, reports.lines);
  if (invocation.json) {
    Json files = Json::array();
    for (const std::string& file : reports.files) {
      files.push_back({{"path", file}, {"here", here(phone, file)}});
    }
    Json summaries = Json::array();
    for (const std::string& summary : reports.summaries) summaries.push_back(shown(summary));
    return print({{"result", reports.result},
                  {"count", reports.count.empty() ? Json() : Json(reports.count)},
                  {"summaries", summaries},
                  {"files", files},
                  {"complaints", invocation.complaints}});
  }
  printf("result   %d\n", reports.result);
  if (!reports.count.empty()) printf("count    %s\n", reports.count.c_str());
  for (const std::string& summary : reports.summaries)
    printf("summary  %s\n", shown(summary).c_str());
  for (const std::string& file : reports.files) printf("text     %s\n", here(phone, file).c_str());
}

void run_touch(Invocation& invocation) {
  // The library reads the product identifier for the first piece.
  const auto touch = factory_daemon::take_touch_result(invocation.open_phone());
  if (touch.result != 0) {
    fail_in("logsave_aat_touch", invocation, touch.lines);
  } else if (!touch.is_complete) {
    fail(invocation, touch.lines.errors, {"the transfer is not complete"});
  } else {
    tell_errors(invocation, touch.lines);
  }
  if (invocation.json) {
    Json pieces = Json::array();
    for (const std::string& piece : touch.pieces) pieces.push_back(shown(piece));
    return print({{"result", touch.result},
                  {"complete", touch.is_complete},
                  {"pieces", pieces},
                  {"complaints", invocation.complaints}});
  }
  for (const std::string& piece : touch.pieces) {
    printf("piece of %zu characters: %s\n", piece.size(), shown(piece).c_str());
  }
  puts(touch.is_complete ? "that is all" : "the transfer is not complete");
}

/// What an archive's name gives in the current directory.
fs::path directory_for(const fs::path& archive) {
  const fs::path name = archive.filename().stem();
  if (name.empty() || name == archive.filename()) {
    throw UsageError("give a directory: \"" + archive.string() + "\" does not suggest one");
  }
  return name;
}

std::vector<LogFile> files_below(const fs::path& directory) {
  std::vector<LogFile> files;
  for (const auto& entry : fs::recursive_directory_iterator(directory)) {
    if (entry.is_directory()) continue;
    files.push_back({entry.path().lexically_relative(directory).string(), entry.file_size()});
  }
  std::sort(files.begin(), files.end(),
            [](const LogFile& a, const LogFile& b) { return a.name < b.name; });
  return files;
}

void run_extract(Invocation& invocation, const Extraction& wanted) {
  const auto failed = extract(wanted);
  if (failed.has_value()) {
    failed->is_opened
        ? fail_in("FolderFromZip", invocation, failed->lines)
        : fail(invocation, {}, {wanted.archive.string() + " has no entries, or is no zip archive"});
    if (failed->is_locked) invocation.complain("fcx: minizip as Debian builds it does not decrypt");
  }
  const auto files = failed.has_value() ? std::vector<LogFile>() : files_below(wanted.directory);
  if (invocation.json) {
    return print({{"archive", wanted.archive.string()},
                  {"directory", failed.has_value() ? Json() : Json(wanted.directory.string())},
                  {"extracted", !failed.has_value()},
                  {"files", files_json(files)},
                  {"complaints", invocation.complaints}});
  }
  if (failed.has_value()) return;
  printf("%s\n", wanted.directory.c_str());
  print_files(files);
}

void add_collect(Verb& group, Invocation& invocation) {
  auto to = std::make_shared<std::string>("internal");
  Choices targets;
  for (const auto& [name, target] : kTargets) targets.push_back({name, ""});
  add_command(
      group, "collect", "Let the library collect the logs, and tell what it has collected",
      "  fcx logs collect                into a dated folder, and all of those into an archive\n"
      "  fcx logs collect --to card      into a dated folder on the SD card, no archive\n"
      "  fcx logs collect --to nvdump    NV dumps only\n"
      "\n"
      "Files that cannot be read are left out. The exit status is 3 when the library returns 1,\n"
      "as it does without a card.",
      [&invocation, to] { run_collect(invocation, *to); })
      .add_option("--to", *to, "internal (when not given), nvdump or card")
      .type_name("TARGET")
      .completes(targets);
}

void add_crash(Verb& group, Invocation& invocation) {
  auto erase = std::make_shared<bool>(false);
  add_command(group, "crash", "Have the crash reports copied to files, and tell their summaries",
              "  fcx logs crash             how many there are, and what five of them say\n"
              "  fcx logs crash --erase     the count is 0 from now on",
              [&invocation, erase] { run_crash(invocation, *erase); })
      .add_flag("--erase", *erase, "Set the count to 0");
}

void add_extract(Verb& group, Invocation& invocation) {
  struct Options {
    std::string archive;
    std::optional<std::string> directory;
    bool is_flat = false;
    std::optional<std::string> password;
  };
  auto options = std::make_shared<Options>();
  Verb& command = add_command(
      group, "extract", "Unpack a zip file of this machine as the library does",
      "  fcx logs extract logsave.zip            into the new directory logsave\n"
      "  fcx logs extract logsave.zip out        into out, which is new or empty\n"
      "  fcx logs extract a.zip out --flat --password secret\n"
      "\n"
      "No phone is needed. Names that would lead out of the directory, and archives that are\n"
      "damaged, are refused: the exit status is 3 then, and nothing is left behind. minizip as\n"
      "Debian builds it does not decrypt, whatever the password.",
      [&invocation, options] {
        run_extract(invocation, {options->archive,
                                 options->directory ? fs::path(*options->directory)
                                                    : directory_for(options->archive),
                                 options->is_flat, options->password});
      });
  command.add_option("zip", options->archive, "The archive")
      .required()
      .type_name("ZIP")
      .completes(Names::file);
  command.add_option("dir", options->directory, "A new directory, or an empty one")
      .type_name("DIR")
      .completes(Names::directory);
  command.add_flag("--flat", options->is_flat, "Leave the archive's folders out");
  command
      .add_option("--password", options->password,
                  "Of encrypted entries, where minizip can decrypt")
      .type_name("TEXT");
}

}  // namespace

void add_logs(Verb& tool, Invocation& invocation) {
  Verb& group = add_command(
      tool, "logs", "Collect the phone's logs, look at them, unpack and erase them",
      "  fcx logs collect            into a dated folder and an archive\n"
      "  fcx logs list               what is collected\n"
      "  fcx logs extract FILE.zip   unpack an archive\n"
      "  fcx logs erase              what was collected, and the dumps that it came from\n"
      "  fcx logs crash              what crash reports there are\n"
      "  fcx logs touch              the result of the touch self-test, piece by piece",
      {});
  group.require_subcommand(1);
  add_collect(group, invocation);
  add_command(group, "list", "List what is collected: folders, the archive, and their files",
              "  fcx logs list\n  fcx logs list --json", [&invocation] { run_list(invocation); });
  add_command(group, "erase", "Let the library erase all logs, collected or not",
              "  fcx logs erase\n"
              "\n"
              "The system side erases its own, too. The exit status is 3 when something is left.",
              [&invocation] { run_erase(invocation); });
  add_extract(group, invocation);
  add_crash(group, invocation);
  add_command(
      group, "touch", "Take the result of the touch self-test, piece by piece",
      "  fcx logs touch\n"
      "\n"
      "A transfer that has broken off goes on where it did; \"that is all\" ends a whole one.",
      [&invocation] { run_touch(invocation); });
}

}  // namespace cli
