// A daemon whose own classes and functions are named as the library's: the library goes on with its
// own. own_names PHONE: exit status 0, or 1 after naming what was called, or the step that failed.
#include <unistd.h>

#include <cstdio>

#include "fcx/background.h"
#include "fcx/factory_items.h"
#include "fcx/log_collection.h"
#include "fcx/make_zip_file.h"
#include "fcx/single_binary.h"
#include "fcx/system_control.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/phone.h"

[[noreturn]] static void taken(const char* name) {
  fprintf(stderr, "the library calls the daemon's %s\n", name);
  _exit(1);
}

#define OWN(declaration) \
  declaration { taken(#declaration); }

/// Of another size, and of no use to the library.
class Mutex {
 public:
  Mutex();
  ~Mutex();
  int lock();
  int unlock();
};
OWN(Mutex::Mutex())
OWN(Mutex::~Mutex())
OWN(int Mutex::lock())
OWN(int Mutex::unlock())
OWN(MakeZipFile::MakeZipFile())
OWN(bool MakeZipFile::OpenZip(char*))
OWN(int logsave_makezip(char*, char*))
OWN(int qve_single_binary_init())
OWN(int system_efs_sync())
extern "C" {
OWN(zipFile zipOpen2_64(const void*, int, zipcharpc*, zlib_filefunc64_def*))
OWN(int zipClose(zipFile, const char*))
}

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  virtual_phone::set_clock(virtual_phone::Clock::fast);
  virtual_phone::create(argv[1], "open", true);
  virtual_phone::select(argv[1]);
  const bool is_done[] = {init_factory_item() == 0, nv_factoryitem_sync() == 0,
                          sbpCreateThread() == 1, logsave("/data/vendor/factory/logsave/") == 0,
                          system_restart() == 0};
  fcx::wait_for_background_work();
  for (const bool& done : is_done) {
    if (!done) return fprintf(stderr, "step %td failed\n", &done - is_done), 1;
  }
}
