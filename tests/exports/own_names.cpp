// A daemon whose own classes and functions are named as the library's: the library goes on with its
// own. own_names PHONE: exit status 0, or 1 after naming what was called.
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

namespace {

[[noreturn]] void taken(const char* name) {
  fprintf(stderr, "the library calls the daemon's %s\n", name);
  fflush(stderr);
  _exit(1);
}

}  // namespace

#define OWN(result, name, arguments) \
  result name arguments { taken(#name); }

/// Of another size, and without a threads library's mutex.
class Mutex {
 public:
  Mutex();
  ~Mutex();
  int lock();
  int unlock();
  int tryLock();
  void* nativeHandle();
};
OWN(, Mutex::Mutex, ())
OWN(, Mutex::~Mutex, ())
OWN(int, Mutex::lock, ())
OWN(int, Mutex::unlock, ())
OWN(int, Mutex::tryLock, ())
OWN(void*, Mutex::nativeHandle, ())

class CondVar {
 public:
  CondVar();
  ~CondVar();
  void wait(Mutex& mutex);
  void notifyOne();
};
OWN(, CondVar::CondVar, ())
OWN(, CondVar::~CondVar, ())
OWN(void, CondVar::wait, (Mutex&))
OWN(void, CondVar::notifyOne, ())

OWN(int, system_efs_sync, ())
OWN(int, is_op_image_support, ())
OWN(int, logsave_makezip, (char*, char*))
OWN(MakeZipFile::, MakeZipFile, ())
OWN(bool, MakeZipFile::OpenZip, (char*))
OWN(int, qve_single_binary_init, ())
extern "C" {
OWN(zipFile, zipOpen2_64, (const void*, int, zipcharpc*, zlib_filefunc64_def*))
OWN(int, zipWriteInFileInZip, (zipFile, const void*, unsigned))
OWN(int, zipClose, (zipFile, const char*))
}

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  virtual_phone::set_clock(virtual_phone::Clock::fast);
  virtual_phone::create(argv[1], "open", true);
  virtual_phone::select(argv[1]);
  char zip[] = "/data/vendor/factory/logsave/";
  const struct {
    const char* call;
    bool is_done;
  } calls[] = {
      {"init_factory_item", init_factory_item() == 0},
      {"nv_factoryitem_sync", nv_factoryitem_sync() == 0},
      {"sbpCreateThread", sbpCreateThread() == 1},
      {"system_restart", (fcx::wait_for_background_work(), system_restart() == 0)},
      {"logsave", (fcx::wait_for_background_work(), init_factory_item(), logsave(zip) == 0)},
  };
  int failures = 0;
  for (const auto& [call, is_done] : calls) {
    if (is_done) continue;
    fprintf(stderr, "%s failed\n", call);
    failures = 1;
  }
  return failures;
}
