// The USB connection's path and mode. Nothing here talks to the modem.
//
// The lock node is "/sys/class/android_usb/android0/lock": one character, '0' or '1'.
//
// Example:
//
//   #include <cstdio>
//
//   if (get_usb_lock() == 1 && set_usb_lock(0) != 0) return;  // the lock stays
//   if (usb_mode_change_factory() != 0) return;               // the mode stays
//   if (wait_for_state("factory") == 0) puts("not within a second");
#pragma once

#pragma GCC visibility push(default)

/// Reads the lock node.
/// @return its character minus '0'; 0 when there is no such node; -1 when it cannot be opened or
///         read, or is empty
int get_usb_lock();

/// Writes the character '0' + `v` to the lock node; of a larger number the low byte counts.
/// @return 0, also when there is no such node; -1 when it cannot be opened or written
int set_usb_lock(int v);

/// Waits until the property "vendor.qve.usb.state" is `state`: 20 reads, 50 ms apart.
/// @return 1 when it is; 0 when it has not come, which is logged, and at once for null
int wait_for_state(const char* state);

/// Switches the USB path on a thread of its own: usb_path_change_thread().
/// @param arg handed to the thread, which does not use it
/// @return 0, also when that thread then finds a switch running and ends; -1 when no thread could
///         be started
int usb_path_change(void* arg);

/// Thread body: releases the lock where it is 1, takes the configuration down, lets adb skip its
/// authentication ("vendor.qve.usb.adb_skip_auth") and brings "factory,adb" up, waiting up to a
/// second for each state. A state that does not come, and a property or a lock that cannot be set,
/// is logged and stops nothing. Where the lock cannot be read nothing is done.
/// @return null (0), also then; -1 as a pointer when a switch is running already
void* usb_path_change_thread(void* arg);

// Mode switches. Each waits 100 ms on the caller's thread between the lock node and the property
// "vendor.qve.usb.config". 0, or 1 when the property could not be set; a lock node that could not
// be written is logged and stops nothing.

/// Lock "0", then configuration "factory,adb".
int usb_mode_change_user();
/// Configuration "factory", then lock "1". A property that could not be set leaves the lock.
int usb_mode_change_factory();
/// Lock "0", then configuration "qmicm,adb".
int usb_mode_change_cpdm();

/// The state in "/sys/class/android_usb/android0/state", of which 1024 bytes are looked at.
/// @return 1 when it begins with "DISCONNECTED", 2 with "CONNECTED", 3 with "CONFIGURED"; 0 for
///         anything else, and when it cannot be read
int get_usbstate_from_sys();

#pragma GCC visibility pop
