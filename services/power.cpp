#include "fcx/system_control.h"

#include "common/log.h"
#include "modem/link/command_link.h"
#include "modem/link/requests.h"

int system_efs_sync() {
  fcx::ModemAnswer answer;
  if (fcx::ask(fcx::request::sync_efs, {}, answer) != 0) {
    DOMAIN_ERROR("system_efs_sync Fail ! return error.");
    return -1;
  }
  if (answer.starts_with("\xFF")) {
    DOMAIN_ERROR("system_efs_sync Fail ! rsp error.");
    return -1;
  }
  return 0;
}
