// Archives as minizip opens them: device files, through common/files.h, in large pieces, since
// minizip itself reads and writes a few bytes at a time.
#pragma once

#include <minizip/unzip.h>
#include <minizip/zip.h>

#include "common/files.h"
#include "common/result.h"

namespace fcx {

/// Begins an archive in place of what the device file is.
/// @return null, with errno, when it cannot be opened
zipFile open_zip(const char* device_path);

/// Counts an entry of an archive that is open. One with more than 65,535 fails: minizip would write
/// a list of them that nobody can read.
void count_entry(zipFile zip);

/// Whether something that was written to an archive that is open is lost, or it has too many
/// entries. minizip is not told.
bool has_zip_failed(zipFile zip);

/// Completes an archive that open_zip() has begun, and closes it, whatever comes of that. Fails,
/// too, when any write to it has failed before.
Result close_zip(zipFile zip);

/// Opens an archive for reading.
/// @return null when it cannot be opened, with errno, or is no archive, with errno EINVAL
unzFile open_unzip(const char* device_path);

/// Whether this process writes, or reads, an archive in this file now.
enum class ZipUse { reads, writes };
bool is_open_zip(const FileId& file, ZipUse use);

}  // namespace fcx
