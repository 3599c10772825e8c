// The device functions behind single commands.
#pragma once

#pragma GCC visibility push(default)

/// Whether the front time-of-flight camera has been calibrated.
/// @return 0 when its calibration file exists and is not empty, -1 otherwise
int tof_cal_file_check();

/// Stores the front time-of-flight camera's calibration durably, in place of an earlier one.
/// @param text the calibration as NUL-terminated text; an empty or null one is refused
/// @return 0, or -1 when it was refused or could not be stored (the earlier one then stays)
int tof_cal_write(const char* text);

/// Records how far the mid-auto test has come, in the property "persist.vendor.qve.midauto.status".
/// @param status NUL-terminated text, 91 characters at most; "4" means that its result is stored
/// @return 0, or -1 when the property refused the value
int midauto_status_set(const char* status);

/// The memory that the kernel reports ("MemTotal" of "/proc/meminfo").
/// @return whole MiB, or 0 on failure
int ram_memory_size();

/// Reads the SKU (factory item 420).
/// @param sku receives NUL-terminated text; at least 31 bytes
/// @return 0, or -1 when the item cannot be read (`sku` is then untouched)
int qve_factory_sku_read(char* sku);

#pragma GCC visibility pop
