#include <fcx/factory_items.h>
#include <fcx/make_zip_file.h>
#include <fcx/service_handler.h>
#include <fcx/sync.h>

#include <cstdio>
#include <mutex>

int main() {
  Mutex turn;
  const std::lock_guard lock(turn);
  if (init_factory_item() != 0) return 1;
  // minizip's own functions are the library's, too.
  MakeZipFile zip;
  if (zip.CloseUnZip() != UNZ_OK || zipClose(nullptr, nullptr) != ZIP_PARAMERROR) return 2;
  qvcmd_request request{4010, 0, {}};
  qvcmd_response response{};
  service_handler(&request, &response);
  puts(response.data);
  return response.result;
}
