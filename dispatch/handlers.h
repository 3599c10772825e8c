// The command handlers. Each turns a command's argument into a domain call and fills the answer:
// `result`, `data_len` and `data`. Only the dispatcher calls them, through the command table, with
// records that exist. Handlers that do not clear the response first write only what they set. What
// only answers an item's text or stores one has no handler: its row in the command table says all.
#pragma once

#include <cstdint>
#include <string_view>

#include "dispatch/answer.h"
#include "fcx/qvcmd.h"

namespace fcx {

constexpr std::string_view kNoCode = "000000000000000";  // 15 zeros: no CSN, no SKU

// item_handlers.cpp: identities, versions, flags and results kept as factory items
void handle_get_sku(qvcmd_response& response);
void handle_get_set_revision(qvcmd_response& response);
void handle_charger_skip(Decimal argument, qvcmd_response& response);
void handle_get_hiddenmenu_enable(qvcmd_response& response);
void handle_get_teal_ime(qvcmd_response& response);
void handle_set_teal_ime(const qvcmd_request& request, qvcmd_response& response);
void handle_get_dload_mode(qvcmd_response& response);
void handle_set_dload_mode(std::string_view text, qvcmd_response& response);

// test_result_handlers.cpp: what the line's tests leave on the phone
void handle_aat_result(std::string_view test, qvcmd_response& response);
void handle_crcwizard_set(Decimal argument, qvcmd_response& response);
void handle_crcwizard_get(qvcmd_response& response);
void handle_get_ldaf_cal(qvcmd_response& response);
void handle_get_saat_result(const qvcmd_request& request, qvcmd_response& response);
void handle_set_saat_result(const qvcmd_request& request, qvcmd_response& response);
void handle_saat_proxi_sync(Decimal argument, qvcmd_response& response);
void handle_get_midauto_result(qvcmd_response& response);
void handle_set_midauto_result(std::string_view text, qvcmd_response& response);
void handle_get_midauto_crc(int32_t slot, qvcmd_response& response);
void handle_read_flex_gpio_sum(qvcmd_response& response);
void handle_write_flex_gpio_sum(std::string_view text, qvcmd_response& response);

// modem_handlers.cpp: what the modem or the system side keeps
void handle_automid_imei(std::string_view imei, qvcmd_response& response);  // empty: read
void handle_write_imei(const qvcmd_request& request, qvcmd_response& response);
void handle_read_imei(qvcmd_response& response);
void handle_midauto_read_imei2(qvcmd_response& response);
void handle_midauto_read_imei3(qvcmd_response& response);
void handle_get_meid_pesn(int32_t selector, qvcmd_response& response);
void handle_get_impl(qvcmd_response& response);
void handle_get_fusg(qvcmd_response& response);
void handle_get_ftm_model_name(qvcmd_response& response);
void handle_set_ftm_model_name(std::string_view name, qvcmd_response& response);

// address_handlers.cpp: the WLAN and the Bluetooth address
void handle_automid_mac(std::string_view address, qvcmd_response& response);     // empty: read
void handle_automid_btaddr(std::string_view address, qvcmd_response& response);  // empty: read

// version_handlers.cpp: what the phone's software and hardware are
void handle_get_factory_version(int32_t type, qvcmd_response& response);
void handle_get_hw_revision(qvcmd_response& response);
void handle_get_code_crc(qvcmd_response& response);
void handle_get_nv_crc(qvcmd_response& response);
void handle_get_file_crc(qvcmd_response& response);

// device_handlers.cpp: what is kept in files
void handle_set_get_startday(const qvcmd_request& request, qvcmd_response& response);
void handle_read_agree_factory(qvcmd_response& response);
void handle_write_agree_factory(std::string_view text, qvcmd_response& response);
void handle_get_ram_size(qvcmd_response& response);

// radio_handlers.cpp: SIM and radio, by the system side
void handle_sim_issim(qvcmd_response& response);
void handle_sim_simoff(std::string_view text, qvcmd_response& response);
void handle_sim_isvsim(qvcmd_response& response);
void handle_sim_satpc(const qvcmd_request& request, qvcmd_response& response);
void handle_rfsw_get_cal_data(qvcmd_response& response);
void handle_rfsw_device_check_mmw(qvcmd_response& response);
void handle_get_rf_4g_error_handle_5g(qvcmd_response& response);
void handle_set_rf_4g_error_handle_5g(const qvcmd_request& request, qvcmd_response& response);

// system_handlers.cpp: tests and downloads that begin with a restart, resets, and the power key
void handle_frst_start(Decimal mode, qvcmd_response& response);
void handle_factory_mode_check(qvcmd_response& response);
void handle_devicetest_start(Decimal argument, qvcmd_response& response);
void handle_rkf_start(Decimal argument, qvcmd_response& response);
void handle_aat_write_start(Decimal argument, qvcmd_response& response);
void handle_qct_bsp_pwr_hardreset_enable(const qvcmd_request& request, qvcmd_response& response);
void start_sdcard_download(std::string_view path);

}  // namespace fcx
