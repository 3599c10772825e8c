// Control of the device as a whole: power, display, the cable, log services, and what a start keeps
// in step. Return values differ from function to function, on purpose: each says its own.
//
// The system_* reboots and power-offs run on detached threads that wait a second, so that the
// answer to a command can leave first; restart(), restart_with_reason() and poweroff() wait it on
// the caller's own. Everything else takes as long as the modem and the files do, unless it is said.
// A failed step is logged; it ends a function only where that is said. The nodes of power and
// display are reached through the vendor's unified sysfs library.
//
// Example:
//
//   #include <cstdio>
//
//   if (system_get_battery_status() == 0) return;
//   char date[92];
//   if (system_get_build_date(date) > 0) puts(date);
//   if (system_restart() != 0) puts("no restart was begun");  // else it comes after a second
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)

// Power.

/// Reboots after a second. @return 0
int restart();

/// Makes files durable and reboots after a second.
/// @param reason what the platform is told, NUL-terminated; null for none
/// @return 0
int restart_with_reason(char* reason);

/// Powers off after a second. @return 0
int poweroff();

/// Flushes the modem's file system.
/// @return 0; -1 when the request failed, or the modem answers with a byte 0xFF first
int system_efs_sync();

// Each flushes the modem's file system and leaves the rest to a thread. 0; -1 when the flush failed
// or no thread could be started: nothing happens then.

/// Reboots with the reason "fcx". All files are made durable before the thread is started.
int system_restart();
/// Reboots into download mode, with the reason "dload".
int system_dload();
/// Reboots into the automatic test, with the reason "aat_write".
int system_aat();
/// Powers off, with files made durable as for system_restart(). 0 without a thread when
/// "/sys/kernel/fcx_mid/fcx_status" begins with '1': the kernel powers the device off.
int system_poweroff();

/// Flushes the modem's file system, waits 2 seconds and reboots into ship mode, with the reason
/// "oem-11". A flush that failed is logged and stops nothing. @return 0
int system_poweroff_ship_mode();

/// Makes the golden copy of the modem's file system.
/// @return 0 when the modem answers with a '1' first, else 1
int make_golden_copy();

/// Lets the power key reset the device, or not.
/// @param c the character '0' (48) to forbid it, anything else to allow it
/// @return 0; 1 when the request failed, or the modem answers with a byte 0xFF first
int system_powerkey_hardreset_enable(int c);

/// Runs device management 1, 2 or 3; of any other number the one for all others.
/// @return as request_to_system()
int set_qve_run_omadm(int n);

/// Sets the property "persist.vendor.qve.bootstatus", as which the phone is to start.
/// @return 0, or -1 when it could not be set
int set_bootstatus(int status);

// Powering off while the test cable stays attached.

/// Begins to power off with the cable attached: notes it in the property "vendor.qve.sleepmode.on",
/// keeps the device awake with the wake lock "fcx_poweroff", which is never released, dims the
/// screen, and starts a thread that waits for the cable to be pulled. With factory status 5 the
/// ship mode is stored as well.
/// @return 0; 1 without the wake lock or the thread, which leaves the note, or when the ship mode
///         could not be stored, which leaves the thread to its work. That the note or the screen
///         could not be set is logged, and no failure
int power_off_with_cable();

/// Thread body: blinks the red key LED, a second each way, while the USB state is connected or
/// configured and the cable's voltage has not dropped below a volt; then wakes the display, lights
/// the LED and goes to ship mode. For as long as the cable is there it does not end. A voltage that
/// is unreadable or below a volt at the start is not looked at again.
/// @return null; at once when the USB state is invalid
void* wait_for_cable_disconnect(void* unused);

/// Takes a power-off up again that a restart of the daemon has interrupted: in PIF boot mode, with
/// factory status 3 or 5, and "vendor.qve.sleepmode.on" at '1'. Without a cable it powers off.
/// @return 0 when there was nothing to do; -1 for an invalid USB state; else what
///         power_off_with_cable() or system_poweroff() returned
int retry_power_off_with_cable();

// Display.

/// Whether the device is in flight mode, which is for others to set; 0 at first. The brightness
/// functions do nothing meanwhile.
extern uint8_t modem_flight_status;

// With normal_mode_check() 1 they write the brightness and "/sys/power/autosleep": 0, or 1 when
// either could not be written. Else they ask the system side, and return as request_to_system().

/// Darkens the display and lets the device sleep.
int system_sleep();
/// Lights the display and keeps the device awake.
int system_wakeup();

/// Whether the display is dark: its brightness begins with '0'. @return 1 or 0; 0 also when it
/// cannot be read
int get_sleep_mode();

/// With a PIF cable and no battery, brings a display that is neither dark nor at the minimum
/// brightness, 10, to that minimum.
void system_set_lcd_brightness();

/// As system_set_lcd_brightness(), without looking at what the brightness is: 16 times, a second
/// apart, until there is a battery, or the brightness of a device with a PIF cable cannot be read.
/// @return 0
int system_set_lcd_brightness_loop();

// How the device was started, and what is attached to it. A property or node that cannot be read
// counts as no.

