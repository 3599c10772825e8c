#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <string_view>

#include "fcx/modem_link.h"
#include "fcx/modem_nv.h"
#include "fcx/qvcmd.h"
#include "fcx/sync.h"
#include "modem/link/requests.h"
#include "platform/diag_packets.h"
#include "platform/immortal.h"
#include "platform/thread_annotations.h"

namespace {

constexpr uint8_t kRead = 0x26;
constexpr uint8_t kWrite = 0x27;
constexpr size_t kItemSize = 128;

constexpr uint8_t kFailed = 4;
constexpr uint8_t kNotActive = 5;
constexpr int kNoPacket = -1;

/// A diagnostic NV packet as it travels.
struct NvPacket {
  uint8_t command;
  std::array<uint8_t, 2> item;  ///< low byte first
  std::array<uint8_t, kItemSize> data;
  uint8_t status;
};
static_assert(offsetof(NvPacket, item) == 1);
static_assert(offsetof(NvPacket, data) == 3);
static_assert(offsetof(NvPacket, status) == 131);
static_assert(sizeof(NvPacket) == 132);

/// What an answer can fill: the data and the status.
constexpr size_t kAnswerSize = sizeof(NvPacket) - offsetof(NvPacket, data);

NvPacket packet_for(uint8_t command, uint16_t item) {
  return {command, {static_cast<uint8_t>(item), static_cast<uint8_t>(item >> 8)}, {}, 0};
}

/// The packets of this process: allocated once, used by one request at a time.
struct Packets {
  Mutex mutex;
  NvPacket* request GUARDED_BY(mutex) PT_GUARDED_BY(mutex) = nullptr;
  NvPacket* reply GUARDED_BY(mutex) PT_GUARDED_BY(mutex) = nullptr;

  bool are_there(uint8_t command) REQUIRES(mutex) {
    for (NvPacket** packet : {&request, &reply}) {
      if (*packet == nullptr) {
        *packet = static_cast<NvPacket*>(diagpkt_alloc(command, sizeof(NvPacket)));
      }
      if (*packet == nullptr) return false;
    }
    return true;
  }
};

/// Sends the request packet; the answer fills the reply from its data on.
/// @return the bytes of the answer, or -1
int exchange(int number, Packets& packets) REQUIRES(packets.mutex) {
  std::array<char, QVCMD_DATA_SIZE> answer;
  int length = 0;
  if (get_qve_data_from_modem(number, packets.request, sizeof(NvPacket), answer.data(), &length) !=
      0) {
    return -1;
  }
  // The last byte that there is room for is the status.
  memcpy(packets.reply->data.data(), answer.data(),
         std::min(static_cast<size_t>(length), kItemSize));
  if (length >= static_cast<int>(kAnswerSize)) {
    packets.reply->status = static_cast<uint8_t>(answer[kItemSize]);
  }
  return length;
}

}  // namespace

int qve_diag_nvread(uint16_t item, uint8_t* buf) {
  auto& packets = fcx::immortal<Packets>();
  const std::lock_guard lock(packets.mutex);
  if (buf == nullptr || !packets.are_there(kRead)) return kNoPacket;
  *packets.request = packet_for(kRead, item);
  *packets.reply = packet_for(kRead, item);
  const int length = exchange(fcx::request::read_nv, packets);
  if (length <= 0) return packets.reply->status = length < 0 ? kFailed : kNotActive;
  memcpy(buf, packets.reply->data.data(), kItemSize);
  return packets.reply->status;
}

int qve_diag_nvwrite(uint16_t item, uint8_t* buf) {
  auto& packets = fcx::immortal<Packets>();
  const std::lock_guard lock(packets.mutex);
  if (buf == nullptr || !packets.are_there(kWrite)) return kNoPacket;
  *packets.request = packet_for(kWrite, item);
  memcpy(packets.request->data.data(), buf, kItemSize);
  *packets.reply = packet_for(kWrite, item);
  if (exchange(fcx::request::write_nv, packets) < 0) return packets.reply->status = kFailed;
  return packets.reply->status;
}
