#include "fcx/version.h"

namespace fcx {

const char* library_version() { return FCX_VERSION; }

}  // namespace fcx