/// Whether the start is complete, by property "vendor.qve.boot_completed". @return 1 or 0
int system_check_fboot();
/// Whether the library drives the display by itself, in a start for mobile-ID or with an "rkf" boot
/// property, or the system side does. @return 1: itself, or 0
int normal_mode_check();
/// Whether a PIF cable is connected, by property "vendor.qve.factory.pif". @return 1 or 0
int system_get_pif_status();
/// Whether the boot mode begins with "pif". @return 1 or 0
int system_check_pif_bootmode();
/// Whether there is a battery. @return 1 or 0
int system_get_battery_status();
/// Whether there is an operator image: whether "/oem/OP" can be opened. @return 1 or 0
int is_op_image_support();

/// The property "ro.build.date".
/// @param out 92 bytes, with a NUL; empty when it is not set
/// @return its length; 0 for a null pointer
int system_get_build_date(char* out);

/// The model: the property "ro.boot.vendor.qve.model.factory", or "ro.boot.vendor.qve.model.name"
/// where that is empty.
/// @param out 92 bytes, with a NUL; empty when neither is set
/// @return 1 with the first property, the length of the second, or 0 for a null pointer
int system_get_model_name(char* out);

/// The factory's model name without its first '-'.
/// @param out 256 bytes, NUL-terminated by the caller: it is logged even where it is untouched,
///            when "ro.boot.vendor.qve.model.factory" has no '-'
/// @return that property's length, or of "ro.boot.vendor.qve.model.name" where it is empty; 0 for a
///         null pointer
int system_get_factory_model_name(char* out);

// Log services and the environment.

/// The properties that switch the log services.
extern const char* const logservice[6];

/// Sets all six log services.
/// @param value NUL-terminated, at most 91 characters
/// @return what setting the last one came to: 0, or -1 when it could not be set and for null
int system_set_logservice(char* value);
/// Whether one of the six is set to something that does not begin with '0'. @return 1 or 0
int system_get_logservice();
/// Switches the factory log service off and has the system side erase its logs.
/// @return as request_to_system()
int system_factory_logservice_off();

/// Sets what depends on how the device was started: "vendor.qve.factory.qem" and
/// "vendor.qve.factory.pif", with a "qem" boot mode the crash service too; and
/// "ro.vendor.qve.suffix" to the factory item, unless that cannot be read. Once at a start.
void system_set_env_property();

/// Logs the local time.
void show_current_time();

/// Appends the frequencies of the processors 0 to 7 that are online: number, current, maximum,
/// minimum, all of them with ',' between. One that is not online, or whose current frequency cannot
/// be read, is left out; a limit that cannot be read is empty, and both failures are
/// logged. The entry of any but processor 0 begins with ',', also where it is the first.
/// @param out 2048 bytes of text, zeroed by the caller; cut at 2047 characters
/// @param len receives the length of `out`
/// @return 0, or 1 for a null pointer, with nothing written
int get_cpu_freq(char* out, int* len);

/// The three-digit codes of a list of quoted strings, after the first one, which is a key: of
/// "mcc","310","311" the text 310,311. What is no such list gives anything, within `out`.
/// @param in  NUL-terminated
/// @param out 2048 bytes, zeroed by the caller
/// @return the position after the text's NUL; `out` when there is no second string, with an empty
///         text, and for a null pointer, with nothing written
char* get_mcc_list(char* in, char* out);

// What a start keeps in step.

// NV items of the modem, which get the text of their source when they hold another. 0 when they are
// in step, or the text is too short to be written; 1 when the source or the item cannot be read, or
// the item not be written and flushed. An item that is not active counts as zeros.

/// Ends the modem's factory mode: item 453 becomes zeros when it is 1, up to factory status 4. A
/// status that cannot be read counts as above.
int system_nvwrite_ftm_mode();
/// Item 33797: the factory software version of type 1, from 6 characters on.
int system_nvwrite_version_info();
/// Item 33798: the hardware version, from 1 character on.
int system_nvwrite_hwversion_info();
/// Item 33799: the property "ro.boot.vendor.qve.model.name", from 4 characters on.
int system_nvwrite_model_name_info();

/// Brings all four NV items in step, in this order, until one of the last three fails.
/// @return 1 when one did, else 0
int nv_factoryitem_sync();

/// Stores the software versions that the report makes, of type 2 in the factory item of the version
/// and of type 1 in that of the first one, where they differ. A new first version clears the
/// LCD-break flag. What cannot be read ends it.
void system_write_version_info();

/// Stores the modem's product identifier in the factory item where they differ.
void system_write_pid_info();

// The fixed-area version in the factory item: fields of 11 characters for the application
// processor, the modem, the customisation and the user data, with '-' between them, and after a
// further '-' one character. Where the item cannot be read nothing is written. New user data sets
// "persist.vendor.qve.data.sbp.update" to "0".

/// Takes the fields that differ from the phone's own version, with an operator image without that
/// property; a model that has no such version gets one of all F.
void system_update_settings_from_cust();

/// Takes the user data of the first line of "/data/.userdataid", which is all F when it cannot be
/// read. An empty item becomes all F first.
void userdata_tamra_version_update();

#pragma GCC visibility pop
