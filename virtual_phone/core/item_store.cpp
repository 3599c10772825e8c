#include "virtual_phone/core/item_store.h"

#include <algorithm>
#include <cstring>

#include "platform/factory_item_library.h"
#include "virtual_phone/core/platform_call.h"
#include "virtual_phone/faults/accesses.h"

namespace virtual_phone {

void check_item(int64_t number) {
  if (number >= 0 && number < static_cast<int64_t>(kPartitionBlocks)) return;
  throw Refused("there is no item " + std::to_string(number) + ": items are 0 to " +
                std::to_string(kPartitionBlocks - 1));
}

std::string read_items(Phone& phone, int number, size_t length) {
  const std::lock_guard lock(phone.mutex());
  std::string bytes(length, '\0');
  const auto blocks = static_cast<int64_t>((length + kItemBlock - 1) / kItemBlock);
  Query query = phone.durable().query(
      "SELECT number, value FROM item WHERE number >= ?1 AND number < ?1 + ?2");
  query.bind(number).bind(blocks);
  while (query.step()) {
    const size_t offset = static_cast<size_t>(query.number(0) - number) * kItemBlock;
    const std::string_view value = query.blob(1);
    value.copy(bytes.data() + offset, length - offset);
  }
  return bytes;
}

void write_item(Phone& phone, int number, std::string_view bytes) {
  check_item(number);
  if (bytes.size() > kItemBlock) {
    throw Refused("item " + std::to_string(number) + ": " + std::to_string(bytes.size()) +
                  " bytes, an item holds at most " + std::to_string(kItemBlock));
  }
  const std::lock_guard lock(phone.mutex());
  phone.check_is_there();
  Database& database = phone.durable();
  Transaction transaction(database);
  std::string whole(bytes);
  {
    Query old = database.query("SELECT value FROM item WHERE number = ?");
    old.bind(number);
    if (old.step() && old.blob(0).size() > bytes.size()) whole += old.blob(0).substr(bytes.size());
  }
  database.query("INSERT OR REPLACE INTO item(number, value) VALUES(?, ?)")
      .bind(number)
      .bind_blob(whole)
      .run();
  transaction.commit();
}

std::map<int, std::string> written_items(Phone& phone) {
  const std::lock_guard lock(phone.mutex());
  std::map<int, std::string> found;
  Query query = phone.durable().query("SELECT number, value FROM item");
  while (query.step()) found.emplace(static_cast<int>(query.number(0)), query.blob(1));
  return found;
}

namespace {

/// The bytes that an access moves, of which the library knows the size.
std::string_view bytes_of(const void* buffer, int length) {
  return {static_cast<const char*>(buffer), static_cast<size_t>(buffer == nullptr ? 0 : length)};
}

/// One access to the store, unless it is no access or a fault fails it. `work` moves the bytes and
/// returns the code; it is given the fault that changes either.
template <typename Work>
int access_item(const char* name, int index, int length, const void* buffer, Access access,
                Work work) {
  return platform_call(name, -1, [&](Phone& phone) -> int {
    const bool writes = access == Access::write;
    PlatformAccess told{Part::item, std::to_string(index), access};
    told.size = length;
    if (writes) told.given = bytes_of(buffer, std::max(length, 0));
    Accessing accessing(phone, std::move(told));
    if (!phone.items_open) throw Refused("the item store is not open, call init_ftm_item() first");
    check_item(index);
    if (length < 1 || buffer == nullptr) {
      throw Refused("item " + std::to_string(index) + ", length " + std::to_string(length) +
                    ": no such access");
    }
    const auto fault = accessing.strike();
    const bool fails = fault.has_value() && fault->effect == Effect::fail;
    const int code = fails ? static_cast<int>(fault->value) : work(phone, fault);
    accessing.ends(code, writes || fails ? "" : bytes_of(buffer, length));
    if (writes && !fails) accessing.changes();
    return code;
  });
}

int read_into(const char* name, int index, int length, void* buffer) {
  return access_item(name, index, length, buffer, Access::read,
                     [&](Phone& phone, const std::optional<Fault>& fault) -> int {
                       auto size = static_cast<size_t>(length);
                       if (fault.has_value() && fault->effect == Effect::garbage) {
                         memset(buffer, 0xFF, size);
                         return 0;
                       }
                       const bool is_short = fault.has_value() && fault->effect == Effect::shorter;
                       if (is_short) size = std::min(size, static_cast<size_t>(fault->value));
                       const std::string bytes = read_items(phone, index, size);
                       bytes.copy(static_cast<char*>(buffer), size);
                       if (is_short) return static_cast<int>(size);
                       return fault.has_value() ? static_cast<int>(fault->value) : 0;
                     });
}

}  // namespace
}  // namespace virtual_phone

namespace vp = virtual_phone;

int init_ftm_item() {
  return vp::platform_call("init_ftm_item", -1, [](vp::Phone& phone) {
    phone.items_open = true;
    return 0;
  });
}

int get_ftm_item(int index, int length, void* buffer) {
  constexpr auto kLongest = static_cast<int>(vp::kItemBlock);
  return vp::read_into("get_ftm_item", index, length > kLongest ? -1 : length, buffer);
}

int get_ftm_multi_item(int index, int length, void* buffer) {
  return vp::read_into("get_ftm_multi_item", index, length, buffer);
}

int set_ftm_item(int index, int length, const void* buffer) {
  return vp::access_item("set_ftm_item", index, length, buffer, vp::Access::write,
                         [&](vp::Phone& phone, const std::optional<vp::Fault>& fault) -> int {
                           vp::write_item(
                               phone, index,
                               {static_cast<const char*>(buffer), static_cast<size_t>(length)});
                           return fault.has_value() ? static_cast<int>(fault->value) : 0;
                         });
}

int get_ftm_block_size() { return static_cast<int>(vp::kItemBlock); }

const char* get_ftm_path() { return "/dev/block/by-name/ftm"; }
