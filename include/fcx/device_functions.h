// The device functions behind single commands.
//
// Example:
//
//   #include <cstdio>
//
//   char serial[13];
//   char checksum[20];
//   if (qve_factory_serial_number_read(serial) != 0) return;      // the item cannot be read
//   if (crc_command(fcx::kFileChecksum, checksum) != 0) return;  // `checksum` is untouched
//   printf("%s %s\n", serial, checksum);
#pragma once

#pragma GCC visibility push(default)

// Tests.

/// The results of the automatic test, which leaves them in "/mnt/vendor/persist-qv/aat/result",
/// a line NAME=RESULT for each test.
/// @param text the name of the test that is asked for; empty or null for all of them, line by line
/// @param out  2048 bytes that receive NUL-terminated text, cut at 2047 characters; empty on
///             failure
/// @return 0, or -1 when there is no such result or it cannot be read, and for a null `out`
int aat_result_init(const char* text, char* out);

/// Asks the system side for the mode of the test script, a number.
/// @param text   16 bytes that receive NUL-terminated text, cut at 15 characters
/// @param length receives its length
/// @return 0; -1 for a null pointer; else the code of the request that failed (`text` and `*length`
///         are then untouched)
int get_qve_test_script_mode(char* text, int* length);

/// Whether the front time-of-flight camera has been calibrated.
/// @return 0 when its calibration file exists and is not empty, -1 otherwise
int tof_cal_file_check();

/// Stores the front time-of-flight camera's calibration durably, in place of an earlier one.
/// @param text the calibration as NUL-terminated text; an empty or null one is refused
/// @return 0, or -1 when it was refused or could not be stored (the earlier one then stays)
int tof_cal_write(const char* text);

/// Records how far the mid-auto test has come, in the property "persist.vendor.qve.midauto.status".
/// @param status NUL-terminated text, 91 characters at most; "4" means that its result is stored
/// @return 0, or -1 when the property refused the value, or it is null
int midauto_status_set(const char* status);

// Resets. Each notes what is asked for and deletes nothing: it sets factory item 23, "factory reset
// running", to 1 and the property "persist.vendor.qve.factory.reset" to the text of the mode, for
// whoever carries the reset out. When one of them cannot be stored nothing is noted.

/// Notes a production reset (modes 0 and 1), or a factory reset (100, 101 and 102) for which the
/// phone then restarts, as system_restart() does.
/// @return 0; 1 when it could not be noted, or the phone not be restarted, which leaves the note; 2
///         for any other mode
int qve_reset_production(int mode);

/// Notes a factory reset that empties the SD card too, "sdcard", and restarts the phone.
/// @return 0; 1 as above, and when it cannot be found out if there is a card; 2 without one
int hidden_factoryreset_sdcard();

/// As hidden_factoryreset_sdcard(), but noted as "sdcard,poweroff", and powers the phone off.
int hidden_factoryreset_sdcard_power_off();

// The SD card: the first mount point below "/storage/" in "/proc/mounts", but for the phone's own
// "/storage/emulated" and "/storage/self". One that cannot be found out is logged.

/// Whether a card is mounted.
/// @param buf receives "1" when one is, else "0", also when that cannot be found out, as 2 bytes
///            with a NUL; may be null
/// @return 0 when one is, 1 otherwise
int mmc_emt(char* buf);

/// Where the card is mounted.
/// @param out 256 bytes that receive NUL-terminated text, without a '/' at its end
/// @return 0, or -1 without a card or with a null pointer (`out` is then untouched)
int get_sdcard_path(char* out);

// SIM and radio, by the system side. The answers are text of at most 2047 characters in 2048
// bytes, with a NUL. Each returns 0, -1 for a null pointer (nothing is then sent or written), or
// the code of the request that failed: see request_to_system(), for whose answer each waits.

