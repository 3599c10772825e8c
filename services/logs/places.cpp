#include "services/logs/places.h"

#include "fcx/log_collection.h"

const char* const DBDUMP_DIR = fcx::kDbDump;
const char* const NVDUMP_DIR = fcx::kNvDump;
const char* const TOUCH_DIR = fcx::kTouch;
