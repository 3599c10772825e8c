// Any bytes as an archive, extracted into the root folder of a phone that has nothing else: with
// the folders of its entries' names, entry by entry, and without them, all at once.
#include <filesystem>
#include <string>
#include <string_view>

#include "fcx/make_zip_file.h"
#include "fuzz/bench_phone.h"
#include "fuzz/target.h"
#include "virtual_phone/core/phone.h"

namespace {

namespace fs = std::filesystem;
namespace vp = virtual_phone;

constexpr char kArchive[] = "/fuzz.zip";

bool leads_out(std::string name) {
  for (char& each : name) each = each == '\\' ? '/' : each;
  name += '/';
  return (name.size() > 1 && name[0] == '/') || name.rfind("../", 0) == 0 ||
         name.find("/../") != std::string::npos;
}

/// What lies beside the root folder.
size_t count_outside() {
  return static_cast<size_t>(std::distance(fs::directory_iterator(vp::selected().directory()), {}));
}

void put_archive(std::string_view content) {
  fuzz::empty_directory("/");
  fuzz::put_file(kArchive, content);
}

/// Extracts the current entry. @return whether there is another
bool extract_entry(unzFile archive) {
  const auto name = fuzz::buffer(UINT16_MAX + 1);
  const bool is_known = unzGetCurrentFileInfo64(archive, nullptr, name.get(), UINT16_MAX, nullptr,
                                                0, nullptr, 0) == UNZ_OK;
  int without_path = 0, overwrite = 1;
  const int result = do_extract_currentfile(archive, &without_path, &overwrite, nullptr);
  fuzz::require(is_known || result != 0, "what is not known is not extracted");
  fuzz::require(!is_known || result != 0 || !leads_out(name.get()), "no name leads out");
  return unzGoToNextFile(archive) == UNZ_OK;
}

void extract_entries() {
  const std::string path = vp::selected().root() + kArchive;
  const unzFile archive = unzOpen64(path.c_str());
  if (archive == nullptr) return;
  while (extract_entry(archive)) {
  }
  fuzz::require(unzClose(archive) == UNZ_OK, "an archive can be closed");
}

void extract_all() {
  auto path = fuzz::buffer(sizeof kArchive, kArchive);
  MakeZipFile zip;
  if (!zip.OpenUnZip(path.get())) return;
  const int result = zip.FolderFromZip(1, 1, nullptr);
  fuzz::require(result >= 0 && result <= 2, "a result is one of three");
  fuzz::require(zip.CloseUnZip() == 0, "an archive can be closed");
  for (const fs::directory_entry& each : fs::directory_iterator(vp::selected().root())) {
    fuzz::require(!each.is_directory(), "folders are left out");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::need_phone();
  const size_t outside = count_outside();
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  put_archive(bytes);
  extract_entries();
  put_archive(bytes);
  extract_all();
  fuzz::require(count_outside() == outside, "nothing is written outside");
  return 0;
}
