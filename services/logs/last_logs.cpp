#include "services/logs/last_logs.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "common/files.h"
#include "common/log.h"
#include "ftm/store.h"
#include "services/logs/last_log.h"
#include "services/logs/log_path.h"

namespace {

using fcx::DeviceFile;
using fcx::Result;

constexpr char kFunction[] = "get_rkf_last_log_if_exist";
constexpr mode_t kFileMode = 0666;

/// Where the records begin in the partition, and how much room each and its text need, in blocks.
constexpr int64_t kRecords[] = {3848, 3600};
constexpr uint64_t kRecordBlocks = 248;
constexpr uint64_t kTextBlocks = 1984;

/// A block size that asks for more than this is wrong.
constexpr uint64_t kMostMemory = 64 << 20;

class Buffer {
 public:
  Buffer(uint64_t blocks, int block_size) {
    const uint64_t wanted = blocks * static_cast<uint64_t>(block_size);
    if (wanted > kMostMemory) return;
    bytes_.reset(new (std::nothrow) char[static_cast<size_t>(wanted)]);
    if (bytes_ != nullptr) size_ = static_cast<size_t>(wanted);
  }
  bool is_there() const { return bytes_ != nullptr; }
  char* data() { return bytes_.get(); }
  size_t size() const { return size_; }

 private:
  std::unique_ptr<char[]> bytes_;
  size_t size_ = 0;
};

/// Reads a record whole. Whether that worked; a failure has been logged.
bool read_record(const fcx::ItemPartition& partition, int64_t block, Buffer& in) {
  DeviceFile file(partition.path, O_RDONLY);
  if (!file.is_open()) {
    DOMAIN_ERROR("Can't open %s\n(%s)\n", partition.path, file.reason());
    return false;
  }
  const Result sought = file.seek(block * partition.block_size);
  if (!sought.ok()) DOMAIN_ERROR("%s: %s: %s\n", kFunction, partition.path, sought.reason());
  bool is_read = false;
  if (sought.ok()) {
    const fcx::ReadResult read = file.read(in.data(), in.size());
    is_read = read.size() == in.size();
    if (!is_read) {
      // Of a partition that ends too early the system has no reason.
      const char* reason = read.has_content() ? strerror(ENODATA) : read.reason();
      DOMAIN_INFO("Failed reading %s\n(%s)\n", partition.path, reason);
    }
  }
  if (const Result closed = file.close(); !closed.ok()) {
    DOMAIN_INFO("Failed closing %s\n(%s)\n", partition.path, closed.reason());
  }
  return is_read;
}

/// Writes a log's file, whole or not at all.
Result write_text(const char* path, std::string_view text) {
  DeviceFile file(path, O_WRONLY | O_CREAT | O_TRUNC, kFileMode);
  if (!file.is_open()) return Result::failed(file.error());
  Result written = file.write(text);
  if (written.ok()) written = file.close();
  // What cannot be removed either is of no use, and in nobody's way.
  if (!written.ok()) static_cast<void>(fcx::remove_device_file(path));
  return written;
}

void save_record(const fcx::ItemPartition& partition, int number, std::string_view folder,
                 Buffer& in, Buffer& out) {
  char name[] = "rkf_last_dmesg_0.txt";
  name[sizeof "rkf_last_dmesg_" - 1] = static_cast<char>('0' + number);
  fcx::LogPath path;
  if (path.append({folder, name}) && read_record(partition, kRecords[number], in)) {
    const size_t size = fcx::inflate_last_log({in.data(), in.size()}, out.data(), out.size());
    if (size > 0 && write_text(path.c_str(), {out.data(), size}).ok()) {
      DOMAIN_INFO("[%s] RKF log copy success(%s)", kFunction, path.c_str());
      return;
    }
  }
  DOMAIN_INFO("[%s] RKF log copy(%d) failed.", kFunction, number);
}

}  // namespace

void fcx::save_last_logs(std::string_view folder) {
  DOMAIN_INFO("[%s] dst folder : %.*s", kFunction, static_cast<int>(folder.size()), folder.data());
  const ItemPartition partition = item_partition();
  if (partition.path == nullptr || partition.block_size < 1) {
    DOMAIN_ERROR("%s: no partition with blocks of %d bytes\n", kFunction, partition.block_size);
    return;
  }
  Buffer in(kRecordBlocks, partition.block_size);
  if (!in.is_there()) {
    DOMAIN_ERROR("[%s] in_buf malloc failed", kFunction);
    return;
  }
  Buffer out(kTextBlocks, partition.block_size);
  if (!out.is_there()) {
    DOMAIN_ERROR("[%s] out_buf malloc failed", kFunction);
    return;
  }
  for (int number = 0; number < 2; ++number) save_record(partition, number, folder, in, out);
}
