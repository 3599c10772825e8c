#include "carrier/stored_carrier_codes.h"

#include "carrier/package/paths.h"
#include "common/files.h"

namespace fcx {
namespace {

/// There as long as the copy may be, where nothing was stored.
constexpr char kNothingStored[] = "/mnt/vendor/persist-qv/kelp/carrier_code.xml.none";

Result flush() { return flush_directory_of(kStoredCarrierCodes); }

/// Ends the time in which nothing was stored.
Result remove_mark() {
  if (const Result removed = remove_device_file(kNothingStored); !removed.ok()) return removed;
  return flush();
}

Result put_back(bool keeps_copy) {
  switch (presence_of(kStoredAside)) {
    case Presence::unknown:
      return Result::failed(EIO);
    case Presence::present: {
      const Result renamed = rename_device_file(kStoredAside, kStoredCarrierCodes);
      return renamed.ok() ? flush() : renamed;
    }
    case Presence::absent:
      break;
  }
  switch (presence_of(kNothingStored)) {
    case Presence::unknown:
      return Result::failed(EIO);
    case Presence::absent:
      return {};
    case Presence::present:
      break;
  }
  // The copy first: without the mark it would be taken for a stored file.
  const Result removed = keeps_copy ? Result() : remove_device_file(kStoredCarrierCodes);
  return removed.ok() ? remove_mark() : removed;
}

}  // namespace

Result set_stored_codes_aside() {
  if (const Result clean = put_stored_codes_back(); !clean.ok()) return clean;
  switch (presence_of(kStoredCarrierCodes)) {
    case Presence::unknown:
      return Result::failed(EIO);
    case Presence::absent:
      return replace_device_file(kNothingStored, "");
    case Presence::present:
      break;
  }
  const Result renamed = rename_device_file(kStoredCarrierCodes, kStoredAside);
  return renamed.ok() ? flush() : renamed;
}

Result put_stored_codes_back() { return put_back(false); }

Result put_stored_codes_back_or_keep_copy() { return put_back(true); }

}  // namespace fcx
