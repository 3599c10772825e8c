#include "common/log.h"
#include "dispatch/handlers.h"
#include "fcx/device_functions.h"
#include "fcx/factory_items.h"

namespace fcx {
namespace {

/// Whether a download mode is set: its text begins with the letter o.
bool is_dload_mode(std::string_view text) { return text.substr(0, 1) == "o"; }

}  // namespace

void handle_get_sku(qvcmd_response& response) {
  ItemText<item::sku> sku;
  if (qve_factory_sku_read(sku.data()) != 0) {
    // `result` stays the caller's, on purpose.
    HANDLER_ERROR("%s: item %d cannot be read\n", __func__, item::sku);
    return;
  }
  HANDLER_INFO("Read sku: %s\n", sku.c_str());
  answer_text(response, sku.empty() ? kNoCode : sku.view());
  response.result = QVCMD_OK;
}

void handle_get_set_revision(qvcmd_response& response) {
  clear(response);
  ItemText<item::set_revision> revision;
  if (get_set_revision(revision.data()) == -1) {
    HANDLER_INFO("%s: get_set_version fail", __func__);
    response.result = QVCMD_FAIL;
    return;
  }
  answer_text(response, revision.view());
}

void handle_charger_skip(Decimal argument, qvcmd_response& response) {
  constexpr uint8_t kRead = 2;
  if (argument.value != kRead) {
    // `result` is 0 whatever the write returned, on purpose.
    log_failure(__func__, set_charger_skip(argument.value));
    response.result = QVCMD_OK;
    return;
  }
  const int skip = get_charger_skip();
  if (skip < 0) log_failure(__func__, skip);
  response.result = skip == 0 ? QVCMD_OK : QVCMD_FAIL;
}

void handle_get_hiddenmenu_enable(qvcmd_response& response) {
  clear(response);
  const int enabled = get_hiddenMenu_extension();
  HANDLER_INFO("HiddenMenu: Enable/Disable[%d]\n", enabled);
  if (enabled < 0) {
    response.result = QVCMD_FAIL;
    return;
  }
  answer_number(response, enabled);
}

void handle_get_teal_ime(qvcmd_response& response) {
  // A failed read answers the byte 0xFF with `result` 0, on purpose.
  const int selection = get_teal_ime();
  if (selection < 0) log_failure(__func__, selection);
  answer_byte(response, selection);
  response.result = QVCMD_OK;
}

void handle_set_teal_ime(const qvcmd_request& request, qvcmd_response& response) {
  constexpr uint8_t kSelections = 3;
  const auto selection = static_cast<uint8_t>(request.data[0]);
  if (selection >= kSelections) {
    HANDLER_ERROR("%s: there is no selection %d\n", __func__, selection);
    response.result = QVCMD_FAIL;
    return;
  }
  response.result = result_of(__func__, set_teal_ime(selection));
}

void handle_get_dload_mode(qvcmd_response& response) {
  ItemText<item::dload_mode> mode;
  // An item that cannot be read counts as "off", with `result` 0, on purpose.
  static_cast<void>(read_item_text<item::dload_mode>(__func__, mode));
  answer_text(response, is_dload_mode(mode.view()) ? mode.view() : "off");
  response.result = QVCMD_OK;
}

void handle_set_dload_mode(std::string_view text, qvcmd_response& response) {
  if (!is_dload_mode(text)) {
    HANDLER_ERROR("%s: a download mode begins with the letter o\n", __func__);
    response.result = QVCMD_FAIL;
    return;
  }
  response.result = write_item_text<item::dload_mode>(__func__, text);
}

}  // namespace fcx
