#include "daemon/log_collection.h"

#include <android/log.h>
#include <minizip/unzip.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>

#include "daemon/turn.h"
#include "fcx/device_functions.h"
#include "fcx/log_collection.h"
#include "virtual_phone/core/log_buffer.h"
#include "virtual_phone/core/own_directory.h"

namespace factory_daemon {
namespace {

namespace fs = std::filesystem;
namespace vp = virtual_phone;

constexpr char kNvDumpTarget[] = "/data/vendor/factory/logsave/nvdump/";
constexpr char kCrashFolder[] = "/data/logger/crash_info/";
constexpr char kTouchOffset[] = "/data/auto_touch_offset";
constexpr size_t kTextSize = 2048;

/// The rest of the last line that begins with `start`, or nothing.
std::optional<std::string> rest_of(const Lines& lines, std::string_view start) {
  for (auto line = lines.all.rbegin(); line != lines.all.rend(); ++line) {
    if (line->compare(0, start.size(), start) == 0) return line->substr(start.size());
  }
  return std::nullopt;
}

fs::path place_of(const vp::Phone& phone, const std::string& device_path) {
  return phone.root() + device_path;
}

bool is_there(const vp::Phone& phone, const std::string& device_path) {
  return fs::exists(fs::symlink_status(place_of(phone, device_path)));
}

/// The regular files below a folder; none where it is not the phone's own.
LogFolder folder_at(const vp::Phone& phone, const std::string& device_path) {
  LogFolder folder{device_path, {}};
  const auto directory = vp::own_directory(phone, device_path);
  if (!directory.has_value()) return folder;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(*directory)) {
    if (entry.symlink_status().type() != fs::file_type::regular) continue;
    folder.files.push_back(
        {entry.path().lexically_relative(*directory).string(), entry.file_size()});
  }
  std::sort(folder.files.begin(), folder.files.end(),
            [](const LogFile& a, const LogFile& b) { return a.name < b.name; });
  return folder;
}

/// Calls `look`, whose file system errors are the phone's.
template <typename Look>
auto looked_at(Look look) {
  try {
    return look();
  } catch (const fs::filesystem_error& error) {
    throw vp::Error(error.path1().string() + ": " + error.code().message());
  }
}

/// The folders in a folder, by name.
void append_folders(const vp::Phone& phone, const std::string& device_path,
                    std::vector<LogFolder>& folders) {
  const auto directory = vp::own_directory(phone, device_path);
  if (!directory.has_value()) return;
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(*directory)) {
    if (entry.symlink_status().type() != fs::file_type::directory) continue;
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  for (const std::string& name : names)
    folders.push_back(folder_at(phone, device_path + name + "/"));
}

/// One of five.
std::string crash_file(int number) {
  return kCrashFolder + ("crash_log" + std::to_string(number)) + ".txt";
}

/// Where the card's folders are; nothing without one.
std::optional<std::string> card_root() {
  std::array<char, kTextSize> path{};
  if (get_external_logsave_path(path.data()) != 0) return std::nullopt;
  return path.data();
}

struct CloseUnzip {
  void operator()(unzFile file) const {
    // Nothing was written.
    static_cast<void>(unzClose(file));
  }
};

/// @return whether the archive has told all of its entries
bool read_entries(const fs::path& file, std::vector<LogFile>& entries) {
  const std::unique_ptr<void, CloseUnzip> archive(unzOpen64(file.c_str()));
  unz_global_info64 global{};
  if (archive == nullptr || unzGetGlobalInfo64(archive.get(), &global) != UNZ_OK) return false;
  // Where there is no entry there is no first one, either.
  int found = global.number_entry == 0 ? UNZ_END_OF_LIST_OF_FILE : unzGoToFirstFile(archive.get());
  for (; found == UNZ_OK; found = unzGoToNextFile(archive.get())) {
    std::array<char, 65536> name{};
    unz_file_info64 info{};
    found = unzGetCurrentFileInfo64(archive.get(), &info, name.data(), name.size() - 1, nullptr, 0,
                                    nullptr, 0);
    if (found != UNZ_OK) return false;
    entries.push_back({name.data(), info.uncompressed_size});
  }
  return found == UNZ_END_OF_LIST_OF_FILE;
}

/// The summaries that the library has joined.
std::vector<std::string> summaries_of(std::string_view joined) {
  std::vector<std::string> summaries;
  while (!joined.empty()) {
    const size_t end = std::min(joined.find(';'), joined.size());
    summaries.emplace_back(joined.substr(0, end));
    joined.remove_prefix(std::min(end + 1, joined.size()));
  }
  return summaries;
}

}  // namespace

Listener::Listener(Lines& lines, const std::function<void(const std::string&)>& heard) {
  vp::observe_log([&lines, heard](const vp::LogEntry& entry) {
    std::string line = entry.message;
    line.erase(line.find_last_not_of('\n') + 1);
    if (heard) heard(line);
    if (entry.priority >= ANDROID_LOG_WARN) lines.errors.push_back(line);
    lines.all.push_back(std::move(line));
  });
}

