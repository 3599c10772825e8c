#include "common/log.h"
#include "dispatch/handlers.h"
#include "fcx/device_functions.h"
#include "fcx/factory_items.h"

namespace fcx {
namespace {

constexpr std::string_view kNoCode = "000000000000000";  // 15 zeros: no CSN, no SKU

/// Clears the response and answers with an item's text, or with `when_empty`. `format` logs its
/// index and the text as stored.
template <int index>
void answer_item(const char* handler, const char* format, std::string_view when_empty,
                 qvcmd_response& response) {
  clear(response);
  ItemText<index> text;
  response.result = read_item_text<index>(handler, text);
  if (response.result != QVCMD_OK) return;
  HANDLER_INFO(format, index, text.c_str());
  answer_text(response, text.empty() ? when_empty : text.view());
}

/// Whether a download mode is set: its text begins with the letter o.
bool is_dload_mode(std::string_view text) { return text.substr(0, 1) == "o"; }

}  // namespace

void handle_get_serial_number(qvcmd_response& response) {
  answer_item<9>(__func__, "SERIAL NUM : %d (%s)\n", "0", response);
}

void handle_get_csn(qvcmd_response& response) {
  answer_item<37>(__func__, "CSN : %d (%s)\n", kNoCode, response);
}

void handle_set_csn(std::string_view text, qvcmd_response& response) {
  clear(response);
  response.result = write_item_text<37>(__func__, text);
  if (response.result == QVCMD_OK) HANDLER_INFO("CSN Write OK\n");
}

void handle_get_msn(qvcmd_response& response) {
  answer_item<18>(__func__, "MSN : %d (%s)\n", "", response);
}

void handle_get_manuf_date(qvcmd_response& response) {
  answer_item<19>(__func__, "MANUF DATE : %d (%s)\n", "", response);
}

void handle_get_image_status(qvcmd_response& response) {
  answer_item<213>(__func__, "IMAGE_STATUS : %d (%s)\n", "", response);
}

void handle_get_image_secno(qvcmd_response& response) {
  answer_item<214>(__func__, "IMAGE_SECNO : %d (%s)\n", "", response);
}

void handle_get_image_name(qvcmd_response& response) {
  answer_item<215>(__func__, "IMAGE_NAME : %d (%s)\n", "", response);
}

void handle_get_sku(qvcmd_response& response) {
  ItemText<420> sku;
  if (qve_factory_sku_read(sku.data()) != 0) {
    // `result` stays the caller's, on purpose.
    HANDLER_ERROR("%s: item %d cannot be read\n", __func__, 420);
    return;
  }
  HANDLER_INFO("Read sku: %s\n", sku.c_str());
  answer_text(response, sku.empty() ? kNoCode : sku.view());
  response.result = QVCMD_OK;
}

void handle_get_set_revision(qvcmd_response& response) {
  clear(response);
  ItemText<36> revision;
  if (get_set_revision(revision.data()) == -1) {
    HANDLER_INFO("%s: get_set_version fail", __func__);
    response.result = QVCMD_FAIL;
    return;
  }
  answer_text(response, revision.view());
}

void handle_get_sw_fixed_area_version(qvcmd_response& response) {
  clear(response);
  ItemText<31> version;
  response.result = read_item_text<31>(__func__, version);
  if (response.result == QVCMD_OK) answer_text(response, version.view());
}

void handle_charger_skip(Decimal argument, qvcmd_response& response) {
  constexpr uint8_t kRead = 2;
  if (argument.value != kRead) {
    // `result` is 0 whatever the write returned, on purpose.
    static_cast<void>(logged(__func__, set_charger_skip(argument.value)));
    response.result = QVCMD_OK;
    return;
  }
  const int skip = get_charger_skip();
  if (skip < 0) static_cast<void>(logged(__func__, skip));
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
  if (selection < 0) static_cast<void>(logged(__func__, selection));
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
  ItemText<129> mode;
  // An item that cannot be read counts as "off", with `result` 0, on purpose.
  static_cast<void>(read_item_text<129>(__func__, mode));
  answer_text(response, is_dload_mode(mode.view()) ? mode.view() : "off");
  response.result = QVCMD_OK;
}

void handle_set_dload_mode(std::string_view text, qvcmd_response& response) {
  if (!is_dload_mode(text)) {
    HANDLER_ERROR("%s: a download mode begins with the letter o\n", __func__);
    response.result = QVCMD_FAIL;
    return;
  }
  response.result = write_item_text<129>(__func__, text);
}

void handle_get_fusion_modem_disable(qvcmd_response& response) {
  ItemText<152> disable;
  response.result = read_item_text<152>(__func__, disable);
  if (response.result != QVCMD_OK) return;
  HANDLER_INFO("fusion_modem_disable : %s\n", disable.c_str());
  answer_text(response, disable.view());
}

void set_fusion_modem_disable(std::string_view text, qvcmd_response& response) {
  response.result = write_item_text<152>(__func__, text);
}

}  // namespace fcx
