// Log collection: gathering the device's logs into a dated folder, an archive or the SD card,
// erasing them, and handing out crash reports and the result of the touch self-test.
//
// Every function works on the caller's thread and shares nothing but the file system; collecting
// takes as long as copying and packing the files does. A path has 255 characters at most: what has
// a longer one is left out, never cut. An empty path names nothing. A null pointer gives the
// failing result and nothing else. Failures of single files, records and commands are logged and
// end nothing but what is said. The archive itself: fcx/make_zip_file.h.
//
// Example:
//
//   #include <cstdio>
//
//   if (logsave("/data/vendor/factory/logsave/") != 0) return;  // no archive
//   char summaries[256];
//   int length = 0;
//   if (crash_log_save(summaries, &length, 5) == 0) puts(summaries);
#pragma once

#pragma GCC visibility push(default)

/// "/data/vendor/factory/dbdump/", "/data/vendor/factory/nvdump/" and "/data/vendor/touch/": the
/// folders that are collected.
extern const char* const DBDUMP_DIR;
extern const char* const NVDUMP_DIR;
extern const char* const TOUCH_DIR;

/// The name of a dated folder: the local time as "YYYYmmdd_HHMMSS".
/// @param out 30 bytes, of which 16 are written, the NUL included
void set_directory_name(char* out);

/// Where logs go on the SD card: its mount point with "/logsave" after it. The folder is not made.
/// @param out 256 bytes that receive NUL-terminated text
/// @return 0; 1 without a card, or when its path does not fit (`out` is then untouched)
int get_external_logsave_path(char* out);

/// Collects logs. `path` is made (not its parents) and says where to:
/// - exactly "/data/vendor/factory/logsave/": the system side copies its logs into a new dated
///   folder there (request 1006), dbdump, nvdump and touch are copied beside them, the two last
///   logs of download mode, the kernel's log and the properties are added, the whole of `path`, all
///   dated folders included, is packed into "/data/vendor/factory/logsave.zip", and all files are
///   made durable. In a mobile-ID boot the system side is not asked, and of the folders only dbdump
///   is copied.
/// - anything with "nvdump" in it: the files of NVDUMP_DIR are copied into `path` itself
/// - anything that begins with "/storag": dbdump, nvdump and touch are copied into a new dated
///   folder there; no archive and no other log is made
/// @return 0, also when single files could not be had; 1 for any other `path`, when the system side
///         did not copy its logs, when there is no dbdump folder in a mobile-ID boot, and when the
///         archive was not completed: then there is none
int logsave(const char* path);

/// Copies a folder with all that is in it, byte for byte. Regular files are copied, and what links
/// lead to; files that cannot be opened on either side, devices and pipes are left out. So that it
/// comes to an end, a link is not followed to a folder that the copy is in already, on either side,
/// nor to any folder where another link has led to; and the target is left out where it lies inside
/// the source. Of a file that cannot be read to its end the pieces of 128 KiB before that are kept;
/// a copy that cannot be written to its end is removed. Both are logged.
/// @param dst folder that is made (not its parents) when it is not there, with mode 0777
/// @param src folder. That one of the two has no '/' at its end makes no difference.
void copy_log(const char* dst, const char* src);

/// Erases the logs: the system side's (request 1008), dbdump, nvdump, the collected ones and the
/// archive. Log services are off meanwhile, and on afterwards. When the system side fails nothing
/// else is erased and they stay off. In a mobile-ID boot nothing is done.
void logsave_erase();

/// Removes regular files and folders below a folder, and then the folder, which stays when
/// something is left: links, devices, pipes. No link in it is followed; a folder that is given as a
/// link is emptied, and the link stays.
/// @return 0, or -1 when `path` cannot be opened as a folder
int Delete_Folder(const char* path);

/// Hands out the next piece of the touch self-test's result, "/data/touch/touch_self_test.txt":
/// words with a blank after each, a little over 512 bytes of them. The first piece begins with the
/// product identifier (or "pid read error") and a blank. Where the next one begins is kept in
/// "/data/auto_touch_offset", which is there while pieces remain. A word of more than 2046
/// characters is handed out in parts.
/// @param out 2048 bytes that receive NUL-terminated text
/// @return 0; -1 without a result file, when it or the kept position cannot be read, and when the
///         position cannot be kept: `out` is then empty, and the same piece is next again
int scan_auto_touch_result(char* out);

/// Logs that it was called, and does what scan_auto_touch_result() does.
int logsave_aat_touch(char* out);

/// Whether pieces of the touch result remain.
/// @param out 2 bytes that receive "0" when the transfer has completed, else "1", with a NUL
/// @return 0 when the transfer has completed; 1 while pieces remain, or when that is unknown
int check_transfer_status(char* out);

/// How many crash reports there are: the 32-bit number at byte 8 of factory item 230.
/// @param out 12 bytes that receive the number as NUL-terminated decimal text
/// @param len receives the text's length
/// @return 0, or -1 when the item cannot be read (neither is then touched)
int get_crash_count(char* out, int* len);

/// Zeroes all 16 bytes of factory item 230.
/// @return 0, or -1 when it cannot be written
int erase_crash_count();

/// Writes the crash reports, of 7468 bytes each, from the factory items 231, 235, 239, 243 and 247
/// to "/data/logger/crash_info/crash_log0.txt" and so on, and gathers their summary lines: what
/// follows the mark "Crash Handler" and two characters more, up to a newline or a NUL, 255
/// characters at most. A report without the mark has none, nor has one whose file cannot be read
/// back, which is logged.
/// @param out   256 bytes that receive the summaries as NUL-terminated text, with ";" between them,
///              cut at 255 characters; untouched on failure
/// @param len   receives the text's length; untouched on failure
/// @param count reports, of which five are written at most, and none below 1
/// @return 0; 1 when a report cannot be read or written, which ends it: the files of those before
///         it stay
int crash_log_save(char* out, int* len, int count);

#pragma GCC visibility pop