Listener::~Listener() { vp::observe_log({}); }

std::vector<std::string> Lines::reasons() const {
  if (!errors.empty() || all.empty()) return errors;
  return {all.back()};
}

Collection collect_logs(vp::Phone& phone, LogTarget target,
                        const std::function<void(const std::string& line)>& heard) {
  Collection collection{1, {}, {}, {}};
  std::optional<Turn> turn;  // until all is looked at
  std::string path = target == LogTarget::internal ? kLogRoot : kNvDumpTarget;
  {
    const Listener listener(collection.lines, heard);
    if (target == LogTarget::card) path = card_root().value_or("");
    if (path.empty()) return collection;
    turn.emplace(phone, std::initializer_list<std::string>{path, kLogArchive});
    collection.result = logsave(path.c_str());
  }
  const auto date = rest_of(collection.lines, "saving date : ");
  if (!date.has_value()) return collection;
  std::string folder = path;
  if (target != LogTarget::nvdump) folder += (path.back() == '/' ? "" : "/") + *date + "/";
  // A collection of the same second may have made that folder before.
  const bool is_begun =
      target != LogTarget::internal || rest_of(collection.lines, "logsave: dir=").has_value();
  looked_at([&] {
    const bool is_there = is_begun && vp::own_directory(phone, folder).has_value();
    if (is_there) collection.folder = folder_at(phone, folder);
  });
  // After a failure it is an older one.
  const bool is_packed = target == LogTarget::internal && collection.result == 0;
  if (is_packed) collection.archive = log_archive(phone);
  return collection;
}

std::vector<LogFolder> collected_logs(const vp::Phone& phone) {
  return looked_at([&] {
    std::vector<LogFolder> folders;
    append_folders(phone, kLogRoot, folders);
    // Without a card the library would log that there is none.
    const auto card = mmc_emt(nullptr) == 0 ? card_root() : std::nullopt;
    if (card.has_value()) append_folders(phone, *card + "/", folders);
    return folders;
  });
}

std::optional<LogArchive> log_archive(const vp::Phone& phone) {
  return looked_at([&]() -> std::optional<LogArchive> {
    const fs::path file = place_of(phone, kLogArchive);
    if (fs::symlink_status(file).type() != fs::file_type::regular) return std::nullopt;
    LogArchive archive{kLogArchive, fs::file_size(file), false, {}};
    archive.is_whole = read_entries(file, archive.entries);
    return archive;
  });
}

Erasure erase_logs(vp::Phone& phone) {
  Erasure erasure{{}, false, {}};
  {
    const Turn turn(phone, {DBDUMP_DIR, NVDUMP_DIR, kLogRoot});
    const Listener listener(erasure.lines);
    logsave_erase();
  }
  erasure.is_done = rest_of(erasure.lines, "delete ").has_value();
  for (const char* path : {DBDUMP_DIR, NVDUMP_DIR, kLogRoot, kLogArchive}) {
    std::string place = path;
    if (place.back() == '/') place.pop_back();
    if (is_there(phone, place)) erasure.left.push_back(path);
  }
  return erasure;
}

CrashReports save_crash_reports(const vp::Phone& phone) {
  constexpr int kMost = 5;
  CrashReports reports{0, "get_crash_count", {}, "", {}, {}};
  const Turn turn(phone,
                  {crash_file(0), crash_file(1), crash_file(2), crash_file(3), crash_file(4)});
  const Listener listener(reports.lines);
  std::array<char, kTextSize> text{};
  int length = 0;
  reports.result = get_crash_count(text.data(), &length);
  if (reports.result != 0) return reports;
  reports.count = text.data();
  const int count = atoi(text.data());
  text = {};
  reports.function = "crash_log_save";
  reports.result = crash_log_save(text.data(), &length, count);
  if (reports.result != 0) return reports;
  reports.summaries = summaries_of(text.data());
  for (int i = 0; i < std::min(count, kMost); ++i) {
    const std::string file = crash_file(i);
    if (is_there(phone, file)) reports.files.push_back(file);
  }
  return reports;
}

bool erase_crash_reports(const vp::Phone& phone, Lines& lines) {
  const Turn turn(phone);
  const Listener listener(lines);
  return erase_crash_count() == 0;
}

TouchResult take_touch_result(const vp::Phone& phone) {
  TouchResult touch{0, {}, {}, false};
  const Turn turn(phone, {kTouchOffset});
  const Listener listener(touch.lines);
  while (!touch.is_complete) {
    std::array<char, kTextSize> text{};
    touch.result = logsave_aat_touch(text.data());
    if (touch.result != 0) return touch;
    touch.pieces.emplace_back(text.data());
    touch.is_complete = check_transfer_status(text.data()) == 0;
    // A piece without a word is the last one, whatever is said of the rest.
    if (touch.pieces.back().empty()) return touch;
  }
  return touch;
}

}  // namespace factory_daemon
