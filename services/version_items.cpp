#include "common/log.h"
#include "common/text.h"
#include "fcx/factory_items.h"
#include "fcx/system_control.h"
#include "fcx/version_info.h"
#include "modem/link/command_link.h"
#include "modem/link/requests.h"

namespace {

namespace item = fcx::item;

using Version = fcx::TextBuffer<fcx::factory_item<item::sw_version>().length>;
static_assert(Version::capacity() == fcx::factory_item<item::sw_original_version>().length);
using Pid = fcx::TextBuffer<fcx::factory_item<item::pid>().length>;

/// What a version's item has to become in order to hold what the modem's software says.
enum class Change { unknown, none, stored, refused };

/// Keeps a version item in step with the report.
struct VersionItem {
  int (*get)(char*);
  int (*set)(const char*);
  int type;  ///< of the report
  const char* unread;
  const char* unreported;
  const char* unwritten;
  const char* written;
};
constexpr VersionItem kCurrent{
    get_sw_version_ftm_item,
    set_sw_version_ftm_item,
    2,
    "get_sw_version_ftm_item fail\n",
    "get_qve_factory_sw_version fail: QVE_MODEM_VERSION_GSM_TYPE_SECURED\n",
    "system_write_version_info: the software version cannot be written\n",
    "SW Version is written\n"};
constexpr VersionItem kFirst{
    get_sw_original_version_ftm_item,
    set_sw_original_version_ftm_item,
    1,
    "get_sw_original_version_ftm_item fail\n",
    "get_qve_factory_sw_version fail: QVE_MODEM_VERSION_GSM_TYPE\n",
    "system_write_version_info: the first software version cannot be written\n",
    "SW Orginal Version is written\n"};

Change update(const VersionItem& row) {
  // Read first: the report stores what it says in the same item.
  Version stored;
  if (row.get(stored.data()) != 0) {
    DOMAIN_ERROR("%s", row.unread);
    return Change::unknown;
  }
  Version reported;
  int length = 0;
  if (get_qve_factory_sw_version(row.type, reported.data(), &length) != 0) {
    DOMAIN_ERROR("%s", row.unreported);
    return Change::unknown;
  }
  if (length < 1 || reported.view() == stored.view()) return Change::none;
  if (row.set(reported.c_str()) != 0) {
    DOMAIN_ERROR("%s", row.unwritten);
    return Change::refused;
  }
  DOMAIN_INFO("%s", row.written);
  return Change::stored;
}

}  // namespace

void system_write_version_info() {
  if (update(kCurrent) == Change::unknown) return;
  if (update(kFirst) != Change::stored) return;
  // A new software starts the display's test anew.
  if (set_lcd_break_mode(0) != 0) {
    DOMAIN_ERROR("%s: item %d cannot be written\n", __func__, item::lcd_break_mode);
  }
}

void system_write_pid_info() {
  Pid stored;
  if (get_pid(stored.data()) != 0) {
    DOMAIN_ERROR("get_pid fail\n");
    return;
  }
  fcx::ModemAnswer answer;
  if (fcx::ask(fcx::request::read_pid, {}, answer) != 0 || answer.starts_with("\xFF")) {
    DOMAIN_ERROR("get pid modem request fail : QVE_MODEM_MSG_PID_READ\n");
    return;
  }
  // As much of it as the item holds.
  const Pid pid(answer.text());
  if (answer.bytes().empty() || pid.view() == stored.view()) return;
  if (set_pid(pid.c_str()) != 0) {
    DOMAIN_ERROR("PID write fail\n");
    return;
  }
  DOMAIN_INFO("PID is written\n");
}