/// Whether a SIM is in the phone.
/// @param out     receives the answer. A request that failed writes it, too: what it has answered,
///                or an empty text
/// @param out_len receives its length, 0 for an empty text
int qve_issim_req(char* out, int* out_len);

/// Switches the virtual SIM.
/// @param text   `length` bytes for the system side: "1" for on, "0" for off
/// @param out, out_len as above
int qve_virtual_sim_set(const char* text, int length, char* out, int* out_len);

/// Whether the virtual SIM is on.
/// @param out receives "OK" when it is, another text otherwise; untouched on failure
int qve_is_virtual_sim(char* out);

/// Reads the SAT profile, or writes it.
/// @param writes 0 to read it
/// @param bytes  `length` bytes for the system side
/// @param out, out_len as of qve_issim_req()
int qve_satpc_req(int writes, const char* bytes, int length, char* out, int* out_len);

/// Whether the RF calibration data is there.
/// @param out receives a text that begins with '1' when it is; untouched on failure
int qve_cal_data_check(char* out);

/// Checks the millimetre-wave device.
/// @param out receives what the system side says of it; untouched on failure
int rf_device_check_for_mmw(char* out);

/// Reads the 4G error handling for 5G.
/// @param out receives one character; untouched on failure
int get_rf_4g_error_handle_5g(char* out);

/// Sets the 4G error handling for 5G to a byte.
int set_rf_4g_error_handle_5g(int value);

/// Lets the modem deactivate its configuration files.
/// @return 0 when the modem answers with a '1' first, else 1
int qve_mbn_deactivation();

// Device data.

/// The memory that the kernel reports ("MemTotal" of "/proc/meminfo").
/// @return whole MiB, or 0 on failure
int ram_memory_size();

/// Reads the SKU (factory item 420).
/// @param sku 31 bytes that receive NUL-terminated text, all of them
/// @return 0, or -1 when the item cannot be read or `sku` is null (it is then untouched)
int qve_factory_sku_read(char* sku);

/// Reads the serial number (factory item 9).
/// @param serial 13 bytes that receive NUL-terminated text, all of them
/// @return 0, or -1 when the item cannot be read or `serial` is null (it is then untouched)
int qve_factory_serial_number_read(char* serial);

/// Stores a serial number.
/// @param serial NUL-terminated text, cut at 12 characters
/// @return 0, or -1 when it cannot be stored or is null
int qve_factory_serial_number_write(const char* serial);

/// Asks the system side for the model name.
/// @param name   256 bytes that receive NUL-terminated text, cut at 255 characters
/// @param length receives its length
/// @return 0; -1 for a null pointer; else the code of the request that failed (`name` and `*length`
///         are then untouched)
int read_kelp_info_model(char* name, int* length);

/// Has the system side store a model name.
/// @param name   `length` bytes of text
/// @param length 1 to 255
/// @return 0; -1 for a null pointer or another length; else the code of the request that failed
int write_kelp_info_model(const char* name, int length);

/// A checksum of what is on the device, as text "0x0123ABCD". 2 and 5 are CRC-32, as zlib's crc32()
/// makes it, of the contents of files one after another.
/// @param kind  2: of the code: the build-identifier files, application processor, customisation
///              and carrier, of which the first must be there (fcx::identifier_file());
///              5: of the files: all regular ones directly in "/vendor/etc", links left out, in the
///              byte order of their names;
///              6: of the NV items, as the system side tells it (request 4059)
/// @param out20 20 bytes that receive NUL-terminated text, cut at 19 characters
/// @return 0; -1 for any other kind, for a null pointer, when a file or the directory is not there
///         or cannot be read, a file goes or changes while it is read, the request fails, or is
///         answered with nothing (`out20` is then untouched)
int crc_command(int kind, char* out20);

namespace fcx {

// The kinds of crc_command().
constexpr int kCodeChecksum = 2;
constexpr int kFileChecksum = 5;
constexpr int kNvChecksum = 6;

}  // namespace fcx

#pragma GCC visibility pop
