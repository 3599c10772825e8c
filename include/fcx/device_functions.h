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
/// @return 0, or -1 when the item cannot be read or `sku` is null (nothing is then written)
int qve_factory_sku_read(char* sku);

/// Reads the serial number (factory item 9).
/// @param serial receives NUL-terminated text of at most 12 characters; at least 13 bytes
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

#pragma GCC visibility pop
