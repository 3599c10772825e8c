// Zip archives: folders are packed, and archives extracted, over the platform's minizip, whose own
// zip and unzip functions the library exports, too, under the names that its headers publish.
//
// Paths are NUL-terminated device paths. Archives, and the files that go into them or come out, are
// opened without waiting; only regular files are packed. A MakeZipFile is for one
// thread at a time; which archives are open the process knows. A null pointer gives the failing
// result and nothing else. The lines that are logged begin with "LOGSAVE : " or "TAVRIN_UNZIP : ",
// in a few cases with the function's name.
//
// Example:
//
//   #include <cstdio>
//
//   char archive[] = "/data/logs.zip";
//   char folder[] = "/data/logs";
//   if (logsave_makezip(archive, folder) != 0) return;  // there is no archive
//   MakeZipFile zip;
//   if (!zip.OpenUnZip(archive)) return;
//   if (zip.FolderFromZip(0, 1, nullptr) != 0) puts("not all of it");  // relative to "/"
//   zip.CloseUnZip();
#pragma once

#include <minizip/unzip.h>
#include <minizip/zip.h>

#include <cstdint>

#pragma GCC visibility push(default)

/// One archive that is written and one that is read. Who makes it closes what it has opened: the
/// destructor does nothing, on purpose.
class MakeZipFile {
 public:
  MakeZipFile();
  ~MakeZipFile();
  MakeZipFile(const MakeZipFile&) = delete;
  MakeZipFile& operator=(const MakeZipFile&) = delete;

  /// Begins a new archive in the place of what `name` is. One that is open is closed before.
  /// @return whether it is open
  bool OpenZip(char* name);

  /// Completes the archive and closes it. It is an archive only when all writes to it and this have
  /// succeeded; that they have not is logged. Without one nothing happens.
  void CloseZip();

  /// Opens an archive for extraction. One that is open is closed before.
  /// @return whether it is open and an archive; minizip takes one without entries for none
  bool OpenUnZip(char* name);

  /// Closes the archive that is read.
  /// @return 0, also when none is open; else minizip's code
  int CloseUnZip();

  /// The local time at which a file was last changed, as localtime() has it: the month from 0 on,
  /// the year from 1900 on.
  /// @param ignored has no effect
  /// @param name    at most 255 characters, of which one '/' at the end does not count
  /// @param out     six numbers; without a time of the file those of the time 0
  /// @return 1 when the file's time was found; 0 when it was not, and for the name "-"
  int filetime(const void* ignored, const char* name, tm_zip* out);

  /// Packs all files below a folder, in no order. Entries are made for regular files and links to
  /// them; not for folders, special files and links to nothing. Left out without a line are: the
  /// archive itself, what has a path of more than 999 characters, a folder that a link leads to and
  /// that the walk is in already, and any folder that a link leads to where another has led. A
  /// folder within that cannot be opened is logged and left out.
  /// @param folder not changed; one '/' at its end does not count
  /// @param root   whether entries are named from here on: without the whole of `folder`, and
  ///               without '/' and '\' in front
  /// @return 0, whatever came of the files; 1 when `folder` cannot be opened, or has more than 999
  ///         characters
  int FolderToZip(char* folder, bool root);

  /// Packs one regular file, in 16384-byte pieces, deflated at level 1. What cannot be packed is
  /// logged: a file of 4 GiB and more is left out, one that cannot be opened has an empty entry,
  /// and one that cannot be read on, or grows past that, what was read. What cannot be written
  /// makes an archive that is never completed, and so does the 65,536th entry.
  /// @param path is named from where the root folder's path ends
  /// @return 0, whatever came of the file; -104 when no memory can be had for reading
  int FileToZip(const char* path);

  /// Extracts all entries, as do_extract_currentfile() does, up to the first that fails.
  /// @param without_path 1 to leave out the folders of the entries' names, 0 to keep them
  /// @param overwrite    1 to replace what is there, 0 to ask on standard input
  /// @param password     of encrypted entries; null for none
  /// @return 0; 1 when an entry failed or the next was not found; 2 when the archive does not tell
  ///         how many there are, or none is open
  int FolderFromZip(int without_path, int overwrite, const char* password);

 private:
  friend int logsave_makezip(char* zipname, char* folder);

  zipFile zip_;
  unzFile unzip_;
  int32_t prefix_length_;
};

/// Packs all that is below a folder into a new archive, which may be in that folder. An archive
/// that was not completed is removed.
/// @return 0; 1 when the archive cannot be opened, the folder cannot be opened, a write to the
///         archive failed, or there are more than 65,535 files. A file that cannot be read is no
///         failure.
int logsave_makezip(char* zipname, char* folder);

/// Makes a folder and those that it is in. '/' and '\' end a folder's name; those that lead to a
/// '\' have it in theirs. They are made with the mode 644 in decimal (octal 1204), on purpose. A
/// name that exists is passed over, whatever it is.
/// @return 1, also when a folder cannot be made for another reason, which is logged; 0 when `path`
///         is empty or null, or one folder's parent does not exist; -104 when no memory can be had
int makedir(const char* path);

/// Extracts the current entry of an archive, relative to the device's "/". The target is written in
/// place; where it is a link, or the archive itself, the entry fails. One that cannot be written to
/// its end is removed; one that is damaged keeps what came out. A name that ends in '/' or '\' is a
/// folder, which is made with makedir().
///
/// When the target exists and `*overwrite` is 0, it is asked for in the log, and a word is read
/// from standard input. Its first letter counts: 'y' or 'Y' replaces this file, 'a' or 'A' all from
/// now on, 'n' or 'N' leaves it out; anything else asks again. At the end of the input the process
/// ends with status 1, on purpose.
/// @param without_path points to 0 to keep the folders of the entry's name, else 1
/// @param overwrite    points to 0 to ask, else 1; 'A' stores 1
/// @param password     of an encrypted entry; null for none. A minizip that was built without
///                     decryption, as Debian's, refuses one for an encrypted entry with -102
/// @return 0, also for what was left out; -102 for a null pointer other than the password; -1 when
///         the name has 256 characters and more, or, with folders kept, is absolute or has ".." as
///         a part; -1 when the target cannot be opened or written; -104 when no memory can be had;
///         -105 when what was extracted has another checksum; else minizip's code
int do_extract_currentfile(unzFile uf, int* without_path, int* overwrite, const char* password);

#pragma GCC visibility pop
