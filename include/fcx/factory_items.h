// Typed access to the numbered factory items of the platform's factory item store. Which item is
// what stands in fcx/factory_items.def; no accessor caches or retries, every call reads or writes
// the store, for as long as the store takes. Open the store with init_factory_item() first: until
// that has succeeded every access fails as it does for an item that cannot be read or written, and
// the first failure of the process is an ERROR line that says so.
//
// A buffer is the caller's, and a read that fails leaves it as it was. Nothing is locked: of two
// threads that write one item either may be last.
//
// Example:
//
//   #include <cstdio>
//
//   if (init_factory_item() != 0) return;  // once, at start
//   char imei[fcx::factory_item<fcx::item::imei>().length + 1] = {};  // one more: for the NUL
//   if (get_imei_ftm_item(imei) != 0) return;  // `imei` is untouched
//   if (set_charger_skip(1) != 0) return;      // not stored
//   printf("%s %d\n", imei, get_charger_skip());
#pragma once

#include <cstddef>
#include <string_view>

#include "fcx/factory_item_table.h"

namespace fcx {

#pragma GCC visibility push(default)

/// Reads an item into `buffer`, which is zero-filled after it.
/// @param buffer `size` bytes, no fewer than the item has; untouched when the read fails
/// @return what get_ftm_item() returned: negative when it failed; -1 also for a null buffer and one
///         too small
[[nodiscard]] int read_item(const FactoryItem& item, char* buffer, size_t size);

/// Writes an item as text: cut at the item's length, zero-filled after a shorter one.
/// @return what set_ftm_item() returned: negative when it failed
[[nodiscard]] int write_item(const FactoryItem& item, std::string_view text);

#pragma GCC visibility pop

}  // namespace fcx

#pragma GCC visibility push(default)

/// Opens the factory item store. Called once at start, before any accessor.
/// @return 0, or -1 after logging "Failed to init ftm item\n"
int init_factory_item();

// Flags, without a buffer. A getter returns the byte as 0 to 255, or -1 when it cannot be read. A
// setter stores the low byte of its argument and returns 0, or -1 when it cannot be written.
int get_factory_status();
int get_qem();
int set_qem(int on);
int get_charger_skip();
int set_charger_skip(int skip);
int set_frst_running(int running);
int get_workfrstmodeon_status();
int set_mtk_aiinit(int flag);
int get_teal_ime();
int set_teal_ime(int selection);
int get_hiddenMenu_extension();
int set_hiddenMenu_extension(int enabled);
int get_testmode();
int set_testmode(int on);
int set_dload_reboot(int on);
int get_fsg_wp_enable();
int set_fsg_wp_enable(int enable);
int get_use_fsg();
int set_use_fsg(int use);
int get_use_fsg_count();
int set_use_fsg_count(int count);
int get_fsg_wp_status();
int set_fsg_wp_status(int status);
int get_ship_mode_status();
int set_ship_mode_status(int on);
int get_copy_preload_status();
int set_copy_preload_status(int done);

// Text of the item's length, which is given beside it. A getter fills the caller's buffer, which
// has at least that, with the whole item: text that is shorter is followed by zero bytes, text of
// the full length has no NUL. A setter takes NUL-terminated text, stores at most the item's length
// and zeroes the rest. Both return 0, or -1 when the store fails or the pointer is null; the
// buffer, or the item, is then untouched.
int get_pid(char* buffer);  // 30
int set_pid(const char* text);
int get_imei_ftm_item(char* buffer);  // 20
int set_imei_ftm_item(const char* text);
int get_sw_version_ftm_item(char* buffer);  // 70
int set_sw_version_ftm_item(const char* text);
int get_sw_original_version_ftm_item(char* buffer);  // 70
int set_sw_original_version_ftm_item(const char* text);
int get_aatset(char* buffer);                          // 256
int get_sw_fixed_area_version_ftm_item(char* buffer);  // 50
int set_sw_fixed_area_version_ftm_item(const char* text);
int get_buyer_item(char* buffer);  // 8
int set_buyer_item(const char* text);
int get_set_revision(char* buffer);  // 10
int set_set_revision(const char* text);
int get_sdcard_download_path(char* buffer);  // 512
int set_sdcard_download_path(const char* text);
int get_meid_ftm_item(char* buffer);  // 20
int set_meid_ftm_item(const char* text);
int get_ldaf_cal_ftm_item(char* buffer);  // 10
int get_saatresult(char* buffer);         // 256
int get_midauto_result(char* buffer);     // 128

/// Text of 20 bytes as above; logs "Get SUFFIX : %s" after the read.
int get_suffix_item(char* buffer);
/// Logs "Set SUFFIX : %s" before the write.
int set_suffix_item(const char* text);

/// The SAAT result and the mid-auto result, 256 and 128 bytes of text as above. The whole item is
/// zeroed first, in a write of its own: -1 when that fails, before the new text is written. When
/// the write of the text fails, the item is empty. A null pointer changes nothing.
int set_saatresult(const char* text);
int set_midauto_result(const char* text);

// Raw bytes. The full length is copied both ways. 0, or -1 as above.
int get_dload_factory_reset_flag_ftm_item(char* buffer);  // 1
int set_dload_factory_reset_flag_ftm_item(const char* bytes);
int get_gpio_sum(char* buffer);  // 4
int set_gpio_sum(const char* bytes);

/// The four mid-auto CRC slots, 40 raw bytes: ten characters each, without a NUL.
/// @return 0, or -1 for any non-zero return of the store, a positive one included. No other getter
///         does so; it is on purpose.
int get_midauto_crc_list(char* buffer);
/// Zeroes the item first, as set_saatresult() does, then copies 40 bytes. @return 0, or -1 as there
int set_midauto_crc_list(const char* bytes);

/// Sets the factory status: the property "persist.vendor.qve.factory.status", the item, and the
/// trace of statuses. Status 3 also removes the agree-factory file.
/// @param status 0 to 9; of a longer number the property and the trace keep its first character,
///               and the item its low byte
/// @return 0, or -1 when the item cannot be written. The property has then been set already, and
///         the file removed, on purpose; the trace is left as it was. That one of these three
///         cannot be changed is logged, and no failure.
int set_factory_status(int status);

/// The trace of factory statuses, text as above.
/// @param buffer 2048 bytes
/// @return 0 or -1
int get_frst_trace(char* buffer);
/// Appends one status (its first decimal character) to the trace; a trace of 2047 characters starts
/// anew, and so does one that cannot be read.
/// @return 0, or -1 when the trace cannot be written
int set_frst_trace(int status);

/// The CRC wizard's state, one ASCII digit.
/// @param buffer receives that one byte, without a NUL; untouched with -1
/// @return 0, or -1 when it cannot be read or `buffer` is null
int get_crcwizard(char* buffer);
/// Stores the CRC wizard's state.
/// @param value 0 to 9; of a longer number its first character is stored
/// @return 0, or -1 when it cannot be written
int set_crcwizard(int value);

/// Flag setters as above that log before they write.
int set_workfrstmodeon_status(int on);
int set_lcd_break_mode(int mode);

/// Reads any item with the length 2048.
/// @param buffer 2048 bytes, all of which are written, or none with -1; no NUL comes after them
/// @return 0, or -1 when it cannot be read or `buffer` is null
int get_string_ftm_by_index(int index, char* buffer);
/// Reads the first byte of any item.
/// @return 0 to 255, or -1 when it cannot be read
int get_int_ftm_by_index(int index);

#pragma GCC visibility pop
